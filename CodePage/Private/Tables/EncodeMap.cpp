#include "CodePage/Private/Tables/EncodeMap.h"

#include <algorithm>
#include <cstring>

namespace KCodePage {

EncodeMap::Run EncodeMap::Convert(const wchar16* input, std::size_t length, char* output,
                                  std::size_t capacity) const noexcept {
    constexpr std::uint64_t nonASCII = 0xFF80FF80FF80FF80u;
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < length) {
        if (asciiStands) {
            while (length - read >= 4 && capacity - written >= 4) {
                std::uint64_t block = 0;
                std::memcpy(&block, input + read, 8);
                if ((block & nonASCII) != 0) {
                    break;
                }
                for (std::size_t i = 0; i < 4; ++i) {
                    output[written + i] = static_cast<char>(input[read + i]);
                }
                read += 4;
                written += 4;
            }
        }
        // A stretch without another look for a run of ASCII. Where there is room for two bytes a unit the
        // second is always written, and kept only for a two-byte character.
        const std::size_t stretch = std::min<std::size_t>({16, length - read, (capacity - written) / 2});
        for (std::size_t i = 0; i < stretch; ++i) {
            const unsigned code = codes[input[read]];
            if (code == unmapped) {
                return {read, written};
            }
            const bool isDouble = code > 0xFF;
            output[written] = static_cast<char>(isDouble ? code >> 8 : code);
            output[written + 1] = static_cast<char>(code);
            written += isDouble ? 2 : 1;
            ++read;
        }
        if (stretch == 0 && read < length) {
            // Room for one byte at most.
            const unsigned code = codes[input[read]];
            if (code == unmapped || code > 0xFF || written == capacity) {
                return {read, written};
            }
            output[written++] = static_cast<char>(code);
            ++read;
        }
    }
    return {read, written};
}

} // namespace KCodePage
