// The character sets that the command knows by name: the catalogue's, under the catalogue's names and the
// usual aliases, and UTF-16.

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
        UTF16 // with a byte order mark
    };
    std::string name;
    Form form = Form::CodePage;
    KCodePage::CODE_PAGE codePage = KCodePage::UTF_8; // for Form::CodePage
    unsigned windowsCodePage = 0;

    bool IsUnicode() const noexcept { return form != Form::CodePage || codePage == KCodePage::UTF_8; }

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

// The character set with this name, in any letter case. Throws UsageFailure for a name that is not known.
Charset FindCharset(std::string_view name);

// The same; throws UsageFailure too for a character set that the command does not convert from or to.
Charset FindSource(std::string_view name);
Charset FindTarget(std::string_view name);
