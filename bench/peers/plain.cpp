// The measured functions as careful extension code written by hand: argument tuples, dictionary
// items by C string, every status checked, the GIL released during the native operation.
#include "bench/native/extension.h"
#include "bench/peers/operations.h"

namespace {

/// Runs `work` with the GIL released. Returns false with ValueError set if it threw.
template <typename Work>
bool WithoutGil(Work&& work) {
  std::string failure;
  bool failed = false;
  PyThreadState* const state = PyEval_SaveThread();
  try {
    work();
  } catch (const std::exception& thrown) {
    failed = true;
    failure = thrown.what();
  }
  PyEval_RestoreThread(state);
  if (failed) {
    PyErr_SetString(PyExc_ValueError, failure.c_str());
  }
  return !failed;
}

PyObject* GetHardwareSku(PyObject*, PyObject*) {
  std::string sku;
  return WithoutGil([&] { sku = operations::GetHardwareSku(); }) ? Py_BuildValue("s", sku.c_str())
                                                                 : nullptr;
}

PyObject* SetIloAuth(PyObject*, PyObject* args) {
  const char* first = nullptr;
  const char* second = nullptr;
  if (!PyArg_ParseTuple(args, "ss", &first, &second) ||
      !WithoutGil([&] { operations::SetIloAuth(first, second); })) {
    return nullptr;
  }
  Py_RETURN_NONE;
}

/// Sets an item. Steals the reference `value`; null means that a conversion failed.
bool Set(PyObject* dict, const char* key, PyObject* value) {
  if (value == nullptr) {
    return false;
  }
  const int status = PyDict_SetItemString(dict, key, value);
  Py_DECREF(value);
  return status == 0;
}

PyObject* CheckKmsStatus(PyObject*, PyObject* args) {
  const char* cluster = nullptr;
  const char* key = nullptr;
  int seconds = 0;
  operations::Status status;
  if (!PyArg_ParseTuple(args, "ssi", &cluster, &key, &seconds) ||
      !WithoutGil([&] { status = operations::CheckKmsStatus(cluster, key, seconds); })) {
    return nullptr;
  }
  PyObject* const dict = PyDict_New();
  if (dict == nullptr || !Set(dict, "good", PyBool_FromLong(status.good)) ||
      !Set(dict, "reason", Py_BuildValue("s", status.reason.c_str()))) {
    Py_XDECREF(dict);
    return nullptr;
  }
  return dict;
}

PyObject* Decrypt2kBlock(PyObject*, PyObject* args) {
  extension::BlockArguments given;
  if (!given.Parse(args)) {
    return nullptr;
  }
  if (given.dek.len != Py_ssize_t{ENCR_DEK_SIZE} ||
      given.block.len != Py_ssize_t{ENCR_BLOCK_SIZE}) {
    return PyErr_Format(PyExc_RuntimeError, "wrong length");
  }
  unsigned char output[ENCR_BLOCK_SIZE];
  PyObject* result = nullptr;
  if (WithoutGil([&] {
        operations::Decrypt2kBlock(given.dek.buf, given.position, given.block.buf, output);
      })) {
    result = PyBytes_FromStringAndSize(reinterpret_cast<char*>(output), ENCR_BLOCK_SIZE);
  }
  explicit_bzero(output, sizeof output);
  return result;
}

bool SetText(PyObject* dict, const char* key, const std::string& text) {
  return Set(dict, key, PyUnicode_FromString(text.c_str()));
}

bool Fill(PyObject* dict, const operations::Agent& agent) {
  const bool first = operations::ShowsNodeType()
                         ? Set(dict, "nodeType", PyLong_FromLong(static_cast<long>(agent.nodeType)))
                         : Set(dict, "isWitness", PyBool_FromLong(operations::IsWitness(agent)));
  return first && Set(dict, "isSupportUnicast", PyBool_FromLong(agent.isSupportUnicast)) &&
         SetText(dict, "address", agent.address) &&
         Set(dict, "port", PyLong_FromLong(agent.port)) && SetText(dict, "zelnic", agent.zelnic) &&
         SetText(dict, "hostname", agent.hostname) &&
         SetText(dict, "thumbprint", agent.thumbprint) &&
         SetText(dict, "subClusterUuid", agent.subClusterUuid);
}

bool Add(PyObject* result, const operations::Agent& agent) {
  operations::ShowsNodeType();
  PyObject* list = PyDict_GetItemString(result, agent.uuid.c_str());
  PyObject* newList = nullptr;
  if (list == nullptr) {
    list = newList = PyList_New(0);
    if (newList == nullptr) {
      return false;
    }
  }
  PyObject* const dict = PyDict_New();
  const bool done = dict != nullptr && Fill(dict, agent) && PyList_Append(list, dict) == 0 &&
                    PyDict_SetItemString(result, agent.uuid.c_str(), list) == 0;
  Py_XDECREF(dict);
  Py_XDECREF(newList);
  return done;
}

PyObject* GetUnicastAgents(PyObject*, PyObject* args, PyObject* keywords) {
  static const char* const names[] = {"includeExtra", nullptr};
  int includeExtra = 0;
  std::vector<operations::Agent> agents;
  if (!PyArg_ParseTupleAndKeywords(args, keywords, "|p", const_cast<char**>(names),
                                   &includeExtra) ||
      !WithoutGil([&] { agents = operations::GetUnicastAgents(includeExtra != 0); })) {
    return nullptr;
  }
  PyObject* const result = PyDict_New();
  if (result == nullptr) {
    return nullptr;
  }
  for (const operations::Agent& agent : agents) {
    if (!Add(result, agent)) {
      Py_DECREF(result);
      return nullptr;
    }
  }
  return result;
}

PyMethodDef kMethods[] = {
    {"GetHardwareSku", GetHardwareSku, METH_VARARGS, nullptr},
    {"SetIloAuth", SetIloAuth, METH_VARARGS, nullptr},
    {"CheckKmsStatus", CheckKmsStatus, METH_VARARGS, nullptr},
    {"Decrypt2kBlock", Decrypt2kBlock, METH_VARARGS, nullptr},
    {"GetUnicastAgents",
     reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&GetUnicastAgents)),
     METH_VARARGS | METH_KEYWORDS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef kModule = extension::Define("plain_peer", kMethods);

}  // namespace

extern "C" __attribute__((visibility("default"))) PyObject* PyInit_plain_peer() {
  return PyModule_Create(&kModule);
}
