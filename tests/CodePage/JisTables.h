// Translation files from Shift-JIS to JIS put together by hand, the dump as such a file, and the conversion
// once more, step by step and without regard for speed.

#pragma once

#include "CodePage/Exceptions.h"
#include "CodePage/ShiftJisToJis.h"
#include "OperatingSystem/CodePageSources.h"
#include "Raised.h"
#include "SerializedTables.h"
#include "SlowTables.h"
#include "UTF8/ExactBuffer.h"

#include <array>
#include <cstdio>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace JisTables {

inline constexpr const char* fileName = "ShiftJisToJis.SJ2J";

// A character as it is serialized.
struct Character {
    unsigned valid = 1;
    unsigned single = 0;
    unsigned byte1 = 0;
    unsigned byte2 = 0;

    friend bool operator==(const Character&, const Character&) = default;
};

inline Character Jis(unsigned code) {
    return {1, 0, code >> 8, code & 0xFF};
}

// Entries in the order of a file.
using Entries = std::vector<std::pair<unsigned, Character>>;

inline std::string File(const Entries& entries, std::optional<std::uint64_t> count = {}) {
    std::string file = SerializedTables::Unsigned32(count.value_or(entries.size()));
    for (const auto& [key, character] : entries) {
        SerializedTables::Put(file, key, 2);
        for (const unsigned value : {character.valid, character.single, character.byte1, character.byte2}) {
            SerializedTables::Put(file, value, 1);
        }
    }
    return file;
}

// Nothing where the bytes end too early.
inline std::optional<Entries> Parse(std::string_view bytes) {
    SlowTables::Parser parser(bytes);
    Entries entries;
    for (std::uint32_t count = parser.Take(4); count > 0 && !parser.Ended(); --count) {
        const unsigned key = parser.Take(2);
        Character character;
        character.valid = parser.Take(1) != 0;
        character.single = parser.Take(1) != 0;
        character.byte1 = parser.Take(1);
        character.byte2 = parser.Take(1);
        entries.emplace_back(key, character);
    }
    return parser.Ended() ? std::optional<Entries>() : entries;
}

// The dump's entries by rising key.
inline const Entries& DumpedEntries() {
    static const Entries entries = [] {
        Entries found;
        const std::vector<std::uint16_t> jis = CodePageSources::ReadShiftJisToJis().jis;
        for (unsigned key = 0; key < jis.size(); ++key) {
            if (jis[key] != 0) {
                found.emplace_back(key, Jis(jis[key]));
            }
        }
        return found;
    }();
    return entries;
}

// What a conversion gives, or throws, and its counter.
struct Result {
    std::string bytes;
    unsigned count = 0;
    std::string failure; // the bytes of the character in hexadecimal

    friend bool operator==(const Result&, const Result&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const Result& result) {
        for (const char byte : result.bytes) {
            stream << std::hex << (static_cast<unsigned>(byte) & 0xFFu) << std::dec << ' ';
        }
        return stream << "count " << result.count << " failure \"" << result.failure << '"';
    }
};

struct Slow {
    std::map<unsigned, Character> map;
    std::array<bool, 0x100> isFirstByte{};
    std::array<bool, 0x100> isLeadByte{}; // of the Shift-JIS code page

    // As the operating system's services have it.
    static const Slow& OfServices() {
        static const Slow slow = [] {
            Slow made;
            made.Read(DumpedEntries());
            made.isLeadByte = CodePageSources::Get(932).isLeadByte;
            return made;
        }();
        return slow;
    }

    void Read(const Entries& entries) {
        isFirstByte.fill(false);
        for (const auto& [key, character] : entries) {
            map.emplace(key, character); // keeps what is there
            isFirstByte[character.byte1] = true;
        }
    }

    Result Convert(std::string_view text, unsigned blockSize) const {
        Result result;
        std::string& output = result.bytes;
        bool twoByteMode = false;
        const auto reaches = [&](unsigned reserve) {
            return blockSize != 0 && output.size() + reserve >= blockSize;
        };
        std::size_t i = 0;
        while (i < text.size()) {
            const auto byte = static_cast<unsigned char>(text[i]);
            if (isLeadByte[byte]) {
                const auto trail = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0u;
                const auto found = map.find(byte * 256u + trail);
                if (found == map.end() || found->second.valid == 0) {
                    char shown[16];
                    std::snprintf(shown, sizeof shown, "%x%x", static_cast<unsigned>(byte), trail);
                    return {"", result.count, shown};
                }
                if (!twoByteMode) {
                    if (reaches(8)) {
                        break;
                    }
                    output += "\x1B$B";
                    twoByteMode = true;
                }
                if (reaches(5)) {
                    break;
                }
                output.push_back(static_cast<char>(found->second.byte1));
                output.push_back(static_cast<char>(found->second.byte2));
                i += 2;
            } else {
                if (twoByteMode) {
                    const bool stop = reaches(3);
                    output += "\x1B(B";
                    twoByteMode = false;
                    if (stop) {
                        break;
                    }
                }
                if (reaches(1)) {
                    break;
                }
                output.push_back(static_cast<char>(byte));
                i += 1;
            }
            ++result.count;
        }
        if (twoByteMode) {
            output += "\x1B(B";
        }
        return result;
    }
};

// The library's conversion. A message with any other text, domain or id is an error of the test.
inline Result Convert(KCodePage::ShiftJisToJis& table, const KCodePage::MultiByteString& input,
                      unsigned blockSize) {
    Result result;
    result.count = 12345; // an output only
    const CodePageTests::Failure failure = CodePageTests::Raised([&] {
        const auto string = table.ConvertObservingBlockSize(result.count, blockSize, &input);
        result.bytes.assign(string->Get(), string->Length());
        if (string->Get()[string->Length()] != 0) {
            throw std::logic_error("the text is not terminated by a zero byte");
        }
    });
    if (failure.type != "nothing") {
        const std::string lead = "ShiftJisToJis::Convert - Couldn't convert to JIS code page. Character that "
                                 "failed (Win code page 932): ";
        if (failure != CodePageTests::InvalidCharacter(failure.text) || !failure.text.starts_with(lead)) {
            throw std::logic_error(failure.type + ": " + failure.text);
        }
        result.failure = failure.text.substr(lead.size());
    }
    return result;
}
inline Result Convert(KCodePage::ShiftJisToJis& table, std::string_view text, unsigned blockSize) {
    const KBase::ReturnPtrI<KCodePage::MultiByteString> input(
        KCodePage::CreateMultiByteString(text.data(), static_cast<unsigned>(text.size())));
    return Convert(table, *input, blockSize);
}

// `text` without the pairs of escape sequences that close a run and open it again.
inline std::string WithoutEmptyRuns(std::string text) {
    for (std::size_t found = 0; (found = text.find("\x1B(B\x1B$B", found)) != std::string::npos;) {
        text.erase(found, 6);
    }
    return text;
}

} // namespace JisTables
