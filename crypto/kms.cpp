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

template <FixedText kTextKey>
PyObject* NewStatusDict(const Status& status) {
  ResultDict dict(
      {"PyDict_New result failed!", "PyDict_SetItemString failed!", "Py_BuildValue failed!"});
  dict.Set<"good">(status.good);
  dict.Set<kTextKey>(status.text);
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
      [&] { return NewStatusDict<"reason">(status); });
}

PyObject* PyCheckCloudKmsStatus(const char* kms) {
  Status status;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { status.good = QueltUtil::CheckCloudKmsStatus(kms, status.text); },
      [&] { return NewStatusDict<"error">(status); });
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

template <FixedText kKey>
void SetText(ResultDict& dict, const std::string& text) {
  if (!text.empty()) {
    dict.Set<kKey>(text);
  }
}

template <FixedText kKey>
void SetNumber(ResultDict& dict, std::int32_t number) {
  if (number != -1) {
    dict.Set<kKey>(number);
  }
}

PyObject* NewServerDict(const KmsServerInfo& server) {
  ResultDict dict({"PyDict_New failed!", "PyGetKms failed!"});
  SetText<"kmipClusterId">(dict, server.kmipClusterId);
  SetText<"address">(dict, server.address);
  SetText<"proxyAddress">(dict, server.proxyAddress);
  SetText<"protocol">(dict, server.protocol);
  SetText<"userName">(dict, server.userName);
  SetText<"name">(dict, server.name);
  dict.Set<"password">("(not shown)");
  SetNumber<"proxyPort">(dict, server.proxyPort);
  SetNumber<"port">(dict, server.port);
  SetNumber<"reconnect">(dict, server.reconnect);
  SetNumber<"timeout">(dict, server.timeout);
  SetNumber<"nbio">(dict, server.nbio);
  return dict.Release();
}

PyObject* NewServerList(const std::vector<KmsServerInfo>& servers) {
  PyRef list(PyList_New(0));
  if (!list) {
    return Raise(PyExc_RuntimeError, "PyList_New failed!");
  }
  for (const KmsServerInfo& server : servers) {
    const PyRef dict(NewServerDict(server));
    if (!dict) {
      return nullptr;
    }
    if (PyList_Append(list.get(), dict.get()) != 0) {
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
