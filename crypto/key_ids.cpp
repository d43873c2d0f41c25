// The KEK id and the host key id in the host's configuration: texts that the module passes through.
#include <string>

#include "crypto/functions.h"
#include "module/call_frame.h"
#include "module/cluster_plugin.h"

namespace pyquelt {

using HostCtl::Quelt::HostSystem;

namespace {

PyObject* ReadKeyId(std::string (HostSystem::*read)()) {
  std::string id;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { id = WithHostSystem([&](HostSystem& system) { return (system.*read)(); }); },
      [&] { return Py_BuildValue("s", id.c_str()); });
}

PyObject* PersistKeyId(PyObject* args, const char* parseFailure,
                       void (HostSystem::*persist)(const std::string&)) {
  const char* id = nullptr;
  if (!PyArg_ParseTuple(args, "s", &id)) {
    return Raise(PyExc_RuntimeError, parseFailure);
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { WithHostSystem([&](HostSystem& system) { (system.*persist)(id); }); },
      [] { return NewNone(); });
}

}  // namespace

PyObject* PyGetKekId(PyObject*, PyObject*) { return ReadKeyId(&HostSystem::GetConfiguredKekId); }

PyObject* PySetKekId(PyObject*, PyObject* args) {
  return PersistKeyId(args, "Unable to parse input KEK id", &HostSystem::PersistKekId);
}

PyObject* PyGetHostKeyId(PyObject*, PyObject*) {
  return ReadKeyId(&HostSystem::GetConfiguredHostKeyId);
}

PyObject* PySetHostKeyId(PyObject*, PyObject* args) {
  return PersistKeyId(args, "Unable to parse input key id", &HostSystem::PersistHostKeyId);
}

}  // namespace pyquelt
