// The interpreter's interface, in the one way all of this code includes it. The only place for
// differences between interpreter versions.
#pragma once

// Lengths of "#" formats are Py_ssize_t on every version; 3.10 to 3.12 refuse anything else.
#define PY_SSIZE_T_CLEAN
#include <Python.h>
