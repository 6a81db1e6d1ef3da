#include "TableCodePage.h"

#include <algorithm>
#include <iterator>
#include <mutex>

namespace OperatingSystem {

using CodePageData::Page;
using CodePageData::unmapped;

Index indexes[CodePageData::pageCount];
constinit std::atomic<bool> indexIsMade[CodePageData::pageCount];

namespace {

constinit std::mutex makingIndex;

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

} // namespace

void RequireIndex(std::size_t slot) noexcept {
    const std::lock_guard lock(makingIndex);
    if (!indexIsMade[slot].load(std::memory_order_relaxed)) {
        MakeIndex(CodePageData::pages[slot], indexes[slot]);
        indexIsMade[slot].store(true, std::memory_order_release);
    }
}

} // namespace OperatingSystem
