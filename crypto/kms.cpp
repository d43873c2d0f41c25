// Key management servers: status, trusted certificates, passwords and settings.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "crypto/functions.h"
#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/py_ref.h"
#include "module/result_dict.h"
#include "module/secret_text.h"
#include "platform/exception.h"
#include "platform/quelt_util.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using HostCtl::Quelt::HostSystem;
using HostCtl::Quelt::KmsServerInfo;
using ZelCtl::Quelt::QueltUtil;

namespace {

/// The answer of a status check. A server that is not good is an answer, not a failure.
struct Status {
  bool good = false;
  std::string text;  ///< why it is not good
};

PyObject* NewStatusDict(const Status& status, const char* textKey) {
  ResultDict dict(
      {"PyDict_New result failed!", "PyDict_SetItemString failed!", "Py_BuildValue failed!"});
  // Interning the keys would cost more than it saves in a single dictionary.
  dict.SetUnderData("good", status.good);
  dict.SetUnderData(textKey, status.text);
  return dict.Release();
}

}  // namespace

PyObject* PyCheckKmsStatus(const char* kmipClusterId, const char* keyId, int timeout) {
  Status status;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        status.good = WithHostSystem([&](HostSystem& system) {
          return system.QueryKmsStatus(kmipClusterId, keyId, timeout, status.text);
        });
      },
      [&] { return NewStatusDict(status, "reason"); });
}

PyObject* PyCheckCloudKmsStatus(const char* kms) {
  Status status;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { status.good = QueltUtil::CheckCloudKmsStatus(kms, status.text); },
      [&] { return NewStatusDict(status, "error"); });
}

PyObject* PyAddKmsTrustedCert(const char* cert) {
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        const std::string certificate(cert);
        // Called for its failure only: an invalid certificate is rejected before anything is added.
        // The trust store receives the caller's text.
        QueltUtil::FormatCertString(certificate);
        QueltUtil::AddKmsCertToTrustStore(certificate, false);
      },
      [] { return NewNone(); });
}

PyObject* PyGetKmsPasswordFromConfigStore(const char* kekId, const char* kmipClusterId) {
  const auto rule = OnStdException(PyExc_ValueError);
  std::string keyId;
  if (!RunWithGil(rule, [&] { keyId = QueltUtil::KeyIdForKek(kekId, kmipClusterId); })) {
    return nullptr;
  }
  std::string password;
  const SecretText secretPassword(password);
  bool found = false;
  return CallPlatform(
      rule, [&] { found = QueltUtil::GetKmsPasswordFromConfigStore(keyId, password); },
      [&] { return found ? Py_BuildValue("s", password.c_str()) : NewNone(); });
}

namespace {

void SetText(ResultDict& dict, const char* key, const std::string& text) {
  if (!text.empty()) {
    dict.Set(key, text);
  }
}

void SetNumber(ResultDict& dict, const char* key, std::int32_t number) {
  if (number != -1) {
    dict.Set(key, number);
  }
}

PyObject* NewServerDict(const KmsServerInfo& server) {
  ResultDict dict({"PyDict_New failed!", "PyGetKms failed!"});
  SetText(dict, "kmipClusterId", server.kmipClusterId);
  SetText(dict, "address", server.address);
  SetText(dict, "proxyAddress", server.proxyAddress);
  SetText(dict, "protocol", server.protocol);
  SetText(dict, "userName", server.userName);
  SetText(dict, "name", server.name);
  dict.Set("password", "(not shown)");
  SetNumber(dict, "proxyPort", server.proxyPort);
  SetNumber(dict, "port", server.port);
  SetNumber(dict, "reconnect", server.reconnect);
  SetNumber(dict, "timeout", server.timeout);
  SetNumber(dict, "nbio", server.nbio);
  return dict.Release();
}

PyObject* NewServerList(const std::vector<KmsServerInfo>& servers) {
  PyRef list(PyList_New(static_cast<Py_ssize_t>(servers.size())));
  if (!list) {
    return Raise(PyExc_RuntimeError, "PyList_New failed!");
  }
  Py_ssize_t index = 0;
  for (const KmsServerInfo& server : servers) {
    PyObject* const dict = NewServerDict(server);
    if (dict == nullptr) {
      return nullptr;
    }
    if (PyList_SetItem(list.get(), index++, dict) != 0) {  // steals `dict`
      return Raise(PyExc_RuntimeError, "PyGetKms failed!");
    }
  }
  return list.release();
}

}  // namespace

PyObject* PyGetKms() {
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
