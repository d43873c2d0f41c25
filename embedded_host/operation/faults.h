// Faults: operations that misbehave on purpose. They stand in the state, so that one process sets
// them for all others; calls of several processes count down together.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "embedded_host/operation/operation_names.h"

namespace quelt {

/// How one operation misbehaves.
struct Fault {
  enum class Kind {
    kNone,           ///< it is only slow
    kRefuse,         ///< it gives its false, null or status answer; throws where it has none
    kThrow,          ///< it throws the host library's exception
    kThrowStandard,  ///< it throws another standard exception
    kThrowUnknown,   ///< it throws something that is no std::exception
  };

  Kind kind = Kind::kRefuse;
  std::string message{};                   ///< of the exception
  std::chrono::milliseconds delay{0};      ///< before anything else happens
  std::int64_t after = 0;                  ///< calls that go well before it begins
  std::optional<std::int64_t> times = {};  ///< calls that it strikes; nothing: until healed
};

/// What a kind is called in the state and in the tool's output: "refuse", "throw", ...
std::string_view KindName(Fault::Kind kind);

using NamedFault = std::pair<std::string, Fault>;

/// Sets the fault of an operation (one of kOperationNames), in place of the one it had.
void SetFault(std::string_view operation, const Fault& fault);
/// Ends the fault of an operation, or all faults.
void HealFault(std::string_view operation);
void HealAllFaults();
/// All faults, by name of operation.
std::vector<NamedFault> ListFaults();

/// Counts one call of an operation: the fault that strikes it, if one does.
std::optional<Fault> NextFault(OperationId operation);

}  // namespace quelt
