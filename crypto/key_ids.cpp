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

PyObject* PersistKeyId(const char* id, void (HostSystem::*persist)(const std::string&)) {
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { WithHostSystem([&](HostSystem& system) { (system.*persist)(id); }); },
      [] { return NewNone(); });
}

}  // namespace

PyObject* PyGetKekId() { return ReadKeyId(&HostSystem::GetConfiguredKekId); }

PyObject* PySetKekId(const char* kekId) { return PersistKeyId(kekId, &HostSystem::PersistKekId); }

PyObject* PyGetHostKeyId() { return ReadKeyId(&HostSystem::GetConfiguredHostKeyId); }

PyObject* PySetHostKeyId(const char* hostKeyId) {
  return PersistKeyId(hostKeyId, &HostSystem::PersistHostKeyId);
}

}  // namespace pyquelt
