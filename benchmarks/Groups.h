// The groups of measurements. A measurement is named GROUP/TEXT/SIDE, where SIDE is kcodepage, icu, iconv,
// memcpy or another way through the library that is compared with the first.

#pragma once

#include "Texts.h"

#include <benchmark/benchmark.h>
#include <exception>
#include <string>
#include <vector>

namespace Benchmarks {

// Requires: `texts` outlives the run.
void RegisterWholeTexts(const std::vector<Text>& texts);
void RegisterLines(const std::vector<Text>& texts);
void RegisterThreads(const std::vector<Text>& texts);
void RegisterBlocks(const std::vector<Text>& texts);
void RegisterStreams(const std::vector<Text>& texts);
void RegisterConverters(const std::vector<Text>& texts);

// Registers a measurement of what `make()` returns: a function of no arguments that converts `bytes` bytes
// of input in `items` texts. What is thrown is told as the measurement's error.
template <class Make>
benchmark::internal::Benchmark* Register(const std::string& name, std::size_t bytes, std::size_t items,
                                         Make make) {
    return benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        try {
            auto convert = make();
            for (auto _ : state) {
                convert();
            }
            state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
            state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(items));
        } catch (const std::exception& failure) {
            state.SkipWithError(failure.what());
        }
    });
}

inline unsigned Length(std::size_t length) {
    return static_cast<unsigned>(length);
}

inline std::size_t BytesIn(const KBase::WideString& text) {
    return text.size() * sizeof(KBase::wchar16);
}

} // namespace Benchmarks
