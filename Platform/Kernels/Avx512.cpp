#include "Kernels/Avx512Parts.h"
#include "Kernels/Levels.h"

#include <cstring>
#include <immintrin.h>

namespace Kernels {

namespace {

// The units of 64 bytes, each taken as a whole character. Bytes from 80 on are looked up in 128 low and 128
// high halves of units, which are four registers.
class OneByteCharacters {
public:
    explicit OneByteCharacters(const DecodeTable& table) noexcept
        : low0(_mm512_loadu_si512(table.lowHalves)),
          low1(_mm512_loadu_si512(table.lowHalves + 64)),
          high0(_mm512_loadu_si512(table.highHalves)),
          high1(_mm512_loadu_si512(table.highHalves + 64)),
          interleaveFirst(_mm512_load_si512(interleaving.first)),
          interleaveSecond(_mm512_load_si512(interleaving.second)) {}

    struct Halves {
        __m512i low;
        __m512i high;
    };
    Halves LookUp(__m512i bytes) const noexcept {
        const __mmask64 beyondASCII = _mm512_movepi8_mask(bytes);
        return {_mm512_mask2_permutex2var_epi8(low0, bytes, beyondASCII, low1),
                _mm512_maskz_permutex2var_epi8(beyondASCII, high0, bytes, high1)};
    }

    __m512i First32(const Halves& halves) const noexcept {
        return _mm512_permutex2var_epi8(halves.low, interleaveFirst, halves.high);
    }
    __m512i Second32(const Halves& halves) const noexcept {
        return _mm512_permutex2var_epi8(halves.low, interleaveSecond, halves.high);
    }

private:
    __m512i low0;
    __m512i low1;
    __m512i high0;
    __m512i high1;
    __m512i interleaveFirst;
    __m512i interleaveSecond;
};

Run DecodeBytes(const DecodeTable& table, const unsigned char* input, std::size_t length,
                std::uint16_t* output, std::size_t capacity) noexcept {
    if (!table.asciiStands) {
        return PlainDecode(table, input, length, output, capacity);
    }
    const OneByteCharacters characters(table);
    const __m512i ones = _mm512_set1_epi8(-1);
    const std::size_t count = Smaller(length, capacity);
    // Converts a block and returns how far it came.
    const auto convert = [&](std::size_t i, std::size_t block) {
        const auto halves = characters.LookUp(_mm512_maskz_loadu_epi8(FirstOf64(block), input + i));
        const auto store = [&](std::size_t number) {
            const __mmask64 stored = FirstOf64(number);
            _mm512_mask_storeu_epi16(output + i, static_cast<__mmask32>(stored), characters.First32(halves));
            _mm512_mask_storeu_epi16(output + i + 32, static_cast<__mmask32>(stored >> 32),
                                     characters.Second32(halves));
            return number;
        };
        const __mmask64 left = _mm512_cmpeq_epi8_mask(_mm512_and_si512(halves.low, halves.high), ones);
        // A branch: else the next block would wait for the look-ups of this one.
        if (left != 0) [[unlikely]] {
            return store(Smaller(block, _tzcnt_u64(left)));
        }
        return store(block);
    };
    std::size_t i = 0;
    // Without branches on the length, which in short lines would be guessed wrongly.
    if (count <= 128) {
        const std::size_t first = Smaller(64, count);
        i = convert(0, first);
        if (i == first) {
            i += convert(i, count - i);
        }
        return {i, i};
    }
    const auto step = [&](std::size_t block) {
        const std::size_t good = convert(i, block);
        i += good;
        return good == block;
    };
    // In a long text the first block ends where the output is at the beginning of a cache line.
    const std::size_t most =
        count < 1024 ? 64 : 64 - (reinterpret_cast<std::uintptr_t>(output) / sizeof *output) % 32;
    if (!step(most)) {
        return {i, i};
    }
    // Whole blocks in turns of four: the end of a loop of many short turns is guessed wrongly.
    while (count - i >= 256) {
        if (!(step(64) && step(64) && step(64) && step(64))) {
            return {i, i};
        }
    }
    while (i < count && step(Smaller(64, count - i))) {
    }
    return {i, i};
}

constexpr __mmask64 firstBytes = 0x5555555555555555u;

void StoreUnits(std::uint16_t* output, __m512i units, std::size_t count) noexcept {
    _mm512_mask_storeu_epi16(output, FirstOf32(count), units);
}

// Encodes the units that `marked` marks, one by one, where the others of a block are encoded. Returns how far
// it came: up to one that is left to the caller, or all of the block.
[[gnu::noinline]] std::size_t EncodeMarked(const EncodeTable& table, std::uint64_t marked,
                                           const std::uint16_t* input, unsigned char* output,
                                           std::size_t block) noexcept {
    for (; marked != 0; marked &= marked - 1) {
        const std::size_t place = _tzcnt_u64(marked);
        const std::uint16_t code = table.codes[input[place]];
        if (code > 0xFF) {
            return place;
        }
        output[place] = static_cast<unsigned char>(code);
    }
    return block;
}

// The bytes of 64 units, of one byte each. Units of 80 and above are looked up in the stretches that the
// table names; what is in none of them, which is rare, one by one.
class OneByteUnits {
public:
    explicit OneByteUnits(const EncodeTable& encodeTable) noexcept
        : table(encodeTable),
          inOrder(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7)),
          lowHalf(_mm512_set1_epi16(0xFF)) {
        for (unsigned s = 0; s < stretchCount; ++s) {
            numbers[s] = _mm512_set1_epi8(static_cast<char>(table.stretches[s]));
            first[s] = _mm512_loadu_si512(table.bytes[s]);
            second[s] = _mm512_loadu_si512(table.bytes[s] + 64);
        }
    }

