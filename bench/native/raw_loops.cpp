// The native operations in a loop without the interpreter: the floor under every binding.
#include <chrono>
#include <string_view>

#include "bench/native/extension.h"
#include "bench/peers/operations.h"

namespace {

/// Runs an operation so many times, natively.
bool RunOperation(std::string_view operation, long count) {
  static const unsigned char dek[ENCR_DEK_SIZE] = {1, 2, 3};
  static unsigned char block[ENCR_BLOCK_SIZE];
  for (long i = 0; i < count; ++i) {
    if (operation == "GetHardwareSku") {
      operations::GetHardwareSku();
    } else if (operation == "SetIloAuth") {
      operations::SetIloAuth("administrator", "a password");
    } else if (operation == "CheckKmsStatus") {
      operations::CheckKmsStatus("cluster-1", "key-1", 10);
    } else if (operation == "Decrypt2kBlock") {
      operations::Decrypt2kBlock(dek, static_cast<unsigned long>(i), block, block);
    } else if (operation == "GetUnicastAgents") {
      operations::GetUnicastAgents(false);
    } else {
      return false;
    }
  }
  return true;
}

/// RawLoop(operation, count): seconds per call.
PyObject* RawLoop(PyObject*, PyObject* args) {
  using Clock = std::chrono::steady_clock;
  const char* operation = nullptr;
  long count = 0;
  if (!PyArg_ParseTuple(args, "sl", &operation, &count)) {
    return nullptr;
  }
  const auto start = Clock::now();
  if (!RunOperation(operation, count)) {
    return PyErr_Format(PyExc_ValueError, "no such operation: %s", operation);
  }
  const std::chrono::duration<double> spent = Clock::now() - start;
  return PyFloat_FromDouble(spent.count() / static_cast<double>(count));
}

PyMethodDef kMethods[] = {{"raw_loop", RawLoop, METH_VARARGS, nullptr},
                          {nullptr, nullptr, 0, nullptr}};
PyModuleDef kModule = extension::Define("raw_loops", kMethods);

}  // namespace

extern "C" __attribute__((visibility("default"))) PyObject* PyInit_raw_loops() {
  return PyModule_Create(&kModule);
}
