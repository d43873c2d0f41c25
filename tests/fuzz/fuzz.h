// The form of a fuzz target: one function that takes an input and aborts the process if the code
// under test violates a guarantee. The fuzzer calls it (./run fuzz), and replay.cpp calls it with
// the stored inputs (./run test).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Aborts the process with a message unless `holds`.
inline void Require(bool holds, const char* what) {
  if (!holds) {
    (void)std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
  }
}

inline std::string TextOf(const std::uint8_t* data, std::size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}
