#include "Detection.h"

#include "CodePage/EncodingCandidates.h"
#include "KBase/Message.h"
#include "Plausibility.h"
#include "Readings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>

using namespace KCodePage;

namespace {

// What is judged of a text, from the line on in which it first is more than plain ASCII.
constexpr std::size_t windowSize = std::size_t{256} * 1024;
constexpr std::size_t longestLine = 4096; // as far as the window begins with a line
constexpr std::size_t chunkSize = std::size_t{64} * 1024;

constexpr std::size_t followed = 4; // candidates that are held against what is behind the window

constexpr std::uint64_t shortText = 2048; // bytes; too little to tell one character set for sure
constexpr int threshold = 80;             // of confidence, to be convincing
constexpr int nearlyCertain = 99;
constexpr int unconvincing = threshold - 1;

// A code page of the catalogue and what its name means to others.
struct Twins {
    CODE_PAGE codePage;
    const char* windows;  // its other name
    const char* standard; // the charset of ICU
};

// Of readings with the same text the first one gives its name.
constexpr Twins twins[] = {
    {ISO_8859_1, "windows-1252", "ISO_8859-1:1987"}, {ISO_8859_2, "windows-1250", "ISO_8859-2:1987"},
    {ISO_8859_9, "windows-1254", "ISO_8859-9:1989"}, {ISO_8859_4, "windows-1257", "ISO_8859-4:1988"},
    {ISO_8859_7, "windows-1253", "ISO_8859-7:1987"}, {ISO_8859_6, "windows-1256", "ISO_8859-6:1987"},
};

constexpr CODE_PAGE others[] = {WINDOWS_1255, KOI8_R, WINDOWS_874, SHIFT_JIS, EUC_KR, GB2312, BIG5};

// Charsets of ICU that texts are in, besides those that ICU proposes.
constexpr const char* icuCharsets[] = {"ISO-8859-5", "ISO-8859-8",   "ISO-8859-13", "ISO-8859-15",
                                       "ISO-8859-3", "windows-1251", "KOI8-U",      "IBM866",
                                       "IBM852",     "IBM850",       "EUC-JP",      "GB18030"};

constexpr const char* escapedCharsets[] = {"ISO-2022-JP", "ISO-2022-KR", "ISO-2022-CN", "HZ-GB-2312"};

constexpr char escape = '\x1B';

bool IsPlain(char byte) {
    return static_cast<signed char>(byte) > 0 && byte != escape && byte != '\x0E' && byte != '\x0F';
}

// Where something begins in `text` that no plain ASCII text has: other bytes, escape sequences and shifts.
std::size_t EndOfPlain(std::string_view text) {
    const auto found = std::find_if_not(text.begin(), text.end(), IsPlain);
    return std::min(static_cast<std::size_t>(found - text.begin()), text.find("~{"));
}

// Colours and the like, as programs write them to a terminal.
bool HasTerminalSequencesOnly(std::string_view text) {
    for (std::size_t at = text.find(escape); at != text.npos; at = text.find(escape, at + 1)) {
        if (text.substr(at + 1, 1) != "[") {
            return false;
        }
    }
    return text.find_first_of("\x0E\x0F") == text.npos;
}

std::size_t EndOfSevenBit(std::string_view text) {
    const auto found = std::find_if(text.begin(), text.end(), [](char byte) { return (byte & 0x80) != 0; });
    return static_cast<std::size_t>(found - text.begin());
}

// A reading that decoded the window, and what became of it.
struct Judged {
    Candidate candidate;
    Reading reading;
    Plausibility plausibility;
    std::optional<int> confidence{}; // known without comparing
};

bool HasMoreThanAscii(const Reading& reading) {
    return std::any_of(reading.Text().begin(), reading.Text().end(),
                       [](wchar16 unit) { return unit >= 0x80; });
}

// The share of units that texts have.
double ShareOfText(const Reading& reading) {
    const auto isText = [](wchar16 unit) {
        return unit >= 0x20 ? unit != 0x7F && (unit < 0x80 || IsInUse(unit))
                            : unit == '\n' || unit == '\r' || unit == '\t' || unit == '\f';
    };
    const auto count = std::count_if(reading.Text().begin(), reading.Text().end(), isText);
    return static_cast<double>(count) / static_cast<double>(std::max<std::size_t>(reading.Text().size(), 1));
}

class Detector {
public:
    explicit Detector(std::vector<Choice> among) : choices(std::move(among)), utf8(FindSource("utf-8")) {}

