// Conversion piece by piece needs no memory but that of its construction.

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "CodePage/TextDecoder.h"
#include "CodePage/TextEncoder.h"
#include "FailingAllocation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace {

using namespace KCodePage;
using KBase::operator""_w;

class TextConversionAllocationTest : public testing::Test {
protected:
    TextConversionAllocationTest() { SetBasePath(u"UseWindowsAPI"_w); }

    Initializer initializer;
};

// Runs `convert` for pieces of 1 to 7 units of the text until each is used up.
template <class Unit, class Convert>
void InPieces(std::span<const Unit> text, Convert convert) {
    for (std::size_t size = 1; size <= 7; ++size) {
        for (std::size_t begin = 0; begin < text.size(); begin += size) {
            std::span<const Unit> piece = text.subspan(begin, std::min(size, text.size() - begin));
            TextResult result;
            do {
                result = convert(piece, begin + piece.size() == text.size());
                piece = piece.subspan(result.consumed);
            } while (result.stop == TextStop::OutputFull);
        }
    }
}

TEST_F(TextConversionAllocationTest, ADecodersCallsAllocateNothing) {
    // Defined, undefined, ill-formed and cut off.
    constexpr std::string_view text = "abc\x93\xFA\x85\x40\xE3\x81\x82\xFFxyz\xF0\x9F";
    for (const CODE_PAGE codePage : {SHIFT_JIS, GB2312, ISO_8859_1, UTF_8}) {
        for (const bool substitute : {false, true}) {
            TextPolicy policy;
            policy.substitute = substitute;
            TextDecoder decoder(codePage, policy);
            std::array<wchar16, 3> room{};
            const FailingAllocation counting(0);
            InPieces<char>(text, [&](std::span<const char> piece, bool end) {
                return decoder.Convert(piece, room, end);
            });
            EXPECT_EQ(counting.Count(), 0u) << codePage;
        }
    }
}

TEST_F(TextConversionAllocationTest, AnEncodersCallsAllocateNothing) {
    // Exact, best fit, unmapped, a pair and half a pair.
    const auto& text = u"abc\u65E5\u00E9\u20AC\U0001F600\uFF71xyz\u65E5"_w;
    const std::span<const wchar16> units(KBase::WideView(text).data(), KBase::WideView(text).size() - 1);
    for (const CODE_PAGE codePage : {SHIFT_JIS, ISO_2022_JP, GB2312, ISO_8859_1, UTF_8}) {
        for (const bool substitute : {false, true}) {
            TextPolicy policy;
            policy.substitute = substitute;
            TextEncoder encoder(codePage, policy);
            std::array<char, 3> room{};
            const FailingAllocation counting(0);
            InPieces<wchar16>(units, [&](std::span<const wchar16> piece, bool end) {
                return encoder.Convert(piece, room, end);
            });
            EXPECT_EQ(counting.Count(), 0u) << codePage;
        }
    }
}

} // namespace
