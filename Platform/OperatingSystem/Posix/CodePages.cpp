#include "OperatingSystem/CodePages.h"

#include "CodePageData/CodePageTables.h"
#include "OperatingSystem/LastError.h"
#include "TableCodePage.h"
#include "UTF8CodePage.h"

#include <climits>

namespace OperatingSystem {

namespace {

constexpr std::uint32_t systemCodePage = 0;
constexpr std::uint32_t systemCodePageStandsFor = 1252;
constexpr std::uint32_t utf8CodePage = 65001;
constexpr int shiftJis = 932;

thread_local int multiByteCodePage = 0;

// A code page of the door: one with tables, or UTF-8, which has none, or an unknown one.
class CodePage {
public:
    explicit CodePage(std::uint32_t number) noexcept
        : tables(CodePageData::FindPage(number == systemCodePage ? systemCodePageStandsFor : number)),
          isUTF8(number == utf8CodePage) {}

    bool IsKnown() const noexcept { return tables != nullptr || isUTF8; }
    const CodePageData::Page* Tables() const noexcept { return tables; }

private:
    const CodePageData::Page* tables;
    bool isUTF8;
};

int Fail(ErrorNumber error) noexcept {
    SetLastError(error);
    return 0;
}

// What both conversions refuse.
ErrorNumber CheckArguments(const CodePage& codePage, std::uint32_t flags, const void* text, int length,
                           const void* target, int capacity) noexcept {
    if (text == nullptr || length == 0 || capacity < 0 || (target == nullptr && capacity > 0) ||
        !codePage.IsKnown()) {
        return ErrorInvalidParameter;
    }
    return flags != 0 ? ErrorInvalidFlags : 0;
}

// The length of the text; a negative one stands for everything up to and including the terminating zero.
template <class Character>
std::size_t LengthOf(const Character* text, int length) noexcept {
    if (length >= 0) {
        return static_cast<std::size_t>(length);
    }
    std::size_t found = 0;
    while (text[found] != 0) {
        ++found;
    }
    return found + 1;
}

int Answer(const Converted& converted) noexcept {
    if (!converted.fits || converted.count > INT_MAX) {
        return Fail(ErrorInsufficientBuffer);
    }
    return static_cast<int>(converted.count);
}

// The default character as one number: one byte, or lead byte * 256 + trail byte. A single-byte page takes
// the first byte only.
unsigned DefaultBytes(const CodePageData::Page& page, const char* character) noexcept {
    if (character == nullptr) {
        return '?';
    }
    const unsigned first = static_cast<unsigned char>(character[0]);
    if (first == 0 || character[1] == 0 || page.trailCount == 0) {
        return first;
    }
    return first << 8 | static_cast<unsigned char>(character[1]);
}

} // namespace

int MultiByteToWideChar(std::uint32_t codePage, std::uint32_t flags, const char* text, int length,
                        wchar16* target, int capacity) noexcept {
    const CodePage page(codePage);
    if (const ErrorNumber error = CheckArguments(page, flags, text, length, target, capacity); error != 0) {
        return Fail(error);
    }
    const std::size_t count = LengthOf(text, length);
    const auto room = static_cast<std::size_t>(capacity);
    wchar16* const output = capacity > 0 ? target : nullptr;
    return Answer(page.Tables() != nullptr ? DecodeByTable(*page.Tables(), text, count, output, room)
                                           : DecodeUTF8(text, count, output, room));
}

int WideCharToMultiByte(std::uint32_t codePage, std::uint32_t flags, const wchar16* text, int length,
                        char* target, int capacity, const char* defaultCharacter, int* usedDefault) noexcept {
    const CodePage page(codePage);
    if (const ErrorNumber error = CheckArguments(page, flags, text, length, target, capacity); error != 0) {
        return Fail(error);
    }
    const auto room = static_cast<std::size_t>(capacity);
    char* const output = capacity > 0 ? target : nullptr;
    if (page.Tables() == nullptr) {
        // Every character has bytes of its own in UTF-8.
        if (defaultCharacter != nullptr || usedDefault != nullptr) {
            return Fail(ErrorInvalidParameter);
        }
        return Answer(EncodeUTF8(text, LengthOf(text, length), output, room));
    }
    bool used = false;
    const Converted converted = EncodeByTable(*page.Tables(), text, LengthOf(text, length), output, room,
                                              DefaultBytes(*page.Tables(), defaultCharacter), used);
    if (usedDefault != nullptr) {
        *usedDefault = used ? 1 : 0;
    }
    return Answer(converted);
}

bool IsDBCSLeadByteEx(std::uint32_t codePage, unsigned char byte) noexcept {
    const CodePage page(codePage);
    if (!page.IsKnown()) {
        SetLastError(ErrorInvalidParameter);
        return false;
    }
    return page.Tables() != nullptr && IsLeadByte(*page.Tables(), byte);
}

int _getmbcp() noexcept {
    return multiByteCodePage;
}

int _setmbcp(int codePage) noexcept {
    if (codePage < 0 || !CodePage(static_cast<std::uint32_t>(codePage)).IsKnown()) {
        return -1;
    }
    multiByteCodePage = codePage;
    return 0;
}

unsigned int _mbcjmstojis(unsigned int character) noexcept {
    if (multiByteCodePage != shiftJis) {
        return character;
    }
    const unsigned lead = character >> 8 & 0xFF; // what is above the two bytes is ignored
    const unsigned trail = character & 0xFF;
    const bool isLead = (lead >= 0x81 && lead <= 0x9F) || (lead >= 0xE0 && lead <= 0xEF);
    const bool isTrail = (trail >= 0x40 && trail <= 0x7E) || (trail >= 0x80 && trail <= 0xFC);
    if (!isLead || !isTrail) {
        return 0;
    }
    // A lead byte stands for two rows of 94 characters: the first with the trail bytes 40-7E and 80-9E, the
    // second with 9F-FC. The lead bytes E0-EF follow 9F.
    const unsigned row = 0x21 + 2 * (lead - (lead >= 0xE0 ? 0xC1 : 0x81));
    if (trail >= 0x9F) {
        return (row + 1) << 8 | (trail - 0x7E);
    }
    return row << 8 | (trail - (trail >= 0x80 ? 0x20 : 0x1F));
}

} // namespace OperatingSystem