    // Encodes a block of up to 64 units and returns how far it came.
    [[gnu::always_inline]] std::size_t Encode(const std::uint16_t* input, std::size_t block,
                                              unsigned char* output) const noexcept {
        const __mmask64 all = FirstOf64(block);
        const __m512i a = _mm512_maskz_loadu_epi16(static_cast<__mmask32>(all), input);
        const __m512i b = _mm512_maskz_loadu_epi16(static_cast<__mmask32>(all >> 32), input + 32);
        // What is packed lies in another order, which is put right at the end. The numbers above FE are all
        // FF.
        const __m512i number = _mm512_packus_epi16(_mm512_srli_epi16(a, 7), _mm512_srli_epi16(b, 7));
        const __m512i low = _mm512_packus_epi16(_mm512_and_si512(a, lowHalf), _mm512_and_si512(b, lowHalf));
        const __mmask64 beyondASCII = _mm512_test_epi8_mask(number, number);
        __m512i bytes = _mm512_maskz_mov_epi8(~beyondASCII, low);
        // What is in none of the stretches becomes 0.
        for (unsigned s = 0; s < stretchCount; ++s) {
            const __mmask64 here = _mm512_cmpeq_epi8_mask(number, numbers[s]);
            bytes = _mm512_or_si512(bytes, _mm512_maskz_permutex2var_epi8(here, first[s], low, second[s]));
        }
        _mm512_mask_storeu_epi8(output, all, _mm512_permutexvar_epi64(inOrder, bytes));
        const __mmask64 unknown = _mm512_mask_testn_epi8_mask(beyondASCII, bytes, bytes);
        if (unknown != 0) [[unlikely]] {
            const __m512i inPlace = _mm512_permutexvar_epi64(inOrder, _mm512_movm_epi8(unknown));
            return EncodeMarked(table, _mm512_movepi8_mask(inPlace), input, output, block);
        }
        return block;
    }

    // Of 64 units that are ASCII.
    [[gnu::always_inline]] void EncodeASCII(const std::uint16_t* input,
                                            unsigned char* output) const noexcept {
        const __m512i bytes = _mm512_packus_epi16(_mm512_loadu_si512(input), _mm512_loadu_si512(input + 32));
        _mm512_storeu_si512(output, _mm512_permutexvar_epi64(inOrder, bytes));
    }

private:
    static constexpr unsigned stretchCount = EncodeTable::stretchCount;

