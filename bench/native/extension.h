// Shared by the extension modules of the benchmark.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>
#include <time.h>

namespace extension {

/// The arguments of Decrypt2kBlock, as buffers that the destructor releases.
class BlockArguments {
 public:
  BlockArguments() = default;
  BlockArguments(const BlockArguments&) = delete;
  BlockArguments& operator=(const BlockArguments&) = delete;
  ~BlockArguments() {
    PyBuffer_Release(&dek);
    PyBuffer_Release(&block);
  }

  /// Returns false with an exception set if `args` do not match.
  bool Parse(PyObject* args) {
    return PyArg_ParseTuple(args, "y*Ky*", &dek, &position, &block) != 0;
  }

  Py_buffer dek{};
  unsigned long long position = 0;
  Py_buffer block{};
};

/// Processor time of this process, as bench/rounds.py uses.
inline double ProcessorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// The definition of a module with these functions. Store it in a static variable.
inline PyModuleDef Define(const char* name, PyMethodDef* methods) {
  return {PyModuleDef_HEAD_INIT, name, nullptr, 0, methods, nullptr, nullptr, nullptr, nullptr};
}

}  // namespace extension
