#include "CodePage/Private/Tables/EncodeMap.h"

#include <utility>

namespace KCodePage {

EncodeMap::EncodeMap(const EncodeMap& other)
    : codes(other.codes),
      entries(other.entries),
      size(other.size),
      maximumBytes(other.maximumBytes),
      table(other.table),
      loop(other.loop) {
    table.codes = codes.data();
}

MultiByteCharacter EncodeMap::Get(wchar16 unit) const noexcept {
    if (!entries.empty()) {
        const Entry& entry = entries[unit];
        return {entry.valid, entry.single, entry.byte1, entry.byte2};
    }
    const std::uint16_t code = codes[unit];
    const auto byte1 = static_cast<unsigned char>(code);
    if (code == Kernels::EncodeTable::unmapped) {
        return {};
    }
    return code > 0xFF ? MultiByteCharacter(byte1, static_cast<unsigned char>(code >> 8))
                       : MultiByteCharacter(byte1);
}

[[gnu::noinline]] void EncodeMap::SetOdd(wchar16 unit, const Entry& entry) {
    if (entries.empty()) {
        std::vector<Entry> all(unitCount);
        for (std::size_t each = 0; each < unitCount; ++each) {
            all[each] = Entry::Of(Get(static_cast<wchar16>(each)));
        }
        entries = std::move(all);
    }
    entries[unit] = entry;
}

void EncodeMap::Prepare() {
    const Kernels::Loops& loops = Kernels::Chosen();
    table.codes = codes.data();
    Kernels::Prepare(table);
    loop = table.hasPairs ? loops.encodePairs : loops.encodeBytes;
}

} // namespace KCodePage