    void Add(std::string_view bytes);

    // `end`: there is no more of the text.
    Detection Finish(bool end);

private:
    bool IsUtf8() const { return choices.empty() && validUtf8 && highBytes; }
    void Restart();
    void JudgeEnd();
    void Judge(bool end);
    void JudgeEscaped(bool end);
    void JudgeWide(bool end);
    void JudgeCatalogue();
    void JudgeCharsetsOfIcu();
    void JudgeChoices(bool end);
    void Take(Candidate candidate, Reading reading, std::optional<int> confidence = {});
    void Rank();
    std::vector<Candidate> Weighed() const;

    std::vector<Choice> choices; // empty for all
    std::uint64_t size = 0;
    bool plain = true;               // so far
    std::uint64_t firstHighByte = 0; // its offset, the size without one
    bool highBytes = false;
    Reading utf8;
    bool validUtf8 = true;
    std::string window;
    bool judged = false;
    bool judgedSevenBit = false;
    std::vector<Judged> candidates;
};

void Detector::Add(std::string_view bytes) {
    size += bytes.size();
    if (!highBytes) {
        firstHighByte += EndOfSevenBit(bytes);
        highBytes = firstHighByte < size;
    }
    validUtf8 = validUtf8 && utf8.Check(bytes, false);
    if (judged && judgedSevenBit && highBytes) {
        Restart();
    } else if (judged) {
        std::erase_if(candidates, [&](Judged& one) { return !one.reading.Check(bytes, false); });
        return;
    } else if (window.size() >= windowSize) {
        if (IsUtf8()) {
            return;
        }
        Restart();
    }
    const std::size_t before = window.empty() ? 0 : window.size() - 1;
    window += bytes;
    plain = plain && EndOfPlain(std::string_view(window).substr(before)) >= window.size() - before;
    if (window.size() < windowSize) {
        return;
    }
    if (plain) {
        const std::size_t start = window.size() - longestLine;
        const std::size_t lineFeed = window.rfind('\n');
        window.erase(0, lineFeed == window.npos || lineFeed < start ? start : lineFeed + 1);
    } else if (!IsUtf8()) {
        Judge(false);
        candidates.erase(candidates.begin() +
                             static_cast<std::ptrdiff_t>(std::min(candidates.size(), followed)),
                         candidates.end());
    }
}

// A text may have been cut inside its last character. What is told by more than its characters is whole.
void Detector::JudgeEnd() {
    constexpr double cutOff = 20;
    std::erase_if(candidates, [](Judged& one) {
        const bool whole = one.reading.Check({}, true);
        one.plausibility.logarithm -= whole ? 0 : cutOff;
        return !whole && one.confidence;
    });
    Rank();
}

// The text is not what it was so far: what follows is judged instead.
void Detector::Restart() {
    judged = false;
    candidates.clear();
    window.clear();
}

void Detector::Take(Candidate candidate, Reading reading, std::optional<int> confidence) {
    const auto same = std::find_if(candidates.begin(), candidates.end(), [&](const Judged& other) {
        return other.reading.Text() == reading.Text();
    });
    if (same != candidates.end()) {
        return;
    }
    const Plausibility plausibility = ::Judge(reading.Text());
    candidate.language = plausibility.language;
    candidates.push_back({std::move(candidate), std::move(reading), plausibility, confidence});
}

// Escape sequences leave no doubt which charset they belong to.
void Detector::JudgeEscaped(bool end) {
    const bool hasShifts = window.find_first_of("\x1B\x0E\x0F") != window.npos;
    for (const char* name : escapedCharsets) {
        const bool isHz = name == std::string_view("HZ-GB-2312");
        const bool isJapanese = name == std::string_view("ISO-2022-JP");
        Reading reading{std::string(name)};
        if (isHz != hasShifts && reading.Read(window, end) && HasMoreThanAscii(reading)) {
            Take({isJapanese ? "iso-2022-jp" : name}, std::move(reading), isHz ? 90 : nearlyCertain);
        }
    }
    const bool isText = window.find('\0') == window.npos;
    Reading ascii(FindSource("us-ascii"));
    if (ascii.Read(window, end)) {
        const bool told = !candidates.empty();
        const int best = end ? Candidate::certain : nearlyCertain;
        const int alone = !hasShifts ? best : HasTerminalSequencesOnly(window) ? 90 : 50;
        Take({"us-ascii"}, std::move(ascii), told ? 1 : std::min(alone, isText ? alone : 50));
    }
}

void Detector::JudgeWide(bool end) {
    const std::string_view start(window);
    const bool marked = start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF");
    const bool marked32 = start.starts_with(std::string_view("\xFF\xFE\0\0", 4)) ||
                          start.starts_with(std::string_view("\0\0\xFE\xFF", 4));
    if (marked32) {
        Reading reading(std::string("UTF-32"));
        if (reading.Read(window, end)) {
            Take({"UTF-32"}, std::move(reading), nearlyCertain);
            return;
        }
    }
    if (marked) {
        Reading reading(FindSource("utf-16"));
        if (reading.Read(window, end)) {
            Take({"utf-16"}, std::move(reading), nearlyCertain);
            return;
        }
    }
    if (start.find('\0') == start.npos) {
        return;
    }
    for (const char* name : {"utf-16le", "utf-16be"}) {
        Reading reading(FindSource(name));
        if (reading.Read(window, end) && ShareOfText(reading) > 0.9) {
            Take({name}, std::move(reading), 90);
        }
    }
}

void Detector::JudgeCatalogue() {
    for (const Twins& pair : twins) {
        Reading windows(FindSource(pair.windows));
        Reading standard{std::string(pair.standard)};
        const std::string name = FindSource(pair.windows).name;
        const bool isWindows = windows.Read(window, false);
        const bool isStandard = standard.Read(window, false);
        const bool same = isWindows && isStandard && windows.Text() == standard.Text();
        if (isWindows) {
            Take({same ? name : pair.windows}, std::move(windows));
        }
        if (isStandard && !same) {
            Take({name, true, 0, {}, pair.standard}, std::move(standard));
        }
    }
    const std::vector<Charset> catalogue = Catalogue();
    for (const CODE_PAGE codePage : others) {
        const auto row = std::find_if(catalogue.begin(), catalogue.end(),
                                      [&](const Charset& one) { return one.codePage == codePage; });
        Reading reading(*row);
        if (reading.Read(window, false)) {
            Take({row->name}, std::move(reading));
        }
    }
}

void Detector::JudgeCharsetsOfIcu() {
    std::vector<std::string> names(std::begin(icuCharsets), std::end(icuCharsets));
    for (const EncodingCandidate& proposal : DetectEncodings(window.data(), window.size())) {
        const std::string name = proposal.charset.substr(0, proposal.charset.find('_'));
        if (!name.starts_with("UTF-") && !name.starts_with("ISO-2022")) {
            names.push_back(name);
        }
    }
    for (const std::string& name : names) {
        try {
            Reading reading(name);
            if (reading.Read(window, false)) {
                Take({name}, std::move(reading));
            }
        } catch (const KBase::Message&) {
            continue; // detected, but no converter of that name
        }
    }
}

void Detector::JudgeChoices(bool end) {
    for (const Choice& choice : choices) {
        Reading reading(choice.charset);
        if (reading.Read(window, end)) {
            Take({choice.name}, std::move(reading));
        }
    }
}

void Detector::Judge(bool end) {
    judged = true;
    judgedSevenBit = !highBytes;
    if (!choices.empty()) {
        JudgeChoices(end);
    } else if (!highBytes && window.find('\0') == window.npos) {
        JudgeEscaped(end);
    } else {
        JudgeWide(end);
        if (candidates.empty() && !highBytes) {
            JudgeEscaped(end);
        }
        if (candidates.empty()) {
            if (validUtf8) {
                Reading reading(FindSource("utf-8"));
                reading.Read(window, end);
                Take({"utf-8"}, std::move(reading));
            }
            JudgeCatalogue();
            JudgeCharsetsOfIcu();
        }
    }
    Rank();
    window.clear();
}

void Detector::Rank() {
    const bool anyPossible = std::any_of(candidates.begin(), candidates.end(),
                                         [](const Judged& one) { return one.plausibility.possible; });
    std::erase_if(candidates, [&](const Judged& one) { return anyPossible && !one.plausibility.possible; });
    std::stable_sort(candidates.begin(), candidates.end(), [](const Judged& a, const Judged& b) {
        return std::pair(a.confidence.value_or(0), a.plausibility.logarithm) >
               std::pair(b.confidence.value_or(0), b.plausibility.logarithm);
    });
}

// How likely each candidate is, beside the others and by itself.
std::vector<Candidate> Detector::Weighed() const {
    constexpr double independence = 4; // neighbouring characters depend on each other
    double sum = 0;
    for (const Judged& one : candidates) {
        sum +=
            std::exp((one.plausibility.logarithm - candidates.front().plausibility.logarithm) / independence);
    }
    std::vector<Candidate> weighed;
    for (const Judged& one : candidates) {
        Candidate candidate = one.candidate;
        const double share =
            std::exp((one.plausibility.logarithm - candidates.front().plausibility.logarithm) /
                     independence) /
            sum;
        const double fit = std::clamp(1.6 - 4 * one.plausibility.strange, 0.0, 1.0);
        candidate.confidence =
            one.confidence.value_or(static_cast<int>(std::lround(nearlyCertain * share * fit)));
        weighed.push_back(std::move(candidate));
    }
    return weighed;
}

Detection Detector::Finish(bool end) {
    Detection detection;
    const int best = end ? Candidate::certain : nearlyCertain;
    const bool wellFormed = validUtf8 && utf8.Check({}, end);
    if (choices.empty() && plain) {
        detection = {{{"us-ascii", false, best}}, true};
        return detection;
    }
    if (IsUtf8()) {
        Reading start(FindSource("utf-8"));
        start.Read(window, false);
        const Plausibility plausibility = ::Judge(start.Text());
        constexpr int cutOffUtf8 = 90; // it ends inside a character
        constexpr double mixed = 0.3;  // as bytes of something else are that happen to be UTF-8
        constexpr std::ptrdiff_t few = 6;
        const auto count = std::count_if(start.Text().begin(), start.Text().end(),
                                         [](wchar16 unit) { return unit >= 0x80; });
        const bool tells = plausibility.strange < mixed;
        if (wellFormed ? tells || count >= few : count >= few) {
            detection = {
                {{"utf-8", false, wellFormed ? best : cutOffUtf8, tells ? plausibility.language : ""}}, true};
            return detection;
        }
    }
    if (!judged) {
        Judge(end);
    }
    if (end) {
        JudgeEnd();
    }
    detection.candidates = Weighed();
    constexpr int doubt = 40; // of all other readings together
    const int elsewhere = std::accumulate(
        detection.candidates.begin(), detection.candidates.end(), 0,
        [](int sum, const Candidate& one) { return one.charset == "utf-8" ? sum : sum + one.confidence; });
    if (IsUtf8() && wellFormed && elsewhere < doubt) { // it makes no sense in anything else either
        detection = {{{"utf-8", false, best}}, true};
        return detection;
    }
    if (choices.empty() && !validUtf8 && utf8.FailureOffset() > firstHighByte) {
        detection.utf8Until = utf8.FailureOffset();
    }
    const bool told = candidates.size() == 1 || (!candidates.empty() && candidates.front().confidence);
    for (Candidate& candidate : detection.candidates) {
        if (size < shortText && !told) {
            candidate.confidence = std::min(candidate.confidence, unconvincing);
        }
    }
    detection.convincing =
        !detection.candidates.empty() && detection.candidates.front().confidence >= threshold;
    return detection;
}

} // namespace

