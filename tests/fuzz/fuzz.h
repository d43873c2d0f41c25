// What every fuzz target is: one function that takes an input and ends the process when the code
// under test breaks a promise. The fuzzer calls it (./run fuzz), and so does replay.cpp with the
// inputs that are kept (./run test).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Aborts the process with a message unless `holds`.
inline void Promise(bool holds, const char* what) {
  if (!holds) {
    (void)std::fprintf(stderr, "broken promise: %s\n", what);
    std::abort();
  }
}

inline std::string TextOf(const std::uint8_t* data, std::size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}
