// The measured functions bound with pybind11.
#include <pybind11/pybind11.h>

#include "bench/peers/operations.h"

namespace py = pybind11;

namespace {

std::string GetHardwareSku() {
  const py::gil_scoped_release released;
  return operations::GetHardwareSku();
}

void SetIloAuth(const std::string& first, const std::string& second) {
  const py::gil_scoped_release released;
  operations::SetIloAuth(first, second);
}

operations::Status Query(const std::string& cluster, const std::string& key, int seconds) {
  const py::gil_scoped_release released;
  return operations::CheckKmsStatus(cluster, key, seconds);
}

py::dict CheckKmsStatus(const std::string& cluster, const std::string& key, int seconds) {
  const operations::Status status = Query(cluster, key, seconds);
  py::dict result;
  result["good"] = status.good;
  result["reason"] = status.reason;
  return result;
}

py::bytes Decrypt2kBlock(const py::bytes& dek, unsigned long position, const py::bytes& block) {
  const std::string_view key = dek;
  const std::string_view input = block;
  if (key.size() != ENCR_DEK_SIZE || input.size() != ENCR_BLOCK_SIZE) {
    throw std::runtime_error("wrong length");
  }
  char output[ENCR_BLOCK_SIZE];
  {
    const py::gil_scoped_release released;
    operations::Decrypt2kBlock(key.data(), position, input.data(), output);
  }
  py::bytes result(output, sizeof output);
  explicit_bzero(output, sizeof output);
  return result;
}

std::vector<operations::Agent> List(bool includeExtra) {
  const py::gil_scoped_release released;
  return operations::GetUnicastAgents(includeExtra);
}

py::dict ToDict(const operations::Agent& agent) {
  py::dict item;
  if (operations::ShowsNodeType()) {
    item["nodeType"] = static_cast<long>(agent.nodeType);
  } else {
    item["isWitness"] = operations::IsWitness(agent);
  }
  item["isSupportUnicast"] = agent.isSupportUnicast;
  item["address"] = agent.address;
  item["port"] = agent.port;
  item["zelnic"] = agent.zelnic;
  item["hostname"] = agent.hostname;
  item["thumbprint"] = agent.thumbprint;
  item["subClusterUuid"] = agent.subClusterUuid;
  return item;
}

py::dict GetUnicastAgents(bool includeExtra) {
  py::dict result;
  for (const operations::Agent& agent : List(includeExtra)) {
    operations::ShowsNodeType();
    const py::str key(agent.uuid);
    py::list list = result.contains(key) ? py::list(result[key]) : py::list();
    list.append(ToDict(agent));
    result[key] = list;
  }
  return result;
}

}  // namespace

PYBIND11_MODULE(pybind11_peer, module) {
  module.def("GetHardwareSku", &GetHardwareSku);
  module.def("SetIloAuth", &SetIloAuth);
  module.def("CheckKmsStatus", &CheckKmsStatus);
  module.def("Decrypt2kBlock", &Decrypt2kBlock);
  module.def("GetUnicastAgents", &GetUnicastAgents, py::arg("includeExtra") = false);
}
