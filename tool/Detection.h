// Detection: which character set a text of unknown encoding is in, and how sure that is.
//
// Every reading that decodes all of the bytes is a candidate, and its text is judged by how likely its
// characters beyond ASCII are in a language. docs/detection.md tells what that can and cannot tell.

#pragma once

#include "Charsets.h"
#include "Streams.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct Candidate {
    std::string charset;    // a name that FindSource takes
    bool standard = false;  // it means the ISO standard's own mapping, not the catalogue's
    int confidence = 0;     // 0 to 100; `certain` is 100
    std::string language{}; // ISO 639; empty where the characters do not tell

    std::string source{}; // a name for exactly this mapping, where `charset` is not

    static constexpr int certain = 100;

    // "certain", "confidence 93".
    std::string Sureness() const;
};

struct Detection {
    std::vector<Candidate> candidates;        // all of different texts; the best first
    bool convincing = false;                  // the first is the answer
    std::optional<std::uint64_t> utf8Until{}; // where UTF-8 with more than ASCII first is ill-formed

    // The answer, or without one all that it may be.
    std::vector<Candidate> Likely() const;

    // Those, for people: "candidates: windows-1252 (confidence 45), windows-1250 (confidence 40)".
    std::string Doubt() const;
};

// A character set to choose among others, and the name that it was given by.
struct Choice {
    std::string name;
    Charset charset;
};

// Reads all of `input`: a text that is called certain is so to its end. Memory is bounded. With `choices` it
// is one of these.
Detection DetectWhole(Input& input, const std::vector<Choice>& choices = {});

// Reads what it can read twice: all of a regular file, the first 256 KiB of anything else. The next Read
// begins where the input began.
Detection DetectAhead(Input& input);
