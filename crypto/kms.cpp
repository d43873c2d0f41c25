// Key management servers: status, trusted certificates, passwords and settings.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "crypto/functions.h"
#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/py_ref.h"
#include "module/result_helpers.h"
#include "module/secret_area.h"
#include "platform/exception.h"
#include "platform/quelt_util.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using HostCtl::Quelt::HostSystem;
using HostCtl::Quelt::KmsServerInfo;
using ZelCtl::Quelt::QueltUtil;

namespace {

/// A KMS that is not good is an answer, not an error.
struct Status {
  bool good = false;
  std::string text;
};

/// Null when the item is set, else what failed. The key is not interned: for one dictionary that
/// takes longer than it saves.
const char* SetStatusItem(PyObject* dict, const char* key, PyObject* stolen) {
  const PyRef value(stolen);
  if (!value) {
    return "Py_BuildValue failed!";
  }
  return PySetDictItemOwnKey(dict, key, value.get()) == 0 ? nullptr
                                                          : "PyDict_SetItemString failed!";
}

PyObject* NewStatusDict(const Status& status, const char* textKey) {
  PyRef dict(PyDict_New());
  if (!dict) {
    return Raise(PyExc_RuntimeError, "PyDict_New result failed!");
  }
  const char* failure = SetStatusItem(dict.get(), "good", PyBool_FromLong(status.good ? 1 : 0));
  if (failure == nullptr) {
    failure = SetStatusItem(dict.get(), textKey, PyUnicode_FromString(status.text.c_str()));
  }
  return failure == nullptr ? dict.release() : Raise(PyExc_RuntimeError, failure);
}

}  // namespace

PyObject* PyCheckKmsStatus(PyObject*, PyObject* args) {
  const char* first = nullptr;
  const char* second = nullptr;
  int number = 0;
  if (!PyArg_ParseTuple(args, "ssi", &first, &second, &number)) {
    return Raise(PyExc_RuntimeError, "Unable to parse input parameters");
  }
  Status status;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        status.good = WithHostSystem([&](HostSystem& system) {
          return system.QueryKmsStatus(first, second, number, status.text);
        });
      },
      [&] { return NewStatusDict(status, "reason"); });
}

PyObject* PyCheckCloudKmsStatus(PyObject*, PyObject* args) {
  const char* text = nullptr;
  if (!PyArg_ParseTuple(args, "s", &text)) {
    return Raise(PyExc_RuntimeError, "Unable to parse input disk name");
  }
  Status status;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { status.good = QueltUtil::CheckCloudKmsStatus(text, status.text); },
      [&] { return NewStatusDict(status, "error"); });
}

PyObject* PyAddKmsTrustedCert(PyObject*, PyObject* args) {
  const char* text = nullptr;
  if (!PyArg_ParseTuple(args, "s", &text)) {
    return Raise(PyExc_RuntimeError, "Unable to parse input cert");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        const std::string certificate(text);
        // Asked first, so that a text that is no certificate fails before anything is added. The
        // store itself keeps the caller's certificate.
        QueltUtil::FormatCertString(certificate);
        QueltUtil::AddKmsCertToTrustStore(certificate, false);
      },
      [] { return NewNone(); });
}

PyObject* PyGetKmsPasswordFromConfigStore(PyObject*, PyObject* args) {
  const char* first = nullptr;
  const char* second = nullptr;
  if (!PyArg_ParseTuple(args, "ss", &first, &second)) {
    return Raise(PyExc_RuntimeError, "Failed to extract parameters");
  }
  const auto rule = OnStdException(PyExc_ValueError);
  std::string keyId;
  if (!RunUnderLock(rule, [&] { keyId = QueltUtil::KeyIdForKek(first, second); })) {
    return nullptr;
  }
  SecretText password;
  bool found = false;
  return CallPlatform(
      rule, [&] { found = QueltUtil::GetKmsPasswordFromConfigStore(keyId, password.text); },
      [&] { return found ? Py_BuildValue("s", password.text.c_str()) : NewNone(); });
}

namespace {

bool SetValue(PyObject* dict, const char* key, PyObject* stolen) {
  const PyRef value(stolen);
  return value && PyDict_SetItemString(dict, key, value.get()) == 0;
}

bool SetText(PyObject* dict, const char* key, const std::string& text) {
  return text.empty() || SetValue(dict, key, Py_BuildValue("s", text.c_str()));
}

bool SetNumber(PyObject* dict, const char* key, std::int32_t number) {
  return number == -1 || SetValue(dict, key, Py_BuildValue("i", number));
}

bool SetServer(PyObject* dict, const KmsServerInfo& server) {
  return SetText(dict, "kmipClusterId", server.kmipClusterId) &&
         SetText(dict, "address", server.address) &&
         SetText(dict, "proxyAddress", server.proxyAddress) &&
         SetText(dict, "protocol", server.protocol) && SetText(dict, "userName", server.userName) &&
         SetText(dict, "name", server.name) && SetText(dict, "password", "(not shown)") &&
         SetNumber(dict, "proxyPort", server.proxyPort) && SetNumber(dict, "port", server.port) &&
         SetNumber(dict, "reconnect", server.reconnect) &&
         SetNumber(dict, "timeout", server.timeout) && SetNumber(dict, "nbio", server.nbio);
}

PyObject* NewServerList(const std::vector<KmsServerInfo>& servers) {
  PyRef list(PyList_New(static_cast<Py_ssize_t>(servers.size())));
  if (!list) {
    return Raise(PyExc_RuntimeError, "PyList_New failed!");
  }
  Py_ssize_t index = 0;
  for (const KmsServerInfo& server : servers) {
    PyRef dict(PyDict_New());
    if (!dict) {
      return Raise(PyExc_RuntimeError, "PyDict_New failed!");
    }
    if (!SetServer(dict.get(), server) ||
        PyList_SetItem(list.get(), index++, dict.release()) != 0) {
      return Raise(PyExc_RuntimeError, "PyGetKms failed!");
    }
  }
  return list.release();
}

}  // namespace

PyObject* PyGetKms(PyObject*, PyObject*) {
  std::shared_ptr<std::vector<KmsServerInfo>> servers;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        servers = WithHostSystem([](HostSystem& system) { return system.GetKmsInfoList(true); });
        if (servers == nullptr) {
          throw QueltCtlException("The cluster plug-in gave no KMS list");
        }
      },
      [&] { return NewServerList(*servers); });
}

}  // namespace pyquelt
