#include "embedded_host/tool/fault_specification.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "embedded_host/tool/operation_argument.h"

namespace quelt {

namespace {

/// In the order of FaultMode.
constexpr std::array kKinds = {Fault::Kind::kThrow,      Fault::Kind::kRefuse,
                               Fault::Kind::kThrowAfter, Fault::Kind::kKill,
                               Fault::Kind::kKillAfter,  Fault::Kind::kThrowUnknown,
                               Fault::Kind::kNone};
static_assert(kKinds.size() == kFaultModeNames.size());

constexpr std::array kEffects = {
    "the host library's exception, before the operation takes effect",
    "its false, null or status answer; an exception if it has none",
    "the operation takes effect, then the host library's exception",
    "the process is killed before the operation takes effect",
    "the process is killed after the operation took effect",
    "an exception that is not a standard one",
    "the call is delayed by a second",
};
static_assert(kEffects.size() == kFaultModeNames.size());

int ParseOccurrence(const std::string& text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 1) {
    throw std::invalid_argument("Expected the number of a call, from 1, not \"" + text + "\"");
  }
  return number;
}

}  // namespace

std::string FaultModeLines() {
  constexpr std::size_t kWidth = 13;
  std::string lines;
  for (std::size_t i = 0; i < kEffects.size(); ++i) {
    const std::string name(kFaultModeNames[i]);
    lines += (i == 0 ? "  " : "\n  ") + name + std::string(kWidth - name.size(), ' ') + kEffects[i];
  }
  return lines;
}

FaultMode ParseFaultMode(std::string_view name) {
  const auto* const found = std::find(kFaultModeNames.begin(), kFaultModeNames.end(), name);
  if (found == kFaultModeNames.end()) {
    std::string names;
    for (const std::string_view each : kFaultModeNames) {
      names += (names.empty() ? "" : ", ") + std::string(each);
    }
    throw std::invalid_argument("Expected one of the modes " + names + ", not \"" +
                                std::string(name) + "\"");
  }
  return static_cast<FaultMode>(found - kFaultModeNames.begin());
}

FaultSpecification ParseFaultSpecification(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos) {
    throw std::invalid_argument("Expected OPERATION:OCCURRENCE=MODE, not \"" + text + "\"");
  }
  const std::string call = text.substr(0, equals);
  const std::size_t colon = call.find(':');
  FaultSpecification fault;
  fault.operation = call.substr(0, colon);
  std::string operation = fault.operation;
  if (const std::string error = OperationName()(operation); !error.empty()) {
    throw std::invalid_argument(error);
  }
  fault.occurrence = colon == std::string::npos ? 0 : ParseOccurrence(call.substr(colon + 1));
  fault.mode = ParseFaultMode(std::string_view(text).substr(equals + 1));
  return fault;
}

std::string FaultSpecificationText(const FaultSpecification& fault) {
  return fault.operation + (fault.occurrence == 0 ? "" : ":" + std::to_string(fault.occurrence)) +
         "=" + std::string(NameOf(fault.mode));
}

NamedFault StoredFaultOf(const FaultSpecification& fault, std::chrono::milliseconds delay) {
  Fault stored;
  stored.kind = kKinds[static_cast<std::size_t>(fault.mode)];
  if (HasMessage(stored.kind)) {
    stored.message = "Injected fault: " + FaultSpecificationText(fault);
  }
  if (fault.mode == FaultMode::kSlow) {
    stored.delay = delay;
  }
  if (fault.occurrence > 0) {
    stored.after = fault.occurrence - 1;
    stored.times = 1;
  }
  return {fault.operation, stored};
}

}  // namespace quelt
