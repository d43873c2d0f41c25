// Includes the interpreter's interface, for all files of the module. The only place for differences
// between interpreter versions.
#pragma once

// Lengths of "#" formats are Py_ssize_t on every version; 3.10 to 3.12 require this macro.
#define PY_SSIZE_T_CLEAN
#include <Python.h>

namespace pyquelt {

/// Disables automatic garbage collection for a scope, on versions that need and allow it: up
/// to 3.11 a collection may run at any allocation of a container (later versions wait until the
/// function returns), and from 3.10 on C code can disable it. The destructor restores the setting.
/// GIL held.
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
