#include "Plausibility.h"

#include "Languages.h"

#include <cmath>
#include <limits>
#include <map>
#include <string_view>

namespace {

using Unit = unsigned short;

// Logarithms of what a character beyond ASCII is worth where a language does not have it.
constexpr double rare = -8.5;      // one of thousands
constexpr double typographic = -6; // in use with every language
constexpr double foreign = -9;     // a letter, but not of this language
constexpr double misplaced = -11;  // in the middle of a word that it is not a part of
constexpr double impossible = -16; // no text has it

bool Within(Unit unit, Unit first, Unit last) {
    return unit >= first && unit <= last;
}

bool IsLatin(Unit unit) {
    return Within(unit, 'A', 'Z') || Within(unit, 'a', 'z') ||
           (Within(unit, 0xC0, 0x24F) && unit != 0xD7 && unit != 0xF7) || Within(unit, 0x1E00, 0x1EFF);
}

enum class Script : unsigned char { None, Latin, Greek, Cyrillic, Hebrew, Arabic, Thai, EastAsian };

Script ScriptOf(Unit unit) {
    if (IsLatin(unit)) {
        return Script::Latin;
    }
    if (unit == 0x386 || Within(unit, 0x388, 0x3FF)) {
        return Script::Greek;
    }
    if (Within(unit, 0x400, 0x52F)) {
        return Script::Cyrillic;
    }
    if (Within(unit, 0x591, 0x5F4)) {
        return Script::Hebrew;
    }
    if (Within(unit, 0x620, 0x6FF) && !Within(unit, 0x660, 0x66D) && unit != 0x6D4) {
        return Script::Arabic;
    }
    if (Within(unit, 0xE01, 0xE4E)) {
        return Script::Thai;
    }
    const bool isEastAsian =
        Within(unit, 0x3041, 0x30FF) || Within(unit, 0x4E00, 0x9FFF) || Within(unit, 0xAC00, 0xD7A3);
    return isEastAsian ? Script::EastAsian : Script::None;
}

bool IsTypographic(Unit unit) {
    constexpr std::u16string_view signs =
        u"\u00A0\u00A7\u00A9\u00AB\u00AD\u00AE\u00B0\u00B7\u00BB\u00D7\u20AC\u2122";
    return signs.find(static_cast<char16_t>(unit)) != signs.npos || Within(unit, 0x2010, 0x203A) ||
           Within(unit, 0x2190, 0x2193) || unit == 0x25CF || Within(unit, 0x3000, 0x303F) ||
           Within(unit, 0xFF01, 0xFF5E) || Within(unit, 0xD800, 0xDFFF) ||
           unit == 0xFEFF; // emoji and a mark are in use with all, too
}

// What a word may have besides letters.
bool JoinsLetters(Unit unit) {
    return unit == 0xA0 || unit == 0xAD || unit == 0xB7 || Within(unit, 0x200B, 0x2015) || unit == 0x2019;
}

// Controls that plain text has.
bool IsLayout(Unit unit) {
    return Within(unit, 0x08, 0x0D) || unit == 0x1A || unit == 0x1B;
}

// Other controls, private use, what is no character.
bool IsImpossible(Unit unit) {
    return (unit < 0x20 && !IsLayout(unit)) || Within(unit, 0x7F, 0x9F) || Within(unit, 0xE000, 0xF8FF) ||
           unit >= 0xFFF0;
}

bool IsCapital(Unit unit) {
    if (Within(unit, 0x100, 0x17F)) {
        const bool capitalsAreOdd = Within(unit, 0x139, 0x148) || Within(unit, 0x179, 0x17E);
        return unit != 0x131 && unit != 0x138 && unit != 0x149 && unit != 0x17F &&
               (unit == 0x178 || (unit % 2 == 1) == capitalsAreOdd);
    }
    return Within(unit, 'A', 'Z') || (Within(unit, 0xC0, 0xDE) && unit != 0xD7) ||
           (Within(unit, 0x386, 0x3AB) && unit != 0x390) || Within(unit, 0x400, 0x42F);
}

Unit Small(Unit unit) {
    if (!IsCapital(unit) || unit == 0x130) {
        return unit;
    }
    if (Within(unit, 0x100, 0x17F)) {
        return unit == 0x178 ? Unit{0xFF} : static_cast<Unit>(unit + 1);
    }
    if (Within(unit, 0x386, 0x38F)) {
        constexpr Unit accented[] = {0x3AC, 0x387, 0x3AD, 0x3AE, 0x3AF, 0x38B, 0x3CC, 0x38D, 0x3CD, 0x3CE};
        return accented[unit - 0x386];
    }
    return static_cast<Unit>(unit + (Within(unit, 0x400, 0x40F) ? 0x50 : 0x20));
}

// How often a text has each character beyond ASCII, as small letters.
struct Census {
    std::map<Unit, std::size_t> inPlace;
    std::size_t outOfPlace = 0;
    std::size_t total = 0;
};

bool IsOutOfPlace(Unit before, Unit unit, Unit after) {
    const Script script = ScriptOf(unit);
    const Script left = ScriptOf(before);
    if (script == Script::None) {
        if (unit == 0x2019 && left == Script::None) {
            return ScriptOf(after) != Script::None; // no word begins with it
        }
        const bool inWord = left != Script::None && left != Script::EastAsian && left != Script::Thai &&
                            ScriptOf(after) == left;
        return inWord && !JoinsLetters(unit);
    }
    if (left == Script::None || left == Script::EastAsian || script == Script::EastAsian) {
        return false;
    }
    return left != script || (IsCapital(unit) && !IsCapital(before));
}

Census Count(std::span<const Unit> text) {
    Census census;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] < 0x80 && !IsImpossible(text[i])) {
            continue;
        }
        ++census.total;
        const Unit before = i > 0 ? text[i - 1] : Unit{' '};
        const Unit after = i + 1 < text.size() ? text[i + 1] : Unit{' '};
        if (!IsImpossible(text[i]) && IsOutOfPlace(before, text[i], after)) {
            ++census.outOfPlace;
        } else {
            ++census.inPlace[Small(text[i])];
        }
    }
    return census;
}

