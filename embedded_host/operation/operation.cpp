#include "embedded_host/operation/operation.h"

#include <optional>
#include <stdexcept>
#include <thread>

#include "embedded_host/operation/faults.h"

namespace quelt {

namespace {

/// Thrown by Fault::Kind::kThrowUnknown; not a std::exception.
struct NonStandardException {};

/// Waits and throws as the fault says; false when the operation has to return its failure answer.
bool ApplyFault(const Fault& fault) {
  std::this_thread::sleep_for(fault.delay);
  switch (fault.kind) {
    case Fault::Kind::kNone:
      return true;
    case Fault::Kind::kRefuse:
      return false;
    case Fault::Kind::kThrow:
      throw HostCtl::Lib::Quelt::QueltCtlException(fault.message);
    case Fault::Kind::kThrowStandard:
      throw std::runtime_error(fault.message);
    case Fault::Kind::kThrowUnknown:
      throw NonStandardException();
  }
  return true;
}

}  // namespace

bool Operation::ApplyFaults() const {
  if (!switches_.HasFault(id_)) {
    return true;
  }
  const std::optional<Fault> fault = NextFault(id_);
  return !fault || ApplyFault(*fault);
}

}  // namespace quelt
