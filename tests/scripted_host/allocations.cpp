// operator new and delete of the test process. They count the allocations in use, and can make
// those of the calling thread fail, except inside an operation of the host.
//
// A sanitizer's operator new takes precedence; nothing is counted then.
#include <cstdlib>
#include <new>

#include "tests/scripted_host/script.h"

namespace {

std::atomic<long> inUse = 0;

/// The fault of this thread.
struct Fault {
  bool armed = false;
  long skip = 0;
  bool persistent = false;
  bool failed = false;
};
// In static thread-local storage: the thread sanitizer reports a race when the loader frees the
// storage of a loaded library at the end of a thread.
[[gnu::tls_model("initial-exec")]] thread_local Fault fault;
[[gnu::tls_model("initial-exec")]] thread_local int operations = 0;

bool Fails() {
  if (!fault.armed || operations > 0 || fault.skip-- > 0) {
    return false;
  }
  fault = {fault.persistent, 0, fault.persistent, true};
  return true;
}

}  // namespace

scripted::InsideOperation::InsideOperation() { ++operations; }
scripted::InsideOperation::~InsideOperation() { --operations; }

#pragma GCC visibility push(default)

__attribute__((noinline)) void* operator new(std::size_t size) {
  void* const memory = Fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  ++inUse;
  return memory;
}

void operator delete(void* memory) noexcept {
  if (memory != nullptr) {
    --inUse;
    std::free(memory);
  }
}
void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }

extern "C" {

/// The number of allocations in use; 0 when another operator new is linked.
long scripted_host_allocations() { return inUse; }

/// Makes an allocation of this thread fail, after `skip` successful ones; with `persistent`, also
/// all later ones.
void scripted_host_fail_allocation(long skip, int persistent) {
  fault = {true, skip, persistent != 0, false};
}

/// Clears the fault. Whether an allocation failed.
int scripted_host_clear_allocation_fault() {
  const bool failed = fault.failed;
  fault = {};
  return failed ? 1 : 0;
}
}

#pragma GCC visibility pop
