// The benchmark program: Benchmarks TEXTS [GOOGLE BENCHMARK OPTION...].

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "Groups.h"
#include "Peers.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

namespace {

#ifdef __clang__
constexpr const char* compiler = __VERSION__; // with its name
#else
constexpr const char* compiler = "g++ " __VERSION__;
#endif

// After one large block came and went, the C library serves large blocks from its heap and keeps them, as in
// any process that has run for a while. Otherwise the order of the measurements would decide which of them
// pay for fresh pages.
void WarmHeap() {
    constexpr std::size_t largestBlock = 31 << 20;
    const auto block = std::make_unique_for_overwrite<char[]>(largestBlock);
    benchmark::DoNotOptimize(block.get());
}

// What the report says of the peers and the texts, beside Google Benchmark's own account of the machine.
void Describe(const std::vector<Benchmarks::Text>& texts) {
    benchmark::AddCustomContext("icu", Benchmarks::IcuVersion());
    benchmark::AddCustomContext("compiler", compiler);
    for (const auto& text : texts) {
        const auto plain = std::count_if(text.units.begin(), text.units.end(),
                                         [](KBase::wchar16 unit) { return unit < 0x80; });
        benchmark::AddCustomContext("text " + text.name, std::to_string(text.bytes.size()) + " bytes, " +
                                                             std::to_string(text.units.size()) +
                                                             " code units, " + std::to_string(plain) +
                                                             " ASCII");
    }
}

} // namespace

int main(int count, char** arguments) {
    using KBase::operator""_w;
    benchmark::Initialize(&count, arguments);
    if (count != 2) {
        std::fputs("Benchmarks TEXTS [--benchmark_...]\n", stderr);
        return 2;
    }
    try {
        WarmHeap();
        const KCodePage::Initializer initializer;
        KCodePage::SetBasePath(u"UseWindowsAPI"_w);
        const auto texts = Benchmarks::LoadTexts(arguments[1]);
        Describe(texts);
        Benchmarks::RegisterWholeTexts(texts);
        Benchmarks::RegisterLines(texts);
        Benchmarks::RegisterThreads(texts);
        Benchmarks::RegisterBlocks(texts);
        Benchmarks::RegisterStreams(texts);
        Benchmarks::RegisterConverters(texts);
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "Benchmarks: %s\n", failure.what());
        return 1;
    }
}
