// The interpreter's interface, in the one way all of this code includes it. The only place for
// differences between interpreter versions.
#pragma once

// Lengths of "#" formats are Py_ssize_t on every version; 3.10 to 3.12 refuse anything else.
#define PY_SSIZE_T_CLEAN
#include <Python.h>

namespace pyquelt {

/// Keeps automatic garbage collections out of a scope, where the version can: up to 3.11 they may
/// run at any allocation of a container (later versions wait until the function returns), and from
/// 3.10 on they can be disabled. The destructor restores the setting. GIL held.
class CollectorPause {
 public:
#if PY_VERSION_HEX >= 0x030A0000 && PY_VERSION_HEX < 0x030C0000
  CollectorPause() : wasEnabled_(PyGC_Disable() != 0) {}
  ~CollectorPause() {
    if (wasEnabled_) {
      PyGC_Enable();
    }
  }

 private:
  bool wasEnabled_;
#else
  CollectorPause() {}
#endif

 public:
  CollectorPause(const CollectorPause&) = delete;
  CollectorPause& operator=(const CollectorPause&) = delete;
};

}  // namespace pyquelt