// Frequencies fall about as 1 / rank.
double LogarithmOfRank(std::size_t rank, const Language& language) {
    double sum = 0;
    for (std::size_t i = 0; i < language.characters.size(); ++i) {
        sum += 1 / (static_cast<double>(i) + 2);
    }
    const double share = language.manyCharacters ? 0.7 : 0.98;
    return std::log(share / (sum * (static_cast<double>(rank) + 2)));
}

Plausibility JudgeAs(const Language& language, const Census& census) {
    Plausibility result;
    result.language = language.code;
    result.logarithm = misplaced * static_cast<double>(census.outOfPlace);
    double strange = static_cast<double>(census.outOfPlace);
    for (const auto& [unit, count] : census.inPlace) {
        const std::size_t rank = language.characters.find(static_cast<char16_t>(unit));
        double worth = foreign;
        if (rank != language.characters.npos) {
            worth = LogarithmOfRank(rank, language);
        } else if (IsImpossible(unit)) {
            worth = impossible;
            result.possible = false;
            strange += static_cast<double>(count);
        } else if (language.manyCharacters && ScriptOf(unit) == Script::EastAsian) {
            worth = rare;
            strange += static_cast<double>(count) / 4; // every text has some
        } else if (IsTypographic(unit)) {
            worth = typographic;
        } else {
            strange += static_cast<double>(count);
        }
        result.logarithm += worth * static_cast<double>(count);
    }
    result.strange = strange / static_cast<double>(census.total);
    return result;
}

} // namespace

bool IsInUse(unsigned short unit) {
    return ScriptOf(unit) != Script::None || IsTypographic(unit);
}

Plausibility Judge(std::span<const unsigned short> text) {
    const Census census = Count(text);
    Plausibility best;
    if (census.total == 0) {
        return best;
    }
    best.logarithm = -std::numeric_limits<double>::infinity();
    for (const Language& language : Languages()) {
        const Plausibility found = JudgeAs(language, census);
        if (found.logarithm > best.logarithm) {
            best = found;
        }
    }
    return best;
}
