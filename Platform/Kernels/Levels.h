// The loops of each level, for Dispatch.cpp and for levels that take over what a lower one does.

#pragma once

#include "Kernels/Kernels.h"

namespace Kernels {

// The plain loops by their names: the others leave the ends of texts to them, and odd tables.
DecodeLoop PlainDecode;
EncodeLoop PlainEncode;

extern const Loops plainLoops;
// CMakeLists.txt says for which processors there is more.
#ifdef KCODEPAGE_KERNELS_X86_64
DecodeLoop Sse2DecodeBytes;
DecodeLoop Sse2DecodePairs;
EncodeLoop Sse2EncodeBytes;
EncodeLoop Sse2EncodePairs;

extern const Loops sse2Loops;
extern const Loops avx2Loops;
extern const Loops avx512Loops;
#endif

} // namespace Kernels
