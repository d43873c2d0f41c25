#include "tests/fault_injection/faults.h"

#include <pthread.h>

#include <string>

#include "module/result_helpers.h"

extern "C" {
void __real_PyEval_RestoreThread(PyThreadState* state);
void scripted_host_fail_allocation(long good, int stays);
int scripted_host_heal_allocation();
}

namespace fault_injection {

namespace {

struct Fault {
  bool armed = false;
  Kind kind{};
  long good = 0;
  bool stays = false;
  const char* failed = nullptr;
};
thread_local Fault fault;
thread_local bool unwinds = false;

/// The interpreter's allocators, each with one that may fail before it.
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

void Arm(Kind kind, long good, bool stays) {
  fault = {true, kind, good, stays, nullptr};
  if (kind == Kind::kMemory) {
    for (Domain& domain : domains) {
      PyMem_GetAllocator(domain.which, &domain.real);
      using Its = PyMemAllocatorEx;
      Its failing = {&domain, &Allocate<&Its::malloc>, &Allocate<&Its::calloc>,
                     &Allocate<&Its::realloc>, &Free};
      PyMem_SetAllocator(domain.which, &failing);
    }
  }
  if (kind == Kind::kNativeMemory) {
    scripted_host_fail_allocation(good, stays ? 1 : 0);
  }
}

void Disarm() {
  fault.armed = false;
  if (fault.kind == Kind::kMemory) {
    for (Domain& domain : domains) {
      PyMem_SetAllocator(domain.which, &domain.real);
    }
  }
  if (fault.kind == Kind::kNativeMemory && scripted_host_heal_allocation() != 0) {
    fault.failed = "operator new";
  }
}

/// A call in a thread of its own that the retaking of the lock ends.
struct UnwoundCall {
  PyObject* function;
  PyObject* args;
  PyObject* keywords;
};

void* MakeUnwoundCall(void* data) {
  const auto& call = *static_cast<UnwoundCall*>(data);
  const PyGILState_STATE state = PyGILState_Ensure();
  unwinds = true;
  Py_XDECREF(PyObject_Call(call.function, call.args, call.keywords));
  unwinds = false;
  PyErr_Clear();
  PyGILState_Release(state);
  return nullptr;
}

/// Sets one value as native code does: null, or the text of the failure.
template <typename T>
const char* Set(PyObject* dict, const char* key, T value) {
  static std::string error;
  const bool is_set = pyquelt::PySetDictValue(dict, key, value, error);
  PyErr_Clear();
  return is_set ? nullptr : error.c_str();
}

}  // namespace

bool Fails(Kind kind, const char* name) {
  if (!fault.armed || fault.kind != kind || fault.good-- > 0) {
    return false;
  }
  fault.good = 0;
  fault.armed = fault.stays;
  if (fault.failed == nullptr) {
    fault.failed = name;
  }
  return true;
}

}  // namespace fault_injection

/// What the interpreter does to a daemon thread while it shuts down.
extern "C" void __wrap_PyEval_RestoreThread(PyThreadState* state) {
  if (fault_injection::unwinds) {
    pthread_exit(&fault_injection::unwinds);
  }
  __real_PyEval_RestoreThread(state);
}

// What the tests call, through ctypes, with the lock held.
extern "C" {
#pragma GCC visibility push(default)

/// Calls `function` with the failure after `good` of its kind; with `stays`, and all that follow.
PyObject* fault_injection_call(int kind, long good, int stays, PyObject* function, PyObject* args,
                           PyObject* keywords) {
  fault_injection::Arm(static_cast<fault_injection::Kind>(kind), good, stays != 0);
  PyObject* const result = PyObject_Call(function, args, keywords);
  fault_injection::Disarm();
  return result;
}

/// What failed first in the last call of this thread, or null.
const char* fault_injection_failed() { return fault_injection::fault.failed; }

/// Whether the thread of a call was ended where the call takes back the lock. References that the
/// call had are lost then, as they are in an interpreter that shuts down.
int fault_injection_unwind(PyObject* function, PyObject* args, PyObject* keywords) {
  fault_injection::UnwoundCall call{function, args, keywords};
  pthread_t thread{};
  void* ended = nullptr;
  PyThreadState* const state = PyEval_SaveThread();
  const bool ran = pthread_create(&thread, nullptr, &fault_injection::MakeUnwoundCall, &call) == 0 &&
                   pthread_join(thread, &ended) == 0;
  __real_PyEval_RestoreThread(state);
  return ran && ended != nullptr ? 1 : 0;
}

const char* fault_injection_set_long(PyObject* dict, const char* key, long value) {
  return fault_injection::Set(dict, key, value);
}
const char* fault_injection_set_bool(PyObject* dict, const char* key, bool value) {
  return fault_injection::Set(dict, key, value);
}
const char* fault_injection_set_text(PyObject* dict, const char* key, const char* value) {
  return fault_injection::Set(dict, key, value);
}

#pragma GCC visibility pop
}
