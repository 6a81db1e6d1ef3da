#include "Kernels/Levels.h"
#include "Kernels/ShiftJisLoops.h"
#include "Kernels/UTF8Loops.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

namespace Kernels {

namespace {

constexpr std::string_view levelNames[] = {"plain", "sse2", "avx2", "avx512"}; // in the order of Level

Level HighestLevel() noexcept {
#ifdef KCODEPAGE_KERNELS_X86_64
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
        __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt")) {
        return Level::Avx512;
    }
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
        __builtin_cpu_supports("popcnt")) {
        return Level::Avx2;
    }
    return Level::Sse2; // every processor of the kind has it
#else
    return Level::Plain;
#endif
}

// The environment is read directly: the loops stand below the door to the operating system, which uses them.
Level ChosenLevel() noexcept {
    const Level highest = HighestLevel();
    const char* const value = std::getenv("KCODEPAGE_KERNELS");
    if (value == nullptr) {
        return highest;
    }
    const auto* const found = std::find(std::begin(levelNames), std::end(levelNames), value);
    return found == std::end(levelNames) ? highest
                                         : std::min(highest, static_cast<Level>(found - levelNames));
}

const Loops& LoopsOf(Level level) noexcept {
    switch (level) {
#ifdef KCODEPAGE_KERNELS_X86_64
    case Level::Avx512:
        return avx512Loops;
    case Level::Avx2:
        return avx2Loops;
    case Level::Sse2:
        return sse2Loops;
#endif
    default:
        return plainLoops;
    }
}

// Plainly, everything is left to the caller.
constinit const UTF8Loops plainUTF8Loops = {nullptr, nullptr, nullptr};

const UTF8Loops& UTF8LoopsOf(Level level) noexcept {
    switch (level) {
#ifdef KCODEPAGE_KERNELS_X86_64
    case Level::Avx512:
        return avx512UTF8Loops;
    case Level::Avx2:
        return avx2UTF8Loops;
    case Level::Sse2:
        return sse2UTF8Loops;
#endif
    default:
        return plainUTF8Loops;
    }
}

const JisLoops& JisLoopsOf(Level level) noexcept {
    switch (level) {
#ifdef KCODEPAGE_KERNELS_X86_64
    case Level::Avx512:
        return avx512JisLoops;
    case Level::Avx2:
    case Level::Sse2:
        return sse2JisLoops;
#endif
    default:
        return plainJisLoops;
    }
}

} // namespace

const Loops& Chosen() noexcept {
    static const Loops& chosen = LoopsOf(ChosenLevel());
    return chosen;
}

const Loops* OfLevel(Level level) noexcept {
    return level <= HighestLevel() ? &LoopsOf(level) : nullptr;
}

const UTF8Loops& ChosenUTF8() noexcept {
    static const UTF8Loops& chosen = UTF8LoopsOf(ChosenLevel());
    return chosen;
}

const UTF8Loops* UTF8OfLevel(Level level) noexcept {
    return level <= HighestLevel() ? &UTF8LoopsOf(level) : nullptr;
}

const JisLoops& ChosenJis() noexcept {
    static const JisLoops& chosen = JisLoopsOf(ChosenLevel());
    return chosen;
}

const JisLoops* JisOfLevel(Level level) noexcept {
    return level <= HighestLevel() ? &JisLoopsOf(level) : nullptr;
}

} // namespace Kernels
