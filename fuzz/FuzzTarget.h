// The function that every fuzz target defines and that libFuzzer, or ReplayMain.cpp, calls for each input.
// Something wrong ends the process: through a sanitizer, or through an exception that nobody catches.

#pragma once

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
