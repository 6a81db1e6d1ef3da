// Short lines, each into a fresh string: what a call costs; and the same from several threads on one shared
// code page object.

#include "CodePage/CodePageRegistry.h"
#include "Groups.h"
#include "Peers.h"

#include <algorithm>
#include <array>

namespace Benchmarks {

using KCodePage::CodePage;

namespace {

constexpr double longerTime = 0.05;

// One pass over all lines of a text is one iteration.
auto DecodeLines(const Text& text) {
    return [&text] {
        return [page = KCodePage::GetCodePageReference(text.page->number), &text] {
            for (const std::string& line : text.lines) {
                benchmark::DoNotOptimize(page->ConvertToUnicode(line.data(), Length(line.size()),
                                                                CodePage::THROW_INVALID_CHARACTER));
            }
        };
    };
}

auto EncodeLines(const Text& text) {
    return [&text] {
        return [page = KCodePage::GetCodePageReference(text.page->number), &text] {
            for (const KBase::WideString& line : text.wideLines) {
                benchmark::DoNotOptimize(page->ConvertToMultiByte(line.data(), Length(line.size()),
                                                                  CodePage::THROW_INVALID_CHARACTER));
            }
        };
    };
}

auto DecodeLinesWithIcu(const Text& text) {
    return [&text] {
        return [icu = IcuConverter(text.page->icu), &text]() mutable {
            for (const std::string& line : text.lines) {
                benchmark::DoNotOptimize(icu.Decode(line).bytes.get());
            }
        };
    };
}

auto EncodeLinesWithIcu(const Text& text) {
    return [&text] {
        return [icu = IcuConverter(text.page->icu), &text]() mutable {
            for (const KBase::WideString& line : text.wideLines) {
                benchmark::DoNotOptimize(icu.Encode(line).bytes.get());
            }
        };
    };
}

auto DecodeLinesWithIconv(const Text& text) {
    return [&text] {
        return [iconv = std::make_unique<IconvConverter>(text.page->iconv, iconvUTF16), &text] {
            for (const std::string& line : text.lines) {
                benchmark::DoNotOptimize(iconv->Convert(line, sizeof(KBase::wchar16)).bytes.get());
            }
        };
    };
}

auto EncodeLinesWithIconv(const Text& text) {
    return [&text] {
        return [iconv = std::make_unique<IconvConverter>(iconvUTF16, text.page->iconv), &text] {
            for (const KBase::WideString& line : text.wideLines) {
                benchmark::DoNotOptimize(iconv->Convert(BytesOf(line), text.page->bytes).bytes.get());
            }
        };
    };
}

void RegisterDecoding(const Text& text) {
    const auto measure = [&](const char* side, auto make) {
        Register("lines-decode/" + text.name + side, text.bytes.size(), text.lines.size(), make);
    };
    measure("/kcodepage", DecodeLines(text));
    measure("/icu", DecodeLinesWithIcu(text));
    measure("/iconv", DecodeLinesWithIconv(text));
    measure("/memcpy", [&text] {
        return [&text] {
            for (const KBase::WideString& line : text.wideLines) {
                benchmark::DoNotOptimize(Copy(BytesOf(line)).bytes.get());
            }
        };
    });
}

void RegisterEncoding(const Text& text) {
    const auto measure = [&](const char* side, auto make) {
        Register("lines-encode/" + text.name + side, BytesIn(text.units), text.lines.size(), make);
    };
    measure("/kcodepage", EncodeLines(text));
    measure("/icu", EncodeLinesWithIcu(text));
    measure("/iconv", EncodeLinesWithIconv(text));
    measure("/memcpy", [&text] {
        return [&text] {
            for (const std::string& line : text.lines) {
                benchmark::DoNotOptimize(Copy(line).bytes.get());
            }
        };
    });
}

} // namespace

void RegisterLines(const std::vector<Text>& texts) {
    for (const Text& text : texts) {
        RegisterDecoding(text);
        RegisterEncoding(text);
    }
}

void RegisterThreads(const std::vector<Text>& texts) {
    // One text of each kind of work tells what threads do to each other.
    constexpr std::array somePages = {KCodePage::ISO_8859_1, KCodePage::KOI8_R, KCodePage::SHIFT_JIS,
                                      KCodePage::EUC_KR};
    for (const Text& text : texts) {
        if (std::find(somePages.begin(), somePages.end(), text.page->number) == somePages.end()) {
            continue;
        }
        const auto measure = [&](const std::string& way, const char* side, auto make) {
            Register("threads-" + way + "/" + text.name + side, 0, text.lines.size(), make)
                ->DenseThreadRange(1, 4)
                ->MinTime(longerTime) // starting the threads counts too
                ->UseRealTime();
        };
        measure("decode", "/kcodepage", DecodeLines(text));
        measure("decode", "/icu", DecodeLinesWithIcu(text)); // a converter for each thread
        measure("decode", "/iconv", DecodeLinesWithIconv(text));
        measure("encode", "/kcodepage", EncodeLines(text));
        measure("encode", "/icu", EncodeLinesWithIcu(text));
        measure("encode", "/iconv", EncodeLinesWithIconv(text));
    }
}

} // namespace Benchmarks
