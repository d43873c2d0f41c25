// The interpreter's interface, in the one way all of this code includes it. The only place for
// differences between interpreter versions.
#pragma once

// Lengths of "#" formats are Py_ssize_t on every version; 3.10 to 3.12 refuse anything else.
#define PY_SSIZE_T_CLEAN
#include <Python.h>

namespace pyquelt {

/// Up to 3.11 the garbage collector may run at any allocation of a container; later ones wait for
/// the function's return.
constexpr bool kCollectsWhileAllocating = PY_VERSION_HEX < 0x030C0000;

}  // namespace pyquelt
