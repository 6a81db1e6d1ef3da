#include "CodePage/Private/Tables/DecodeMap.h"

#include "CodePage/MultiByteToUnicode.h"

namespace KCodePage {

DecodeMap::DecodeMap(const DecodeMap& other)
    : units(other.units), unitsOfTwo(other.unitsOfTwo), table(other.table), loop(other.loop) {
    table.units = units.data();
    table.unitsOfTwo = unitsOfTwo.empty() ? nullptr : unitsOfTwo.data();
}

const DecodeMap* DecodeMap::Of(const MultiByteToUnicode& owner) noexcept {
    return owner.map.get();
}

void DecodeMap::Prepare() {
    const Kernels::Loops& loops = Kernels::Chosen();
    table.units = units.data();
    Kernels::Prepare(table);
    loop = table.hasPairs ? loops.decodePairs : loops.decodeBytes;
    if (loops.usesUnitsOfTwo && table.mapsAllBytes) {
        unitsOfTwo.resize(Kernels::DecodeTable::unitsOfTwoCount);
        Kernels::FillUnitsOfTwo(table, unitsOfTwo.data());
        table.unitsOfTwo = unitsOfTwo.data();
    }
}

} // namespace KCodePage
