#include "CodePage/Private/Tables/EncodeMap.h"

namespace KCodePage {

EncodeMap::EncodeMap(const EncodeMap& other)
    : codes(other.codes), maximumBytes(other.maximumBytes), table(other.table), loop(other.loop) {
    table.codes = codes.data();
}

void EncodeMap::Prepare() {
    const Kernels::Loops& loops = Kernels::Chosen();
    table.codes = codes.data();
    Kernels::Prepare(table);
    loop = table.hasPairs ? loops.encodePairs : loops.encodeBytes;
}

} // namespace KCodePage
