#include "Charsets.h"

#include "CodePage/Exceptions.h"
#include "CodePage/IANAInfo.h"
#include "CodePage/TextDecoder.h"
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

// Names that ICU has for code pages of the catalogue are here too: under them nobody shall get tables that
// are not quite the Windows code page's.
constexpr Alias aliases[] = {
    {"ascii", US_ASCII},
    {"latin1", ISO_8859_1},
    {"windows-1252", ISO_8859_1},
    {"cp1252", ISO_8859_1},
    {"windows-1250", ISO_8859_2},
    {"cp1250", ISO_8859_2},
    {"windows-1257", ISO_8859_4},
    {"cp1257", ISO_8859_4},
    {"windows-1256", ISO_8859_6},
    {"cp1256", ISO_8859_6},
    {"windows-1253", ISO_8859_7},
    {"cp1253", ISO_8859_7},
    {"cp1255", WINDOWS_1255},
    {"windows-1254", ISO_8859_9},
    {"cp1254", ISO_8859_9},
    {"cp932", SHIFT_JIS},
    {"windows-932", SHIFT_JIS},
    {"ms932", SHIFT_JIS},
    {"windows-31j", SHIFT_JIS},
    {"cswindows31j", SHIFT_JIS},
    {"sjis", SHIFT_JIS},
    {"x-sjis", SHIFT_JIS},
    {"ms_kanji", SHIFT_JIS},
    {"csshiftjis", SHIFT_JIS},
    {"ks_c_5601-1987", EUC_KR},
    {"uhc", EUC_KR},
    {"cp949", EUC_KR},
    {"windows-949", EUC_KR},
    {"ms949", EUC_KR},
    {"koi8r", KOI8_R},
    {"cp20866", KOI8_R},
    {"windows-20866", KOI8_R},
    {"gbk", GB2312},
    {"cp936", GB2312},
    {"windows-936", GB2312},
    {"ms936", GB2312},
    {"cp950", BIG5},
    {"windows-950", BIG5},
    {"ms950", BIG5},
    {"tis-620", WINDOWS_874},
    {"cp874", WINDOWS_874},
    {"ms874", WINDOWS_874},
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

// What of a name counts: its letters and digits. The names are ASCII, and the user's locale has no say in
// them.
std::string Essence(std::string_view name) {
    std::string essence;
    for (const char c : name) {
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
            essence.push_back(c);
        } else if (c >= 'A' && c <= 'Z') {
            essence.push_back(static_cast<char>(c - 'A' + 'a'));
        }
    }
    return essence;
}

bool IsSame(std::string_view a, std::string_view b) {
    return Essence(a) == Essence(b);
}

bool IsStandard(std::string_view name) {
    return name.starts_with("iso-8859-");
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

bool Charset::IsUnicode() const noexcept {
    return form != Form::ICU && (form != Form::CodePage || codePage == UTF_8);
}

bool Charset::HasTables() const noexcept {
    return form == Form::CodePage && codePage != UTF_8 && codePage != UNICODE_1_1;
}

bool Charset::Decodes() const noexcept {
    return form != Form::CodePage || codePage != UNICODE_1_1;
}

bool Charset::Encodes() const noexcept {
    return Decodes() && form != Form::ICU;
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

Charset StandardOf(const Charset& charset) {
    return {charset.standard, Charset::Form::ICU};
}

std::string WindowsNameOf(const Charset& charset) {
    return "windows-" + std::to_string(charset.windowsCodePage);
}

namespace {

// The catalogue's character set with this name, or UTF-16.
std::optional<Charset> Known(std::string_view name) {
    for (const UnicodeForm& known : unicodeForms) {
        if (IsSame(name, known.name)) {
            return Charset{known.name, known.form};
        }
    }
    for (const Alias& alias : aliases) {
        if (IsSame(name, alias.name)) {
            Charset charset = *RowOf(alias.codePage);
            if (IsSame(name, "latin1")) {
                charset.standard = charset.name;
            }
            return charset;
        }
    }
    for (Charset& charset : Catalogue()) {
        if (IsSame(name, charset.name)) {
            if (IsStandard(charset.name)) {
                charset.standard = charset.name;
            }
            return std::move(charset);
        }
    }
    return std::nullopt;
}

bool IsKnownToICU(const std::string& name) {
    try {
        const TextDecoder decoder(name.c_str());
        return true;
    } catch (const UserErrorException&) {
        return false;
    }
}

[[noreturn]] void ThrowUnknown(std::string_view name) {
    throw UsageFailure("the character set " + Quoted(name) + " is not known; 'kcodepage list' shows all");
}

[[noreturn]] void ThrowRefused(const Charset& charset, const char* option) {
    throw UsageFailure(charset.name + " cannot be converted; use utf-16le or utf-16be in " + option);
}

} // namespace

Charset FindCharset(std::string_view name) {
    if (std::optional<Charset> known = Known(name)) {
        return *known;
    }
    ThrowUnknown(name);
}

Charset FindSource(std::string_view name) {
    std::optional<Charset> known = Known(name);
    if (!known && IsKnownToICU(std::string(name))) {
        return {std::string(name), Charset::Form::ICU};
    }
    if (!known) {
        throw UsageFailure("the character set " + Quoted(name) +
                           " is neither one that 'kcodepage list' shows nor one that is read by ICU");
    }
    if (!known->Decodes()) {
        ThrowRefused(*known, "--from");
    }
    if (known->codePage == ISO_2022_JP) {
        known->form = Charset::Form::ICU; // the code page itself is one-way
    }
    return *known;
}

Charset FindTarget(std::string_view name) {
    const std::optional<Charset> known = Known(name);
    if (!known && IsKnownToICU(std::string(name))) {
        throw UsageFailure(Quoted(name) +
                           " can only be converted from; 'kcodepage list' shows what --to takes");
    }
    if (!known) {
        ThrowUnknown(name);
    }
    if (!known->Encodes()) {
        ThrowRefused(*known, "--to");
    }
    return *known;
}
