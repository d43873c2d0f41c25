// The form of a fuzz target: a function that takes an input and aborts the process if the code
// under test violates a guarantee. replay.cpp calls it with the inputs of the fuzzer (./run fuzz)
// or with the stored inputs (./run test).
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/// Defined by each target.
void Check(const std::string& input);

/// Aborts the process with a message unless `holds`.
inline void Require(bool holds, const char* what) {
  if (!holds) {
    (void)std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
  }
}
