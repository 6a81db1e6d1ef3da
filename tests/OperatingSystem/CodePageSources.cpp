#include "OperatingSystem/CodePageSources.h"

#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>

namespace CodePageSources {

namespace {

using Words = std::vector<std::string>;

std::uint16_t Hexadecimal(const std::string& word, std::size_t digits) {
    if (word.size() != digits || word.find_first_not_of("0123456789ABCDEF") != std::string::npos) {
        throw std::runtime_error("not a number of " + std::to_string(digits) + " digits: " + word);
    }
    return static_cast<std::uint16_t>(std::stoul(word, nullptr, 16));
}

// Calls `take` with the words of every line that is no remark.
void ReadLines(const std::string& name, const std::function<void(const Words&)>& take) {
    const std::string path = "CodePageData/sources/" + name;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("Cannot read " + path);
    }
    std::string line;
    for (unsigned number = 1; std::getline(file, line); ++number) {
        if (line.starts_with('#')) {
            continue;
        }
        std::istringstream stream(line);
        Words words;
        for (std::string word; stream >> word;) {
            words.push_back(word);
        }
        try {
            if (words.size() < 2) {
                throw std::runtime_error("too few words");
            }
            take(words);
        } catch (const std::exception& error) {
            throw std::runtime_error(path + ":" + std::to_string(number) + ": " + error.what());
        }
    }
}

void Require(bool holds, const char* message) {
    if (!holds) {
        throw std::runtime_error(message);
    }
}

void ReadLine(CodePage& page, unsigned& bytesSeen, const Words& words) {
    const std::string& kind = words[0];
    if (kind == "codepage") {
        page.number = static_cast<unsigned>(std::stoul(words[1]));
    } else if (kind == "lead") {
        for (std::size_t i = 1; i < words.size() && words[i] != "-"; ++i) {
            const unsigned last = Hexadecimal(words[i].substr(3), 2);
            for (unsigned byte = Hexadecimal(words[i].substr(0, 2), 2); byte <= last; ++byte) {
                page.isLeadByte[byte] = true;
            }
        }
    } else if (kind == "byte") {
        Require(words.size() == 18, "not 16 bytes");
        const unsigned first = Hexadecimal(words[1], 2);
        for (unsigned i = 0; i < 16; ++i) {
            page.byteUnits.at(first + i) = Hexadecimal(words[i + 2], 4);
        }
        bytesSeen += 16;
    } else if (kind == "pair") {
        Require(words.size() == 258, "not 256 pairs");
        const unsigned lead = Hexadecimal(words[1], 2);
        Require(page.isLeadByte[lead], "not a lead byte");
        for (unsigned second = 0; second < 0x100; ++second) {
            const std::string& word = words[second + 2];
            PairUnits& pair = page.pairs[lead * 0x100 + second];
            pair.count = word.size() == 4 ? 1 : 2;
            pair.units[0] = Hexadecimal(word.substr(0, 4), 4);
            if (pair.count == 2) {
                Require(word[4] == '+', "two units without a plus sign");
                pair.units[1] = Hexadecimal(word.substr(5), 4);
            }
        }
    } else if (kind == "unit") {
        Require(words.size() == 18, "not 16 units");
        const unsigned first = Hexadecimal(words[1], 4);
        for (unsigned i = 0; i < 16; ++i) {
            if (words[i + 2] != "-") {
                page.encoded.at(first + i) = Hexadecimal(words[i + 2], words[i + 2].size() == 2 ? 2 : 4);
            }
        }
    } else {
        throw std::runtime_error("an unknown kind of line");
    }
}

CodePage Read(unsigned number) {
    CodePage page;
    page.pairs.resize(0x10000);
    page.encoded.resize(0x10000);
    unsigned bytesSeen = 0;
    ReadLines("codepage-" + std::to_string(number) + ".txt",
              [&](const Words& words) { ReadLine(page, bytesSeen, words); });
    Require(page.number == number && bytesSeen == 0x100, "a dump that is not complete");
    for (unsigned pair = 0; pair < 0x10000; ++pair) {
        Require((page.pairs[pair].count != 0) == page.isLeadByte[pair >> 8], "a dump without all its pairs");
    }
    return page;
}

} // namespace

bool CodePage::IsDoubleByte() const {
    for (const bool isLead : isLeadByte) {
        if (isLead) {
            return true;
        }
    }
    return false;
}

const CodePage& Get(unsigned number) {
    static std::mutex mutex;
    static std::map<unsigned, CodePage> pages;
    const std::lock_guard lock(mutex);
    const auto found = pages.find(number);
    return found != pages.end() ? found->second : pages.emplace(number, Read(number)).first->second;
}

ShiftJisToJis ReadShiftJisToJis() {
    ShiftJisToJis result;
    result.jis.resize(0x10000);
    ReadLines("shift-jis-to-jis.txt", [&](const Words& words) {
        if (words[0] == "character") {
            Require(words.size() == 18, "not 16 characters");
            const unsigned first = Hexadecimal(words[1], 4);
            for (unsigned i = 0; i < 16; ++i) {
                result.jis.at(first + i) =
                    words[i + 2] == "-" ? std::uint16_t{0} : Hexadecimal(words[i + 2], 4);
            }
        } else if (words[0] == "unchanged") {
            for (std::size_t i = 1; i < words.size() && words[i] != "-"; ++i) {
                result.unchangedCodePages.push_back(std::stoi(words[i]));
            }
        } else {
            Require(words[0] == "codepage" && words[1] == "932", "an unknown kind of line");
        }
    });
    return result;
}

} // namespace CodePageSources
