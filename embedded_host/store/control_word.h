// The control word: a counter in a small file beside the state, mapped into every process of the
// host. It is incremented whenever faults, the journal switch or feature flags change, so that one
// memory read tells a process whether the values that it has cached are current.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>

#include "embedded_host/store/environment.h"

namespace quelt {

/// Opens the control file of a state; creates it when it is missing. The caller closes the
/// descriptor. Throws QueltCtlException.
int OpenControlFile(const std::string& state);

/// One mapping of the control file. Never unmapped: other threads may be reading it.
class ControlWord {
 public:
  /// The mapping in use; null before the first use and after DropIfReplaced.
  static const ControlWord* Current() { return current_.load(std::memory_order_acquire); }
  /// Returns the mapping in use; maps the file when there is none. For a state in memory it is a
  /// counter private to the process. Called by one thread at a time. Throws QueltCtlException.
  static const ControlWord& Ensure(const StorePlace& place);
  /// Stops using the mapping when its file was removed or replaced: other processes then use the
  /// new file.
  static void DropIfReplaced(const StorePlace& place);

  std::uint64_t Value() const { return counter_->load(std::memory_order_acquire); }
  void Increment() const { counter_->fetch_add(1, std::memory_order_acq_rel); }

 private:
  using Counter = std::atomic<std::uint64_t>;
  static_assert(Counter::is_always_lock_free, "it is shared between processes");

  static const ControlWord* Map(const std::string& state);

  ControlWord(Counter* counter, dev_t device, ino_t inode)
      : counter_(counter),
        device_(device),
        inode_(inode),
        previous_(std::exchange(newest_, this)) {}

  static std::atomic<const ControlWord*> current_;
  /// Start of a list of all mappings, linked by `previous_`: leak checkers find them there.
  static const ControlWord* newest_;

  Counter* const counter_;
  const dev_t device_;
  const ino_t inode_;
  const ControlWord* const previous_;
};

}  // namespace quelt
