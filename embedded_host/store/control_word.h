// A counter in a small file beside the state, mapped into every process of the host: it changes
// whenever faults, the journal switch or feature flags change, so that a process learns with one
// memory read that what it knows of them still stands.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>

#include "embedded_host/store/environment.h"

namespace quelt {

/// Opens the control file of a state, making it when it is missing. The caller closes the
/// descriptor. Throws QueltCtlException.
int OpenControlFile(const std::string& state);

/// One mapping of the control file. It stays mapped for good: threads may be reading it.
class ControlWord {
 public:
  /// The mapping in use; null when there is none, or none that can be trusted.
  static const ControlWord* Present() { return present_.load(std::memory_order_acquire); }
  /// The mapping in use, made when it is missing; a counter of this process alone for a host in
  /// memory. Called by one thread at a time. Throws QueltCtlException.
  static const ControlWord& Ensure(const StorePlace& place);
  /// Gives the mapping up when its file was removed or replaced: others then look at another one.
  static void DropIfReplaced(const StorePlace& place);

  std::uint64_t Value() const { return counter_->load(std::memory_order_acquire); }
  void Bump() const { counter_->fetch_add(1, std::memory_order_acq_rel); }

 private:
  using Counter = std::atomic<std::uint64_t>;
  static_assert(Counter::is_always_lock_free, "it is shared between processes");

  static const ControlWord* Map(const std::string& state);

  ControlWord(Counter* counter, dev_t device, ino_t inode)
      : counter_(counter), device_(device), inode_(inode), earlier_(std::exchange(latest_, this)) {}

  static std::atomic<const ControlWord*> present_;
  /// All that were ever made, by way of `earlier_`: kept, not lost.
  static const ControlWord* latest_;

  Counter* const counter_;
  const dev_t device_;
  const ino_t inode_;
  const ControlWord* const earlier_;
};

}  // namespace quelt
