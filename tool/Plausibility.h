// Plausibility: how well a decoded text fits a language, by its characters beyond ASCII.

#pragma once

#include <cstdint>
#include <span>
#include <string>

struct Plausibility {
    // The logarithm of how likely these characters are in the language that fits best. Comparable between
    // readings of the same bytes.
    double logarithm = 0;
    std::string language; // ISO 639; empty for a text of ASCII alone

    // The share of characters beyond ASCII that the language would not have where they stand: 0 to 1.
    double strange = 0;

    bool possible = true; // no controls but those of plain text, no private use
};

// Whether texts have this character beyond ASCII: a letter of the scripts that are known here, or a sign that
// goes with every language.
bool IsInUse(unsigned short unit);

Plausibility Judge(std::span<const unsigned short> text);
