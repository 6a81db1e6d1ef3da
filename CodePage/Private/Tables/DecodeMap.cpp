#include "CodePage/Private/Tables/DecodeMap.h"

#include <algorithm>
#include <cstring>

namespace KCodePage {

DecodeMap::Run DecodeMap::Convert(const char* input, std::size_t length, wchar16* output,
                                  std::size_t capacity) const noexcept {
    constexpr std::uint64_t nonASCII = 0x8080808080808080u;
    const auto* in = reinterpret_cast<const unsigned char*>(input);
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < length && written < capacity) {
        if (asciiStands) {
            while (length - read >= 8 && capacity - written >= 8) {
                std::uint64_t block = 0;
                std::memcpy(&block, in + read, 8);
                if ((block & nonASCII) != 0) {
                    break;
                }
                for (std::size_t i = 0; i < 8; ++i) {
                    output[written + i] = in[read + i];
                }
                read += 8;
                written += 8;
            }
        }
        // A stretch without another look for a run of ASCII, which pays only where there is one.
        const std::size_t stretch = std::min<std::size_t>({16, length - read, capacity - written});
        for (std::size_t i = 0; i < stretch && read < length; ++i) {
            const wchar16 unit = single[in[read]];
            if (unit != unmapped) {
                output[written++] = unit;
                ++read;
                continue;
            }
            const std::uint16_t row = rowOf[in[read]];
            if (row == noRow || read + 1 == length) {
                return {read, written};
            }
            const wchar16 pair = pairs[(row - 1u) * 256u + in[read + 1]];
            if (pair == unmapped) {
                return {read, written};
            }
            output[written++] = pair;
            read += 2;
        }
    }
    return {read, written};
}

} // namespace KCodePage
