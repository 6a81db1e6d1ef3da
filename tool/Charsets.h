// The character sets that the command knows by name: the catalogue's, and UTF-16LE.

#pragma once

#include "CodePage/CODE_PAGE.h"

#include <optional>
#include <string>
#include <vector>

struct Charset {
    std::string name;
    std::optional<KCodePage::CODE_PAGE> codePage; // none for utf-16le
    unsigned windowsCodePage = 0;
};

// The catalogue in ascending order of its numbers.
std::vector<Charset> Catalogue();

// The character set with this name, in any letter case. Throws Failure for a name that is not known.
Charset FindCharset(const std::string& name);

// Whether the character set converts through translation tables.
bool HasTables(const Charset& charset);
