#include "Kernels/Levels.h"

namespace Kernels {

constinit const Loops avx2Loops = {Sse2DecodeBytes, PlainDecode, true};

} // namespace Kernels
