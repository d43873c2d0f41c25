// The measured functions bound with nanobind.
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include "bench/peers/operations.h"

namespace nb = nanobind;

namespace {

std::string GetHardwareSku() {
  const nb::gil_scoped_release released;
  return operations::GetHardwareSku();
}

void SetIloAuth(const std::string& first, const std::string& second) {
  const nb::gil_scoped_release released;
  operations::SetIloAuth(first, second);
}

operations::Status Query(const std::string& cluster, const std::string& key, int seconds) {
  const nb::gil_scoped_release released;
  return operations::CheckKmsStatus(cluster, key, seconds);
}

nb::str Text(const std::string& text) { return nb::str(text.data(), text.size()); }

nb::dict CheckKmsStatus(const std::string& cluster, const std::string& key, int seconds) {
  const operations::Status status = Query(cluster, key, seconds);
  nb::dict result;
  result["good"] = status.good;
  result["reason"] = Text(status.reason);
  return result;
}

nb::bytes Decrypt2kBlock(const nb::bytes& dek, unsigned long position, const nb::bytes& block) {
  if (dek.size() != ENCR_DEK_SIZE || block.size() != ENCR_BLOCK_SIZE) {
    throw std::runtime_error("wrong length");
  }
  char output[ENCR_BLOCK_SIZE];
  {
    const nb::gil_scoped_release released;
    operations::Decrypt2kBlock(dek.c_str(), position, block.c_str(), output);
  }
  nb::bytes result(output, sizeof output);
  explicit_bzero(output, sizeof output);
  return result;
}

std::vector<operations::Agent> List(bool includeExtra) {
  const nb::gil_scoped_release released;
  return operations::GetUnicastAgents(includeExtra);
}

nb::dict ToDict(const operations::Agent& agent) {
  nb::dict item;
  if (operations::ShowsNodeType()) {
    item["nodeType"] = static_cast<long>(agent.nodeType);
  } else {
    item["isWitness"] = operations::IsWitness(agent);
  }
  item["isSupportUnicast"] = agent.isSupportUnicast;
  item["address"] = Text(agent.address);
  item["port"] = agent.port;
  item["zelnic"] = Text(agent.zelnic);
  item["hostname"] = Text(agent.hostname);
  item["thumbprint"] = Text(agent.thumbprint);
  item["subClusterUuid"] = Text(agent.subClusterUuid);
  return item;
}

nb::dict GetUnicastAgents(bool includeExtra) {
  nb::dict result;
  for (const operations::Agent& agent : List(includeExtra)) {
    operations::ShowsNodeType();
    const nb::str key = Text(agent.uuid);
    nb::list list = result.contains(key) ? nb::cast<nb::list>(result[key]) : nb::list();
    list.append(ToDict(agent));
    result[key] = list;
  }
  return result;
}

}  // namespace

NB_MODULE(nanobind_peer, module) {
  module.def("GetHardwareSku", &GetHardwareSku);
  module.def("SetIloAuth", &SetIloAuth);
  module.def("CheckKmsStatus", &CheckKmsStatus);
  module.def("Decrypt2kBlock", &Decrypt2kBlock);
  module.def("GetUnicastAgents", &GetUnicastAgents, nb::arg("includeExtra") = false);
}
