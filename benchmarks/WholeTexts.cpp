// Whole texts in one call: code pages both ways, UTF-8 both ways, and JIS with escape sequences.

#include "CodePage/CodePageRegistry.h"
#include "CodePage/ShiftJisToJis.h"
#include "Groups.h"
#include "Peers.h"

namespace Benchmarks {

using KCodePage::CodePage;

namespace {

// How one way between a page and UTF-16 is measured.
struct Way {
    std::string name; // GROUP/TEXT
    KCodePage::CODE_PAGE page;
    const char* icu;
    const char* iconv;
    const char* label;          // encoding_rs
    unsigned bytesPerCharacter; // of the page, at most, for room
};

void RegisterDecoding(const Way& way, const std::string& text, const KBase::WideString& result) {
    const auto measure = [&](const char* side, auto make) {
        Register(way.name + side, text.size(), 1, make);
    };
    measure("/kcodepage", [way, &text] {
        return [page = KCodePage::GetCodePageReference(way.page), &text] {
            benchmark::DoNotOptimize(
                page->ConvertToUnicode(text.data(), Length(text.size()), CodePage::THROW_INVALID_CHARACTER));
        };
    });
    measure("/icu", [way, &text] {
        return [icu = IcuConverter(way.icu), &text]() mutable {
            benchmark::DoNotOptimize(icu.Decode(text).bytes.get());
        };
    });
    measure("/iconv", [way, &text] {
        return [iconv = std::make_unique<IconvConverter>(way.iconv, iconvUTF16), &text] {
            benchmark::DoNotOptimize(iconv->Convert(text, sizeof(KBase::wchar16)).bytes.get());
        };
    });
#ifdef KCODEPAGE_HAS_ENCODING_RS
    measure("/encoding_rs", [way, &text] {
        return [way, &text] {
            benchmark::DoNotOptimize(DecodeWithEncodingRs(way.label, text).bytes.get());
        };
    });
#endif
    measure("/memcpy", [&result] {
        return [&result] {
            benchmark::DoNotOptimize(Copy(BytesOf(result)).bytes.get());
        };
    });
}

void RegisterEncoding(const Way& way, const KBase::WideString& text, const std::string& result) {
    const auto measure = [&](const char* side, auto make) {
        Register(way.name + side, BytesIn(text), 1, make);
    };
    measure("/kcodepage", [way, &text] {
        return [page = KCodePage::GetCodePageReference(way.page), &text] {
            benchmark::DoNotOptimize(page->ConvertToMultiByte(text.data(), Length(text.size()),
                                                              CodePage::THROW_INVALID_CHARACTER));
        };
    });
    measure("/icu", [way, &text] {
        return [icu = IcuConverter(way.icu), &text]() mutable {
            benchmark::DoNotOptimize(icu.Encode(text).bytes.get());
        };
    });
    measure("/iconv", [way, &text] {
        return [iconv = std::make_unique<IconvConverter>(iconvUTF16, way.iconv), &text, way] {
            benchmark::DoNotOptimize(iconv->Convert(BytesOf(text), way.bytesPerCharacter).bytes.get());
        };
    });
#ifdef KCODEPAGE_HAS_ENCODING_RS
    measure("/encoding_rs", [way, &text] {
        return [way, &text] {
            benchmark::DoNotOptimize(EncodeWithEncodingRs(way.label, text).bytes.get());
        };
    });
#endif
    measure("/memcpy", [&result] {
        return [&result] {
            benchmark::DoNotOptimize(Copy(result).bytes.get());
        };
    });
}

// The library's own step from Shift-JIS to JIS starts from Shift-JIS, its peers from UTF-16.
void RegisterJis(const Text& text) {
    const Way way{
        "jis-encode/" + text.name, KCodePage::ISO_2022_JP, "ISO-2022-JP", "ISO-2022-JP", "iso-2022-jp", 4};
    RegisterEncoding(way, text.jisUnits, text.jisBytes);
    Register("jis-encode/" + text.name + "/shift-jis-to-jis", text.jisBytes.size(), 1, [&text] {
        KBase::SmartPtrI<KCodePage::MultiByteString> input(
            KCodePage::CreateMultiByteString(text.jisBytes.data(), Length(text.jisBytes.size())));
        return [input, table = KCodePage::ShiftJisToJis::Instance()] {
            benchmark::DoNotOptimize(table->Convert(input.Get()));
        };
    });
}

// Plain ASCII is a text of every page; here beside its own page are those of two bytes.
void RegisterASCII(const Text& text) {
    for (const Page& page : pages) {
        if (page.bytes == 2) {
            RegisterDecoding(
                {"ascii-decode/" + std::string(page.name), page.number, page.icu, page.iconv, page.label, 2},
                text.bytes, text.units);
            RegisterEncoding(
                {"ascii-encode/" + std::string(page.name), page.number, page.icu, page.iconv, page.label, 2},
                text.units, text.bytes);
        }
    }
}

} // namespace

void RegisterWholeTexts(const std::vector<Text>& texts) {
    for (const Text& text : texts) {
        const Page& page = *text.page;
        RegisterDecoding({"decode/" + text.name, page.number, page.icu, page.iconv, page.label, page.bytes},
                         text.bytes, text.units);
        RegisterEncoding({"encode/" + text.name, page.number, page.icu, page.iconv, page.label, page.bytes},
                         text.units, text.bytes);
        RegisterDecoding({"utf8-decode/" + text.name, KCodePage::UTF_8, "UTF-8", "UTF-8", "utf-8", 3},
                         text.utf8, text.units);
        RegisterEncoding({"utf8-encode/" + text.name, KCodePage::UTF_8, "UTF-8", "UTF-8", "utf-8", 3},
                         text.units, text.utf8);
        if (page.number == KCodePage::SHIFT_JIS) {
            RegisterJis(text);
        }
        if (page.number == KCodePage::US_ASCII) {
            RegisterASCII(text);
        }
    }
}

} // namespace Benchmarks
