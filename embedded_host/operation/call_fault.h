// The fault that applies to one call of an operation.
#pragma once

#include <optional>

#include "embedded_host/operation/faults.h"
#include "embedded_host/operation/journal.h"
#include "embedded_host/operation/operation_names.h"
#include "embedded_host/operation/switches.h"

namespace quelt {

/// Exists during a call. The constructor waits, throws or kills the process before the operation
/// takes effect; the destructor kills it afterwards, even if the operation failed.
class CallFault {
 public:
  /// `entry`: the call's journal record; null if it has none. A call that kills the process is
  /// recorded before that.
  CallFault(OperationId operation, const Switches& switches, JournalEntry* entry) : entry_(entry) {
    if (switches.HasFault(operation)) {
      Begin(operation);
    }
  }
  CallFault(const CallFault&) = delete;
  CallFault& operator=(const CallFault&) = delete;
  ~CallFault() {
    if (fault_) {
      End();
    }
  }

  /// True if the operation has to return its failure answer.
  bool Refuses() const { return fault_ && fault_->kind == Fault::Kind::kRefuse; }
  /// Throws if the operation has to fail although it took effect.
  void ThrowAfterEffect() const;

 private:
  void Begin(OperationId operation);
  void End() const noexcept;

  JournalEntry* const entry_;
  std::optional<Fault> fault_;
};

}  // namespace quelt
