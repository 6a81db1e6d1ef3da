// Loss: a character without an exact counterpart, where it stands in its file, and what is said of it.

#pragma once

#include "Charsets.h"
#include "CodePage/TextConversion.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// Which half of the conversion met it.
enum class Side : unsigned char { Decoding, Encoding };

struct Loss {
    Side side = Side::Decoding;
    KCodePage::TextFailure failure;
    std::string file; // as messages name it
    std::uint64_t line = 0;
    std::uint64_t offset = 0;         // of its first byte in the file
    std::vector<std::uint16_t> bytes; // in the file
    std::string bestFit;              // for a best fit: the bytes that it would become
};

// What was substituted in a run: for each kind how many, and the first.
class LossTally {
public:
    struct Entry {
        std::uint64_t count = 0;
        Loss first;
    };

    Entry& Of(Side side, KCodePage::TextFailureKind kind) {
        return entries[static_cast<std::size_t>(side)][static_cast<std::size_t>(kind)];
    }

    void Forget(Side side) { entries[static_cast<std::size_t>(side)] = {}; }

    // One line for each kind.
    std::vector<std::string> Lines(Side side, const Charset& from, const Charset& to) const;

private:
    std::array<std::array<Entry, KCodePage::textFailureKinds>, 2> entries;
};

// What stops a conversion at `loss`, and which option would not.
std::string Describe(const Loss& loss, const Charset& from, const Charset& to);
