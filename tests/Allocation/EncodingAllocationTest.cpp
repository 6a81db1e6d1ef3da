// How much memory the stream converters take, and that they outlive its failure.

#include "AllocationMeter.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/EncodingCandidates.h"
#include "CodePage/EncodingConverter.h"
#include "CodePage/EncodingDetector.h"
#include "CodePage/Initializer.h"
#include "CodePage/TemporaryDirectory.h"
#include "CodePage/TextDecoder.h"
#include "FailingAllocation.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <new>
#include <string>

namespace {

using namespace KCodePage;
using CodePageTests::TemporaryDirectory;
using CodePageTests::Widen;
using KBase::operator""_w;

TEST(EncodingAllocation, ConvertAllTakesAtMostTwiceItsOutputAndALittle) {
    for (const std::size_t size : {std::size_t{1} << 20, std::size_t{64} << 20}) {
        const std::string text(size, 'x');
        const AllocationMeter meter;
        const auto all =
            CreateMemoryEncodingConverter(text.data(), text.data() + size, "iso-8859-1")->ConvertAll();
        ASSERT_EQ(all->GetSize(), 2 * size);
        EXPECT_GE(meter.Get().peak, static_cast<std::ptrdiff_t>(2 * size)) << "not measured";
        EXPECT_LE(meter.Get().peak, static_cast<std::ptrdiff_t>(4 * size + size / 16 + 65536));
        // Linear: the pieces, the list of them and the result.
        EXPECT_LE(meter.Get().allocations, 2 * (2 * size / 8192) + 64);
        EXPECT_LE(meter.Get().allocated, 4 * size + size / 16 + 65536);
    }
}

TEST(EncodingAllocation, ConvertNeedsNoMemory) {
    const TemporaryDirectory directory;
    const auto path = directory.Path() / "text";
    std::ofstream(path, std::ios::binary) << std::string(100'000, 'x');
    const auto converter = CreateFileEncodingConverter(Widen(path.string()).c_str(), "shift_jis");
    unsigned short units[1000];
    const FailingAllocation counting(0);
    while (converter->Convert(units, 1000) == 1000) {
    }
    EXPECT_EQ(counting.Count(), 0u);
    EXPECT_EQ(converter->GetPosition(), 100'000u);
}

// Runs `work` with each of its allocations failing in turn, until none fails; it returns whether it
// succeeded.
void FailAtEach(const std::function<bool()>& work) {
    for (std::size_t number = 1;; ++number) {
        const FailingAllocation failing(number);
        bool succeeded = false;
        try {
            succeeded = work();
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(succeeded, !failing.HasFailed()) << "allocation " << number;
        if (!failing.HasFailed() || number > 1000) {
            return;
        }
    }
}

TEST(EncodingAllocation, AFailureIsNullOrThrownAndALaterTrySucceeds) {
    const TemporaryDirectory directory;
    const auto path = directory.Path() / "text";
    const std::string text(20'000, 'x');
    std::ofstream(path, std::ios::binary) << text;
    const KBase::WideString name = Widen(path.string());
    FailAtEach([&] { return CreateEncodingDetector() != nullptr; });
    FailAtEach([&] { return CreateFileEncodingConverter(name.c_str(), "utf-8") != nullptr; });
    FailAtEach([&] {
        const auto converter = CreateMemoryEncodingConverter(text.data(), text.data() + text.size(), "utf-8");
        return converter != nullptr && converter->ConvertAll()->GetSize() == 2 * text.size();
    });
    FailAtEach([&] { return !DetectEncodings(text.data(), text.size()).empty(); });
    FailAtEach([&] {
        const TextDecoder decoder("euc-jp");
        const TextDecoder copy(decoder);
        return copy.Position() == 0;
    });
}

TEST(EncodingAllocation, ACopyOfADecoderSharesItsTables) {
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    const TextDecoder decoder(SHIFT_JIS);
    const AllocationMeter meter;
    const TextDecoder copy(decoder);
    EXPECT_LE(meter.Get().allocated, 1024u);
}

} // namespace
