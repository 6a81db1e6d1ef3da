#include "TableCodePage.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>

namespace OperatingSystem {

namespace {

using CodePageData::Page;
using CodePageData::unmapped;

// What each unit is encoded as, or `unmapped`. Encoding needs an answer for any of 65,536 units at once; the
// tables that are carried along hold only what cannot be derived, so a page's index is made when it is first
// encoded to. The storage is reserved from the start, of which the system provides what is touched: so there
// is no allocation that could fail, and nothing to release.
struct Index {
    std::uint16_t bytes[0x10000];
};

Index indexes[CodePageData::pageCount];
constinit std::atomic<bool> indexIsMade[CodePageData::pageCount];
constinit std::mutex makingIndex;

std::uint16_t DecodePair(const Page& page, unsigned row, unsigned second) noexcept {
    const unsigned column = second - page.firstTrail; // wraps around for a second byte before the first trail
    if (column >= page.trailCount) {
        return page.defaultUnit;
    }
    return CodePageData::units[page.pairs + (row - 1) * page.trailCount + column];
}

void MakeIndex(const Page& page, Index& index) noexcept {
    std::fill(std::begin(index.bytes), std::end(index.bytes), unmapped);
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        std::uint16_t& bytes = index.bytes[CodePageData::units[page.bytes + byte]];
        if (page.row[byte] == 0 && bytes == unmapped) {
            bytes = static_cast<std::uint16_t>(byte);
        }
    }
    for (unsigned lead = 0; lead < 0x100; ++lead) {
        if (page.row[lead] == 0) {
            continue;
        }
        for (unsigned column = 0; column < page.trailCount; ++column) {
            const unsigned trail = page.firstTrail + column;
            const std::uint16_t unit = DecodePair(page, page.row[lead], trail);
            if (unit != page.defaultUnit && index.bytes[unit] == unmapped) {
                index.bytes[unit] = static_cast<std::uint16_t>(lead << 8 | trail);
            }
        }
    }
    for (unsigned i = 0; i < page.exceptionCount; ++i) {
        const CodePageData::Exception& exception = CodePageData::exceptions[page.firstException + i];
        index.bytes[exception.unit] = exception.bytes;
    }
}

const Index& IndexOf(const Page& page) noexcept {
    const auto slot = static_cast<std::size_t>(&page - CodePageData::pages);
    if (!indexIsMade[slot].load(std::memory_order_acquire)) {
        const std::lock_guard lock(makingIndex);
        if (!indexIsMade[slot].load(std::memory_order_relaxed)) {
            MakeIndex(page, indexes[slot]);
            indexIsMade[slot].store(true, std::memory_order_release);
        }
    }
    return indexes[slot];
}

} // namespace

Converted DecodeByTable(const Page& page, const char* text, std::size_t length, wchar16* target,
                        std::size_t capacity) noexcept {
    std::size_t count = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        std::uint16_t unit = CodePageData::units[page.bytes + byte]; // a lead byte has the default unit there
        if (page.row[byte] != 0 && i + 1 < length && text[i + 1] != 0) {
            // The second byte is taken even where it can be no trail byte; only a zero stands for itself.
            ++i;
            unit = DecodePair(page, page.row[byte], static_cast<unsigned char>(text[i]));
        }
        if (target != nullptr) {
            if (count == capacity) {
                return {count, false};
            }
            target[count] = unit;
        }
        ++count;
    }
    return {count, true};
}

Converted EncodeByTable(const Page& page, const wchar16* text, std::size_t length, char* target,
                        std::size_t capacity, unsigned defaultBytes, bool& usedDefault) noexcept {
    const Index& index = IndexOf(page);
    std::size_t count = 0;
    for (std::size_t i = 0; i < length; ++i) {
        unsigned bytes = index.bytes[text[i]];
        if (bytes == unmapped) {
            bytes = defaultBytes;
            usedDefault = true;
        }
        const std::size_t size = bytes > 0xFF ? 2 : 1;
        if (target != nullptr) {
            if (capacity - count < size) {
                return {count, false};
            }
            if (size == 2) {
                target[count] = static_cast<char>(bytes >> 8);
            }
            target[count + size - 1] = static_cast<char>(bytes & 0xFF);
        }
        count += size;
    }
    return {count, true};
}

} // namespace OperatingSystem
