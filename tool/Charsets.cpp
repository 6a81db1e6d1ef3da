#include "Charsets.h"

#include "CodePage/IANAInfo.h"
#include "Failure.h"
#include "Messages.h"

#include <algorithm>
#include <utility>

namespace {

using namespace KCodePage;

constexpr int highestCodePage = UNICODE_1_1;

struct Alias {
    const char* name;
    CODE_PAGE codePage;
};

constexpr Alias aliases[] = {
    {"latin1", ISO_8859_1},
    {"windows-1252", ISO_8859_1},
    {"windows-1250", ISO_8859_2},
    {"windows-1257", ISO_8859_4},
    {"windows-1256", ISO_8859_6},
    {"windows-1253", ISO_8859_7},
    {"windows-1254", ISO_8859_9},
    {"cp932", SHIFT_JIS},
    {"windows-31j", SHIFT_JIS},
    {"sjis", SHIFT_JIS},
    {"ks_c_5601-1987", EUC_KR},
    {"uhc", EUC_KR},
    {"cp949", EUC_KR},
    {"koi8r", KOI8_R},
    {"gbk", GB2312},
    {"cp936", GB2312},
    {"cp950", BIG5},
    {"tis-620", WINDOWS_874},
};

struct UnicodeForm {
    const char* name;
    Charset::Form form;
};

constexpr UnicodeForm unicodeForms[] = {
    {"utf-16le", Charset::Form::UTF16LE},
    {"utf-16be", Charset::Form::UTF16BE},
    {"utf-16", Charset::Form::UTF16},
};

bool EqualInAnyCase(std::string_view a, std::string_view b) {
    // The names are ASCII, and the user's locale has no say in them.
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

std::optional<Charset> RowOf(CODE_PAGE codePage) {
    const IANAInfo* list = GetIANAInfo();
    const char* name = list->GetIANANameASCII(codePage);
    if (name == nullptr) {
        return std::nullopt;
    }
    return Charset{name, Charset::Form::CodePage, codePage, list->GetWindowsCodePage(codePage)};
}

} // namespace

bool Charset::HasTables() const noexcept {
    return form == Form::CodePage && codePage != UTF_8 && codePage != UNICODE_1_1;
}

bool Charset::Decodes() const noexcept {
    return form != Form::CodePage || (codePage != ISO_2022_JP && codePage != UNICODE_1_1);
}

bool Charset::Encodes() const noexcept {
    return Decodes();
}

std::vector<Charset> Catalogue() {
    std::vector<Charset> charsets;
    for (int value = 0; value <= highestCodePage; ++value) {
        if (std::optional<Charset> row = RowOf(static_cast<CODE_PAGE>(value))) {
            charsets.push_back(std::move(*row));
        }
    }
    return charsets;
}

std::vector<std::string> AliasesOf(const Charset& charset) {
    std::vector<std::string> names;
    for (const Alias& alias : aliases) {
        if (charset.form == Charset::Form::CodePage && alias.codePage == charset.codePage) {
            names.emplace_back(alias.name);
        }
    }
    return names;
}

std::optional<CharacterLength> LengthOfCharacters(const Charset& charset) {
    switch (charset.codePage) {
    case SHIFT_JIS:
    case ISO_2022_JP: // without its escape sequences
    case EUC_KR:
    case GB2312:
    case BIG5:
        return CharacterLength{1, 2};
    case UTF_8:
        return CharacterLength{1, 4};
    case UNICODE_1_1:
        return std::nullopt;
    default:
        return CharacterLength{1, 1};
    }
}

Charset FindCharset(std::string_view name) {
    for (const UnicodeForm& known : unicodeForms) {
        if (EqualInAnyCase(name, known.name)) {
            return {known.name, known.form};
        }
    }
    for (const Alias& alias : aliases) {
        if (EqualInAnyCase(name, alias.name)) {
            return *RowOf(alias.codePage);
        }
    }
    for (Charset& charset : Catalogue()) {
        if (EqualInAnyCase(name, charset.name)) {
            return std::move(charset);
        }
    }
    throw UsageFailure("the character set " + Quoted(name) + " is not known; 'kcodepage list' shows all");
}

Charset FindSource(std::string_view name) {
    Charset charset = FindCharset(name);
    if (!charset.Decodes()) {
        throw UsageFailure(
            charset.codePage == ISO_2022_JP
                ? "iso-2022-jp cannot be converted from; convert it to shift_jis or utf-8 with "
                  "another program first, and name that in --from"
                : "unicode-1-1 cannot be converted; use utf-16le or utf-16be in --from");
    }
    return charset;
}

Charset FindTarget(std::string_view name) {
    Charset charset = FindCharset(name);
    if (!charset.Encodes()) {
        throw UsageFailure(charset.codePage == ISO_2022_JP
                               ? "iso-2022-jp cannot be converted to; use shift_jis or utf-8 in --to"
                               : "unicode-1-1 cannot be converted; use utf-16le or utf-16be in --to");
    }
    return charset;
}
