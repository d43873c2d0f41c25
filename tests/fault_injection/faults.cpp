#include "tests/fault_injection/faults.h"

#include <pthread.h>

#include <string>
#include <unordered_map>

#include "module/result_helpers.h"

extern "C" {
void __real_PyEval_RestoreThread(PyThreadState* state);
void scripted_host_fail_allocation(long skip, int persistent);
int scripted_host_clear_allocation_fault();
}

namespace fault_injection {

namespace {

struct Fault {
  bool armed = false;
  Kind kind{};
  long skip = 0;
  bool persistent = false;
  const char* failed = nullptr;
};
thread_local Fault fault;
thread_local bool unwindsThread = false;

/// The interpreter's allocators, each replaced by one that can fail.
struct Domain {
  PyMemAllocatorDomain which;
  PyMemAllocatorEx real;
};
Domain domains[] = {{PYMEM_DOMAIN_RAW, {}}, {PYMEM_DOMAIN_MEM, {}}, {PYMEM_DOMAIN_OBJ, {}}};

const PyMemAllocatorEx* Real(void* domain) {
  return Fails(Kind::kMemory, "memory") ? nullptr : &static_cast<Domain*>(domain)->real;
}
template <auto kAllocator, typename... Arguments>
void* Allocate(void* domain, Arguments... arguments) {
  const PyMemAllocatorEx* const real = Real(domain);
  return real == nullptr ? nullptr : (real->*kAllocator)(real->ctx, arguments...);
}
void Free(void* domain, void* memory) {
  const PyMemAllocatorEx& real = static_cast<Domain*>(domain)->real;
  real.free(real.ctx, memory);
}

void Arm(Kind kind, long skip, bool persistent) {
  fault = {true, kind, skip, persistent, nullptr};
  if (kind == Kind::kMemory) {
    for (Domain& domain : domains) {
      PyMem_GetAllocator(domain.which, &domain.real);
      using Allocator = PyMemAllocatorEx;
      Allocator failing = {&domain, &Allocate<&Allocator::malloc>, &Allocate<&Allocator::calloc>,
                           &Allocate<&Allocator::realloc>, &Free};
      PyMem_SetAllocator(domain.which, &failing);
    }
  }
  if (kind == Kind::kNativeMemory) {
    scripted_host_fail_allocation(skip, persistent ? 1 : 0);
  }
}

void Disarm() {
  fault.armed = false;
  if (fault.kind == Kind::kMemory) {
    for (Domain& domain : domains) {
      PyMem_SetAllocator(domain.which, &domain.real);
    }
  }
  if (fault.kind == Kind::kNativeMemory && scripted_host_clear_allocation_fault() != 0) {
    fault.failed = "operator new";
  }
}

/// A call in a thread of its own that ends where it reacquires the GIL.
struct UnwoundCall {
  PyObject* function;
  PyObject* args;
  PyObject* keywords;
};

void* RunUnwoundCall(void* data) {
  const auto& call = *static_cast<UnwoundCall*>(data);
  const PyGILState_STATE state = PyGILState_Ensure();
  unwindsThread = true;
  Py_XDECREF(PyObject_Call(call.function, call.args, call.keywords));
  unwindsThread = false;
  PyErr_Clear();
  PyGILState_Release(state);
  return nullptr;
}

/// The array entries of the functions whose calls are counted.
std::unordered_map<PyObject*, pyquelt::ArrayEntry> countedEntries;
long arrayCalls = 0;

PyObject* CountArrayCall(PyObject* function, PyObject* const* args, std::size_t count,
                         PyObject* names) {
  ++arrayCalls;
  return countedEntries.at(function)(function, args, count, names);
}

}  // namespace

bool Fails(Kind kind, const char* name) {
  if (!fault.armed || fault.kind != kind || fault.skip-- > 0) {
    return false;
  }
  fault.skip = 0;
  fault.armed = fault.persistent;
  if (fault.failed == nullptr) {
    fault.failed = name;
  }
  return true;
}

}  // namespace fault_injection

/// Ends the thread, as an interpreter that shuts down ends a daemon thread.
extern "C" void __wrap_PyEval_RestoreThread(PyThreadState* state) {
  if (fault_injection::unwindsThread) {
    pthread_exit(&fault_injection::unwindsThread);
  }
  __real_PyEval_RestoreThread(state);
}

// Interface for the tests, through ctypes. The caller holds the GIL.
extern "C" {
#pragma GCC visibility push(default)

/// Calls `function`; fails after `skip` successes of `kind`. With `persistent`, all later ones
/// fail.
PyObject* fault_injection_call(int kind, long skip, int persistent, PyObject* function,
                               PyObject* args, PyObject* keywords) {
  fault_injection::Arm(static_cast<fault_injection::Kind>(kind), skip, persistent != 0);
  PyObject* const result = PyObject_Call(function, args, keywords);
  fault_injection::Disarm();
  return result;
}

/// Counts the calls of the array entry of `function` from now on, if it has one.
void fault_injection_count_array_calls(PyObject* function) {
#if PY_VERSION_HEX >= 0x03080000
  auto& entry = reinterpret_cast<PyCFunctionObject*>(function)->vectorcall;
  if (entry != nullptr) {
    fault_injection::countedEntries.emplace(function, entry);
    entry = &fault_injection::CountArrayCall;
  }
#endif
}
long fault_injection_array_calls() { return fault_injection::arrayCalls; }

/// The first failure in the last call of this thread, or null.
const char* fault_injection_failed() { return fault_injection::fault.failed; }

/// Whether the thread of a call ended where the call reacquires the GIL. The references of the call
/// are then lost, as in an interpreter that shuts down.
int fault_injection_unwind(PyObject* function, PyObject* args, PyObject* keywords) {
  fault_injection::UnwoundCall call{function, args, keywords};
  pthread_t thread{};
  void* ended = nullptr;
  PyThreadState* const state = PyEval_SaveThread();
  const bool ran = pthread_create(&thread, nullptr, &fault_injection::RunUnwoundCall, &call) == 0 &&
                   pthread_join(thread, &ended) == 0;
  __real_PyEval_RestoreThread(state);
  return ran && ended != nullptr ? 1 : 0;
}

/// Sets one value as native code does. Returns null, or the text of the failure.
const char* fault_injection_set_value(PyObject* dict, const char* key, long value) {
  static std::string error;
  const bool isSet = pyquelt::PySetDictValue(dict, key, value, error);
  PyErr_Clear();
  return isSet ? nullptr : error.c_str();
}

#pragma GCC visibility pop
}