    const EncodeTable& table;
    __m512i inOrder;
    __m512i lowHalf;
    __m512i numbers[stretchCount];
    __m512i first[stretchCount];
    __m512i second[stretchCount];
};

// A function of its own, so that short texts need not wait for what it keeps in registers. Whole blocks go in
// turns, as in DecodeBytes. Whether a turn is ASCII alone is a guess, too.
[[gnu::noinline]] std::size_t EncodeLong(const EncodeTable& table, const std::uint16_t* input,
                                         std::size_t count, unsigned char* output) noexcept {
    const OneByteUnits units(table);
    const __m512i nonASCII = _mm512_set1_epi16(static_cast<short>(0xFF80));
    std::size_t i = 0;
    const auto step = [&](std::size_t block) {
        const std::size_t good = units.Encode(input + i, block, output + i);
        i += good;
        return good == block;
    };
    // In a long text the first block ends where the output is at the beginning of a cache line.
    if (count >= 8192 && !step(64 - reinterpret_cast<std::uintptr_t>(output) % 64)) {
        return i;
    }
    while (count - i >= 256) {
        __m512i any = _mm512_loadu_si512(input + i);
        for (std::size_t k = 32; k < 256; k += 32) {
            any = _mm512_or_si512(any, _mm512_loadu_si512(input + i + k));
        }
        if (_mm512_test_epi16_mask(any, nonASCII) == 0) {
            for (unsigned block = 0; block < 4; ++block) {
                units.EncodeASCII(input + i, output + i);
                i += 64;
            }
            continue;
        }
        if (!(step(64) && step(64) && step(64) && step(64))) {
            return i;
        }
    }
    while (i < count && step(Smaller(64, count - i))) {
    }
    return i;
}

Run EncodeBytes(const EncodeTable& table, const std::uint16_t* input, std::size_t length,
                unsigned char* output, std::size_t capacity) noexcept {
    if (!table.asciiStands) {
        return PlainEncode(table, input, length, output, capacity);
    }
    const std::size_t count = Smaller(length, capacity);
    if (count > 128) [[unlikely]] {
        const std::size_t encoded = EncodeLong(table, input, count, output);
        return {encoded, encoded};
    }
    // Without branches on the length, as in DecodeBytes.
    const OneByteUnits units(table);
    const std::size_t block = Smaller(64, count);
    std::size_t i = units.Encode(input, block, output);
    if (i == block) {
        i += units.Encode(input + i, count - i, output + i);
    }
    return {i, i};
}

Run EncodePairs(const EncodeTable& table, const std::uint16_t* input, std::size_t length,
                unsigned char* output, std::size_t capacity) noexcept {
    const __m512i beyondASCII = _mm512_set1_epi16(static_cast<short>(0xFF80));
    const __m512i unmapped = _mm512_set1_epi16(static_cast<short>(EncodeTable::unmapped));
    std::size_t read = 0;
    std::size_t written = 0;
    while (length - read >= 32 && capacity - written >= 64) {
        const __m512i units = _mm512_loadu_si512(input + read);
        if (table.asciiStands && _mm512_test_epi16_mask(units, beyondASCII) == 0) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(output + written), _mm512_cvtepi16_epi8(units));
            read += 32;
            written += 32;
            continue;
        }
        const __m512i codes = LookUp32(table.codes, input + read);
        if (_mm512_cmpeq_epi16_mask(codes, unmapped) != 0) {
            break;
        }
        const __mmask64 bytes = _mm512_test_epi8_mask(codes, codes) | firstBytes;
        _mm512_storeu_si512(output + written, _mm512_maskz_compress_epi8(bytes, codes));
        read += 32;
        written += CountOf(bytes);
    }
    // Where the output is nearly full and goes on in ASCII, one step fills it. With more room, the loop has
    // met what is not mapped.
    if (length - read >= 64 && table.asciiStands && capacity - written < 64) [[unlikely]] {
        const std::size_t room = capacity - written;
        const __m512i first = _mm512_loadu_si512(input + read);
        const __m512i second = _mm512_loadu_si512(input + read + 32);
        if (_mm512_test_epi16_mask(_mm512_or_si512(first, second), beyondASCII) == 0) {
            const __m512i bytes = _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvtepi16_epi8(first)),
                                                     _mm512_cvtepi16_epi8(second), 1);
            _mm512_mask_storeu_epi8(output + written, FirstOf64(room), bytes);
            return {read + room, written + room};
        }
    }
    // What is near one of the ends, or before a unit that is not mapped.
    while (read < length) {
        const std::size_t block = Smaller(32, length - read);
        const std::size_t room = capacity - written;
        const __m512i units = _mm512_maskz_loadu_epi16(FirstOf32(block), input + read);
        alignas(64) std::uint16_t copy[32];
        const std::uint16_t* indexes = input + read;
        if (block < 32) {
            _mm512_store_si512(copy, units);
            indexes = copy;
        }
        const __m512i codes = LookUp32(table.codes, indexes);
        std::size_t whole = block;
        if (const __mmask32 left = _mm512_cmpeq_epi16_mask(codes, unmapped); left != 0) {
            whole = Smaller(whole, _tzcnt_u32(left));
        }
        const __mmask64 bytes = _mm512_test_epi8_mask(codes, codes) | firstBytes;
        __mmask64 kept = bytes & FirstOf64(2 * whole);
        auto count = CountOf(kept);
        if (count > room) {
            // Up to the character of the first byte for which there is no room.
            whole = PlaceOf(room, kept) / 2;
            kept &= FirstOf64(2 * whole);
            count = CountOf(kept);
        }
        _mm512_mask_storeu_epi8(output + written, FirstOf64(count), _mm512_maskz_compress_epi8(kept, codes));
        read += whole;
        written += count;
        if (whole < block) {
            break;
        }
    }
    return {read, written};
}

