// The character sets that the command knows by name: the catalogue's, under the catalogue's names and the
// usual aliases, UTF-16, and to convert from also those that only ICU knows.
//
// Names are compared without regard to letter case and to what is neither letter nor digit.

#pragma once

#include "CodePage/CODE_PAGE.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct Charset {
    enum class Form : unsigned char {
        CodePage, // a code page of the catalogue, or UTF-8
        UTF16LE,
        UTF16BE,
        UTF16, // with a byte order mark
        ICU    // by ICU's converter, under `name`; only to convert from
    };
    std::string name;
    Form form = Form::CodePage;
    KCodePage::CODE_PAGE codePage = KCodePage::UTF_8; // for Form::CodePage
    unsigned windowsCodePage = 0;
    std::string standard = {}; // the ISO standard by whose name a Windows code page was asked for

    // Whether it has every character, so that U+FFFD can stand for what does not convert.
    bool IsUnicode() const noexcept;

    // Whether it converts through translation tables.
    bool HasTables() const noexcept;

    // What the command converts. Both say no where FindSource and FindTarget refuse.
    bool Decodes() const noexcept;
    bool Encodes() const noexcept;
};

// The catalogue in ascending order of its numbers.
std::vector<Charset> Catalogue();

// Other names for the catalogue's character set.
std::vector<std::string> AliasesOf(const Charset& charset);

// The bytes that one character takes; none where nothing converts.
struct CharacterLength {
    unsigned minimum;
    unsigned maximum;
};
std::optional<CharacterLength> LengthOfCharacters(const Charset& charset);

// The standard by whose name `charset` was asked for, as it is without the code page's characters.
// Requires: there is one.
Charset StandardOf(const Charset& charset);

// The name that says without doubt that a Windows code page is meant: "windows-1250".
std::string WindowsNameOf(const Charset& charset);

// The character set of the catalogue with this name, or UTF-16. Throws UsageFailure for a name that is not
// known.
Charset FindCharset(std::string_view name);

// The same; throws UsageFailure too for a character set that the command does not convert from or to. A
// source may also be known to ICU alone.
Charset FindSource(std::string_view name);
Charset FindTarget(std::string_view name);
