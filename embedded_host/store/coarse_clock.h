// A clock that costs little more than a memory read, and is a few milliseconds coarse.
#pragma once

#include <cstdint>
#include <ctime>

namespace quelt {

/// Nanoseconds since some moment in the past, the same for all threads.
inline std::int64_t CoarseNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

/// How long it may go unnoticed that somebody removed files of the state, in nanoseconds.
inline constexpr std::int64_t kLookAgainAfter = 50'000'000;

}  // namespace quelt