// Widens bytes as long as 64 in a row are ASCII, or all that are left.
std::size_t WidenASCII(const unsigned char* input, std::size_t length, std::uint16_t* output,
                       std::size_t capacity) noexcept {
    const std::size_t count = Smaller(length, capacity);
    std::size_t i = 0;
    while (i < count) {
        const std::size_t block = Smaller(64, count - i);
        const __m512i bytes = _mm512_maskz_loadu_epi8(FirstOf64(block), input + i);
        if (_mm512_movepi8_mask(bytes) != 0) {
            break;
        }
        StoreUnits(output + i, _mm512_cvtepu8_epi16(_mm512_castsi512_si256(bytes)), Smaller(32, block));
        if (block > 32) {
            StoreUnits(output + i + 32, _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(bytes, 1)),
                       block - 32);
        }
        i += block;
    }
    return i;
}

// A stretch of text in which the pairs have been found and looked up.
struct Batch {
    static constexpr std::size_t blockCount = 8;
    static constexpr std::size_t pairCount = blockCount * 32;

    std::size_t blocks;                    // of 64 bytes; the last may be shorter
    __mmask64 leads[blockCount];           // lead bytes
    __mmask64 trails[blockCount];          // second bytes; also of a lead byte before the stretch
    std::uint16_t indexes[pairCount + 32]; // of all pairs, one after another
    std::uint16_t units[pairCount + 32];
};

// From one block to the next goes a single bit, `carry`: 1 where the byte before is a lead byte.
void FindPairs(const DecodeTable& table, const unsigned char* input, std::size_t length, std::uint64_t carry,
               Batch& batch) noexcept {
    const __m512i rows0 = _mm512_loadu_si512(table.highRows);
    const __m512i rows1 = _mm512_loadu_si512(table.highRows + 64);
    const __m512i interleave = _mm512_load_si512(interleaving.first);
    std::size_t count = 0;
    std::size_t b = 0;
    for (; b < Batch::blockCount && b * 64 < length; ++b) {
        const unsigned char* const place = input + b * 64;
        const __mmask64 all = FirstOf64(Smaller(64, length - b * 64));
        const __m512i bytes = _mm512_maskz_loadu_epi8(all, place);
        const __mmask64 beyondASCII = _mm512_movepi8_mask(bytes);
        if ((beyondASCII | carry) == 0 && b > 0) {
            break; // a run of ASCII, which goes faster alone
        }
        const __m512i rows = _mm512_maskz_permutex2var_epi8(beyondASCII, rows0, bytes, rows1);
        const std::uint64_t leads =
            InRegister(EveryOther(InRegister(_mm512_test_epi8_mask(rows, rows)) & ~carry));
        const __mmask64 trails = (leads << 1 | carry) & all;
        // A pair's row is found at its second byte by the byte before.
        const __m512i before = _mm512_maskz_loadu_epi8(trails, place - 1);
        const __m512i rowsBefore = _mm512_permutex2var_epi8(rows0, before, rows1);
        const __m512i indexes =
            _mm512_permutex2var_epi8(_mm512_maskz_compress_epi8(trails, bytes), interleave,
                                     _mm512_maskz_compress_epi8(trails, rowsBefore));
        _mm512_storeu_si512(batch.indexes + count, indexes);
        count += CountOf(trails);
        batch.leads[b] = leads;
        batch.trails[b] = trails;
        carry = leads >> 63;
    }
    batch.blocks = b;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(batch.indexes + count), _mm_setzero_si128());
    for (std::size_t i = 0; i < count; i += 8) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(batch.units + i),
                         LookUp8(table.units, batch.indexes + i));
    }
}

