// operator new and delete of the test process. They count the allocations in use, and can make
// those of one library fail: the ones whose first caller outside the standard library is that
// library. Allocations of the host never fail.
//
// A sanitizer's operator new takes precedence; nothing is counted then.
#include <dlfcn.h>
#include <unwind.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> inUse = 0;

/// The fault of this thread.
struct Fault {
  const void* library = nullptr;  // null: no fault is set
  long skip = 0;
  bool persistent = false;
  bool failed = false;
};
thread_local Fault fault;

const void* LibraryOf(const void* address) {
  Dl_info info;
  return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

struct Walk {
  const void* firstCaller;
  const void* standardLibrary;
  const void* found;
};

_Unwind_Reason_Code Visit(_Unwind_Context* context, void* data) {
  auto& walk = *static_cast<Walk*>(data);
  const auto* const address =  // NOLINTNEXTLINE(performance-no-int-to-ptr): what unwinding gives
      reinterpret_cast<const void*>(_Unwind_GetIP(context));
  if (walk.firstCaller != nullptr && address != walk.firstCaller) {
    return _URC_NO_REASON;  // a frame of this file
  }
  walk.firstCaller = nullptr;
  const void* const library = LibraryOf(address);
  if (library == walk.standardLibrary) {
    return _URC_NO_REASON;
  }
  walk.found = library;
  return _URC_END_OF_STACK;
}

bool Fails(const void* caller) {
  static const void* const standardLibrary =
      LibraryOf(reinterpret_cast<const void*>(&std::set_new_handler));
  Walk walk{caller, standardLibrary, nullptr};
  _Unwind_Backtrace(&Visit, &walk);
  if (walk.found != fault.library || fault.skip-- > 0) {
    return false;
  }
  fault.skip = fault.persistent ? 0 : 1L << 60;
  fault.failed = true;
  return true;
}

}  // namespace

#pragma GCC visibility push(default)

__attribute__((noinline)) void* operator new(std::size_t size) {
  if (fault.library != nullptr && Fails(__builtin_return_address(0))) {
    throw std::bad_alloc();
  }
  void* const memory = std::malloc(size == 0 ? 1 : size);
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

/// Makes an allocation of the calling library on this thread fail, after `skip` successful ones;
/// with `persistent`, also all later ones.
void scripted_host_fail_allocation(long skip, int persistent) {
  fault = {LibraryOf(__builtin_return_address(0)), skip, persistent != 0, false};
}

/// Clears the fault. Whether an allocation failed.
int scripted_host_clear_allocation_fault() {
  const bool failed = fault.failed;
  fault = {};
  return failed ? 1 : 0;
}
}

#pragma GCC visibility pop
