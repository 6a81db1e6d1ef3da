// What texts in a language consist of beyond ASCII.

#pragma once

#include <span>
#include <string_view>

struct Language {
    const char* code;               // ISO 639
    bool manyCharacters;            // `characters` are some of thousands, else nearly all there are
    std::u16string_view characters; // the most frequent ones first; letters as small ones
};

std::span<const Language> Languages();
