// What TextDecoder and TextEncoder have in common: how to treat characters without an exact counterpart, why
// a call stopped, and what was found.
//
// These, and the two classes, are an addition of this library to the code page interface: conversion of texts
// of any length piece by piece, which tells exactly what does not convert and where.

#pragma once

#include "CodePage/CODE_PAGE.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace KCodePage {

// Why a character has no exact counterpart.
enum class TextFailureKind : unsigned char {
    Undefined,         // decoding: bytes that stand for no character of the code page or charset
    CutOff,            // decoding: the text ends inside a character
    IllFormed,         // decoding: not UTF-8
    UnpairedSurrogate, // encoding: half a surrogate pair
    Unmapped,          // encoding: a character that the code page does not have
    BestFit            // encoding: a character that the code page only has a similar one for
};

inline constexpr std::size_t textFailureKinds = 6;

// One character without an exact counterpart.
struct TextFailure {
    TextFailureKind kind = TextFailureKind::Undefined;
    std::uint64_t offset = 0;             // from the start of the text: bytes decoding, code units encoding
    std::array<std::uint16_t, 4> units{}; // the first of them: bytes decoding, code units encoding
    unsigned length = 0;                  // how many there are, which may be more than `units` holds

    // Those of them that are known.
    std::span<const std::uint16_t> FirstUnits() const noexcept {
        return {units.data(), std::min<std::size_t>(length, units.size())};
    }
};

enum class TextStop : unsigned char {
    InputUsedUp, // all of the input was taken; a character cut off by its end is kept for the next call
    OutputFull,  // more may come out: call again with what was not consumed, and room
    Failure      // `failure` of the result says what does not convert; every later call stops there too
};

struct TextResult {
    std::size_t consumed = 0; // units of input taken: bytes decoding, code units encoding
    std::size_t written = 0;  // units of output written: code units decoding, bytes encoding
    TextStop stop = TextStop::InputUsedUp;
    TextFailure failure; // for TextStop::Failure; the units that failed count as consumed
};

// How to treat characters without an exact counterpart. By default the first one stops the conversion.
struct TextPolicy {
    // Encoding: let the code page's best fit stand for a character that it does not have.
    bool allowBestFit = false;

    // Put a substitution character in place of whatever does not convert, and count it. Undefined bytes and
    // each maximal ill-formed part of UTF-8, or what ICU takes for one failure, give one code unit `decoded`;
    // encoding, each code unit gives one byte `encoded`, in UTF-8 EF BF BD.
    bool substitute = false;
    wchar16 decoded = 0xFFFD;
    char encoded = '?';

    // Take only 7-bit characters of the code page for defined: without exact counterpart or best fit are
    // then all others. UTF-8 and the charsets of ICU are not concerned.
    bool sevenBit = false;
};

// What was substituted, for each kind.
struct TextSubstitutions {
    struct Count {
        std::uint64_t count = 0;
        TextFailure first;
    };
    std::array<Count, textFailureKinds> ofKind;

    void Add(const TextFailure& failure) noexcept {
        Count& count = ofKind[static_cast<std::size_t>(failure.kind)];
        if (count.count++ == 0) {
            count.first = failure;
        }
    }
};

} // namespace KCodePage
