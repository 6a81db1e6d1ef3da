// The texts that are converted: one file for each text, named PAGE.LABEL.txt or PAGE.txt after the IANA name
// of the code page that it is encoded in.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "KBase/WideString.h"

#include <string>
#include <string_view>
#include <vector>

namespace Benchmarks {

// A code page under the names that each side has for it.
struct Page {
    KCodePage::CODE_PAGE number;
    const char* name;  // IANA, as the library has it
    const char* icu;   // ICU's converter of the same Windows code page
    const char* iconv; // the C library's
    const char* label; // the Encoding Standard's
    unsigned bytes;    // per character at most
};

extern const std::vector<Page> pages; // all that have tables

struct Text {
    std::string name; // of the file, without ".txt"
    const Page* page;
    std::string bytes;              // in the code page, zero-terminated
    std::string utf8;               // the same text
    KBase::WideString units;        // the same text
    std::vector<std::string> lines; // pieces of 10 to 100 bytes, cut at line ends where these allow it
    std::vector<KBase::WideString> wideLines; // the same pieces

    // Of a Shift-JIS text the pieces that ISO-2022-JP has too, joined, in Shift-JIS and in UTF-16.
    std::string jisBytes;
    KBase::WideString jisUnits;
};

// The texts of `directory` in order of their names, each cut to 1 MiB at the end of a line. Throws
// std::runtime_error when there is none, and what converting them throws.
std::vector<Text> LoadTexts(const std::string& directory);

} // namespace Benchmarks
