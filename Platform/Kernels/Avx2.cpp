#include "Kernels/Levels.h"

namespace Kernels {

constinit const Loops avx2Loops = {Sse2DecodeBytes, Sse2DecodePairs, true, Sse2EncodeBytes, Sse2EncodePairs};

} // namespace Kernels
