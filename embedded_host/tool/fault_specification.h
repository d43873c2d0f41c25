// Faults of a temporary host, as text: "ShallowRekeyDisks:2=throw".
#pragma once

#include <array>
#include <chrono>
#include <string>
#include <string_view>

#include "embedded_host/operation/faults.h"

namespace quelt {

/// What an operation does instead of working, by the names that `run --fail` and `rehearse` accept.
enum class FaultMode { kThrow, kRefuse, kThrowAfter, kKill, kKillAfter, kForeign, kSlow };

inline constexpr std::array<std::string_view, 7> kFaultModeNames = {
    "throw", "refuse", "throw-after", "kill", "kill-after", "foreign", "slow"};

inline std::string_view NameOf(FaultMode mode) {
  return kFaultModeNames[static_cast<std::size_t>(mode)];
}

/// The modes with their effects, one per line, for a help text.
std::string FaultModeLines();

/// Throws std::invalid_argument, whose text says what is expected.
FaultMode ParseFaultMode(std::string_view name);

/// True for the modes in which the calling process is killed.
inline bool Kills(FaultMode mode) {
  return mode == FaultMode::kKill || mode == FaultMode::kKillAfter;
}

struct FaultSpecification {
  std::string operation;
  int occurrence = 0;  ///< 1: the first call; 0: all calls
  FaultMode mode = FaultMode::kThrow;

  bool operator==(const FaultSpecification&) const = default;
};

/// "OPERATION:OCCURRENCE=MODE" or "OPERATION=MODE". Throws std::invalid_argument, whose text says
/// what is expected.
FaultSpecification ParseFaultSpecification(const std::string& text);

std::string FaultSpecificationText(const FaultSpecification& fault);

/// The fault that the host stores. `delay`: of the mode "slow".
NamedFault StoredFaultOf(const FaultSpecification& fault, std::chrono::milliseconds delay);

}  // namespace quelt
