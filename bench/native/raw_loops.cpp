// Runs the native operations in a loop without the interpreter: the lower limit for any binding.
#include <string_view>

#include "bench/native/extension.h"
#include "bench/peers/operations.h"

namespace {

template <typename Operation>
void Repeat(long count, const Operation& operation) {
  for (long i = 0; i < count; ++i) {
    operation(static_cast<unsigned long>(i));
  }
}

/// Runs an operation `count` times. Returns false if no operation has that name.
bool RunOperation(std::string_view name, long count) {
  static const unsigned char dek[ENCR_DEK_SIZE] = {1, 2, 3};
  static unsigned char block[ENCR_BLOCK_SIZE];
  if (name == "GetHardwareSku") {
    Repeat(count, [](unsigned long) { operations::GetHardwareSku(); });
  } else if (name == "SetIloAuth") {
    Repeat(count, [](unsigned long) { operations::SetIloAuth("administrator", "a password"); });
  } else if (name == "CheckKmsStatus") {
    Repeat(count, [](unsigned long) { operations::CheckKmsStatus("cluster-1", "key-1", 10); });
  } else if (name == "Decrypt2kBlock") {
    Repeat(count, [](unsigned long i) { operations::Decrypt2kBlock(dek, i, block, block); });
  } else if (name == "GetUnicastAgents") {
    Repeat(count, [](unsigned long) { operations::GetUnicastAgents(false); });
  } else {
    return false;
  }
  return true;
}

/// raw_loop(operation, count): seconds per call.
PyObject* RawLoop(PyObject*, PyObject* args) {
  const char* operation = nullptr;
  long count = 0;
  if (!PyArg_ParseTuple(args, "sl", &operation, &count)) {
    return nullptr;
  }
  const double start = extension::ProcessorSeconds();
  if (!RunOperation(operation, count)) {
    return PyErr_Format(PyExc_ValueError, "no such operation: %s", operation);
  }
  return PyFloat_FromDouble((extension::ProcessorSeconds() - start) / static_cast<double>(count));
}

PyMethodDef kMethods[] = {{"raw_loop", RawLoop, METH_VARARGS, nullptr},
                          {nullptr, nullptr, 0, nullptr}};
PyModuleDef kModule = extension::Define("raw_loops", kMethods);

}  // namespace

extern "C" __attribute__((visibility("default"))) PyObject* PyInit_raw_loops() {
  return PyModule_Create(&kModule);
}