// What is of one byte is converted as in DecodeBytes; only pairs are looked up in memory, a batch at a time,
// so that the indexes are there when they are needed.
Run DecodePairs(const DecodeTable& table, const unsigned char* input, std::size_t length,
                std::uint16_t* output, std::size_t capacity) noexcept {
    if (!table.asciiStands) {
        return PlainDecode(table, input, length, output, capacity);
    }
    const OneByteCharacters characters(table);
    const __m512i unmapped = _mm512_set1_epi16(static_cast<short>(DecodeTable::unmapped));
    std::size_t read = 0;
    std::size_t written = 0;
    std::uint64_t carry = 0; // 1: the last byte read is a lead byte
    while (read < length) {
        if (carry == 0) {
            const std::size_t run =
                WidenASCII(input + read, length - read, output + written, capacity - written);
            read += run;
            written += run;
            if (written == capacity) {
                break;
            }
        }
        Batch batch;
        FindPairs(table, input + read, length - read, carry, batch);
        const std::uint16_t* units = batch.units;
        for (std::size_t b = 0; b < batch.blocks; ++b) {
            const std::size_t block = Smaller(64, length - read);
            const __mmask64 all = FirstOf64(block);
            const __mmask64 trails = batch.trails[b];
            const auto halves = characters.LookUp(_mm512_maskz_loadu_epi8(all, input + read));
            const auto firstTrails = static_cast<__mmask32>(trails);
            const auto secondTrails = static_cast<__mmask32>(trails >> 32);
            const __m512i first =
                _mm512_mask_expand_epi16(characters.First32(halves), firstTrails, _mm512_loadu_si512(units));
            units += _mm_popcnt_u32(firstTrails);
            const __m512i second = _mm512_mask_expand_epi16(characters.Second32(halves), secondTrails,
                                                            _mm512_loadu_si512(units));
            units += _mm_popcnt_u32(secondTrails);
            __mmask64 ends = ~batch.leads[b] & all;
            const __mmask64 left = (_mm512_cmpeq_epi16_mask(first, unmapped) |
                                    std::uint64_t{_mm512_cmpeq_epi16_mask(second, unmapped)} << 32) &
                                   ends;
            const std::size_t room = capacity - written;
            const bool isLast = left != 0 || CountOf(ends) > room;
            std::size_t taken = block;
            carry = batch.leads[b] >> (block - 1) & 1;
            if (isLast) {
                // Up to the character that is left to the caller or does not fit.
                const __mmask64 full = room < 64 ? _pdep_u64(std::uint64_t{1} << room, ends) : 0;
                taken = _tzcnt_u64(left | full);
                carry = trails >> taken & 1;
                ends = _bzhi_u64(ends, static_cast<unsigned>(taken));
            }
            const auto firstEnds = static_cast<__mmask32>(ends);
            const auto secondEnds = static_cast<__mmask32>(ends >> 32);
            const auto firstCount = CountOf(firstEnds);
            const auto secondCount = CountOf(secondEnds);
            StoreUnits(output + written, _mm512_maskz_compress_epi16(firstEnds, first), firstCount);
            written += firstCount;
            StoreUnits(output + written, _mm512_maskz_compress_epi16(secondEnds, second), secondCount);
            written += secondCount;
            read += taken;
            if (isLast) {
                return {read - carry, written};
            }
        }
    }
    return {read - carry, written};
}

} // namespace

constinit const Loops avx512Loops = {DecodeBytes, DecodePairs, false, EncodeBytes, EncodePairs};

} // namespace Kernels
