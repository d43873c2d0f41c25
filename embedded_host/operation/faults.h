// Injected faults. They are stored in the host's state: a fault applies to all processes of the
// host, and the calls of all of them count.
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

/// What happens when an operation is called.
struct Fault {
  enum class Kind {
    kNone,           ///< nothing but the delay
    kRefuse,         ///< returns the operation's failure answer; throws where it has none
    kThrow,          ///< throws the host library's exception
    kThrowStandard,  ///< throws another standard exception
    kThrowUnknown,   ///< throws an object that is not a std::exception
    kThrowAfter,     ///< takes effect, then throws the host library's exception
    kKill,           ///< the process is killed before the operation takes effect
    kKillAfter,      ///< the process is killed after the operation took effect
  };

  Kind kind = Kind::kRefuse;
  std::string message{};                   ///< of the exception
  std::chrono::milliseconds delay{0};      ///< before anything else happens
  std::int64_t after = 0;                  ///< calls before the first that the fault applies to
  std::optional<std::int64_t> times = {};  ///< calls that it applies to; nothing: all, until healed
};

/// True for the kinds that have a message.
bool HasMessage(Fault::Kind kind);

/// The name of a kind in the state and in the tool's output: "refuse", "throw", ...
std::string_view KindName(Fault::Kind kind);

using NamedFault = std::pair<std::string, Fault>;

/// Sets the fault of an operation (one of kOperationNames); replaces all earlier ones.
void SetFault(std::string_view operation, const Fault& fault);
/// Adds faults to those that are set. Each fault counts all calls of its operation; to a call, the
/// first one that is due applies.
void AddFaults(const std::vector<NamedFault>& faults);
/// Removes the faults of an operation, or all faults.
void HealFault(std::string_view operation);
void HealAllFaults();
/// All faults, sorted by operation name and in the order in which they were added.
std::vector<NamedFault> ListFaults();

/// Counts one call of an operation; returns the fault that applies to it, if any.
std::optional<Fault> NextFault(OperationId operation);

}  // namespace quelt
