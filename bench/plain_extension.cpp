// The listing of unicast agents as plain, careful extension code writes it, for comparison: the
// same arguments, platform operations and result; dictionary items are set by C string, and a
// failure only says that it happened.
#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "platform/plugin.h"
#include "platform/quelt_util.h"

using HostCtl::QueltPluginFactory;
using HostCtl::Quelt::UnicastNodeType;
using HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo;
using ZelCtl::Quelt::QueltUtil;

namespace {

/// Sets an item and gives the value's reference back. A null value is a failed conversion.
bool Set(PyObject* dict, const char* key, PyObject* value) {
  if (value == nullptr) {
    return false;
  }
  const int status = PyDict_SetItemString(dict, key, value);
  Py_DECREF(value);
  return status == 0;
}

bool SetText(PyObject* dict, const char* key, const std::string& text) {
  return Set(dict, key, PyUnicode_FromString(text.c_str()));
}

bool Fill(PyObject* dict, const QueltUnicastAddressInfo& agent) {
  const bool first =
      QueltUtil::IsQueltMetadataNodeFeatureEnabled()
          ? Set(dict, "nodeType", PyLong_FromLong(static_cast<long>(agent.nodeType)))
          : Set(dict, "isWitness", PyBool_FromLong(agent.nodeType == UnicastNodeType::kWitness));
  return first && Set(dict, "isSupportUnicast", PyBool_FromLong(agent.isSupportUnicast)) &&
         SetText(dict, "address", agent.address) &&
         Set(dict, "port", PyLong_FromLong(agent.port)) && SetText(dict, "zelnic", agent.zelnic) &&
         SetText(dict, "hostname", agent.hostname) &&
         SetText(dict, "thumbprint", agent.thumbprint) &&
         SetText(dict, "subClusterUuid", agent.subClusterUuid);
}

bool Add(PyObject* result, const QueltUnicastAddressInfo& agent) {
  QueltUtil::IsQueltMetadataNodeFeatureEnabled();  // asked for twice, as is required
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

PyObject* Convert(const std::vector<QueltUnicastAddressInfo>& agents) {
  PyObject* const result = PyDict_New();
  if (result == nullptr) {
    return nullptr;
  }
  for (const QueltUnicastAddressInfo& agent : agents) {
    if (!Add(result, agent)) {
      Py_DECREF(result);
      PyErr_SetString(PyExc_RuntimeError, "Failed to list unicast agents");
      return nullptr;
    }
  }
  return result;
}

/// The native part. The lock is released meanwhile; false with an exception set.
bool Fetch(bool includeExtra, std::vector<QueltUnicastAddressInfo>& agents) {
  std::string failure;
  bool failed = false;
  PyThreadState* const state = PyEval_SaveThread();
  try {
    const auto plugin = QueltPluginFactory::GetQueltPlugin();
    const auto system = plugin->GetHostSystem();
    system->GetUnicastAgentList(agents, includeExtra);
  } catch (const std::exception& thrown) {
    failed = true;
    failure = thrown.what();
  }
  PyEval_RestoreThread(state);
  if (failed) {
    PyErr_SetString(PyExc_RuntimeError, failure.c_str());
  }
  return !failed;
}

PyObject* GetUnicastAgents(PyObject*, PyObject* args, PyObject* keywords) {
  static const char* const names[] = {"includeExtra", nullptr};
  int includeExtra = 0;
  if (!PyArg_ParseTupleAndKeywords(args, keywords, "|p", const_cast<char**>(names),
                                   &includeExtra)) {
    return nullptr;
  }
  std::vector<QueltUnicastAddressInfo> agents;
  return Fetch(includeExtra != 0, agents) ? Convert(agents) : nullptr;
}

/// The native records alone, without a result: what a call holds at least.
PyObject* FetchOnly(PyObject*, PyObject*) {
  std::vector<QueltUnicastAddressInfo> agents;
  return Fetch(false, agents) ? PyLong_FromSize_t(agents.size()) : nullptr;
}

PyMethodDef kMethods[] = {
    {"GetUnicastAgents",
     reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&GetUnicastAgents)),
     METH_VARARGS | METH_KEYWORDS, nullptr},
    {"FetchOnly", FetchOnly, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef kModule = {PyModuleDef_HEAD_INIT,
                       "plain_extension",
                       nullptr,
                       0,
                       kMethods,
                       nullptr,
                       nullptr,
                       nullptr,
                       nullptr};

}  // namespace

extern "C" __attribute__((visibility("default"))) PyObject* PyInit_plain_extension() {
  return PyModule_Create(&kModule);
}