std::string Candidate::Sureness() const {
    return confidence == certain ? "certain" : "confidence " + std::to_string(confidence);
}

std::vector<Candidate> Detection::Likely() const {
    std::vector<Candidate> likely;
    if (!candidates.empty() && candidates.front().confidence == 0) {
        return likely; // they all decode to nonsense
    }
    for (const Candidate& candidate : candidates) {
        constexpr std::size_t fewest = 2; // to be a doubt
        if (convincing ? likely.empty() : likely.size() < fewest || candidate.confidence > 0) {
            likely.push_back(candidate);
        }
    }
    return likely;
}

std::string Detection::Doubt() const {
    std::string listed;
    for (const Candidate& candidate : Likely()) {
        listed += (listed.empty() ? "" : ", ") + candidate.charset + " (" + candidate.Sureness() + ")";
    }
    return "candidates: " + (listed.empty() ? "none" : listed) +
           (utf8Until ? "; it is utf-8 up to byte offset " + std::to_string(*utf8Until) : "");
}

Detection DetectWhole(Input& input, const std::vector<Choice>& choices) {
    Detector detector(choices);
    std::vector<char> chunk(chunkSize);
    while (const std::size_t count = input.Read(chunk)) {
        detector.Add({chunk.data(), count});
    }
    return detector.Finish(true);
}

Detection DetectAhead(Input& input) {
    if (input.Rewind()) {
        Detection detection = DetectWhole(input);
        input.Rewind();
        return detection;
    }
    Detector detector({});
    const std::string_view start = input.Peek(windowSize);
    detector.Add(start);
    return detector.Finish(start.size() < windowSize);
}
