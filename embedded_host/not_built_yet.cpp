// Operations that are declared but not built yet.
#include <stdexcept>

#include "embedded_host/host_system.h"
#include "platform/quelt_util.h"

namespace quelt {

std::vector<std::unique_ptr<QueltZelNicConfig2>> EmbeddedHostSystem::GetZelNicConfigs() {
  throw std::runtime_error("GetZelNicConfigs");
}
void EmbeddedHostSystem::ShallowRekeyDisks(const std::vector<std::string>&, bool) {
  throw std::runtime_error("ShallowRekeyDisks");
}
void EmbeddedHostSystem::AddUnicastAgentEntry(const std::string&, std::int32_t, bool,
                                              const QueltIpAddress&, std::int32_t, bool,
                                              const std::string&, const std::string&,
                                              const std::string&, const std::string&) {
  throw std::runtime_error("AddUnicastAgentEntry");
}
void EmbeddedHostSystem::RemoveUnicastAgentEntry(const std::string&, const QueltIpAddress&,
                                                 std::int32_t, std::int32_t, bool,
                                                 const std::string&) {
  throw std::runtime_error("RemoveUnicastAgentEntry");
}
void EmbeddedHostSystem::SetUnicastAgentInConfigStore(const std::string&, std::int32_t, bool,
                                                      const QueltIpAddress&, std::int32_t,
                                                      const std::string&, const std::string&,
                                                      const std::string&, const std::string&) {
  throw std::runtime_error("SetUnicastAgentInConfigStore");
}
std::shared_ptr<ClusterConfig> EmbeddedHostSystem::GetClusterConfig(bool) {
  throw std::runtime_error("GetClusterConfig");
}
std::string EmbeddedHostSystem::GetClusterId() { throw std::runtime_error("GetClusterId"); }
void EmbeddedHostSystem::SetHostEncryptionEnabled(bool, bool) {
  throw std::runtime_error("SetHostEncryptionEnabled");
}
std::shared_ptr<std::vector<KmsServerInfo>> EmbeddedHostSystem::GetKmsInfoList(bool) {
  throw std::runtime_error("GetKmsInfoList");
}
std::string EmbeddedHostSystem::GetConfiguredKekId() {
  throw std::runtime_error("GetConfiguredKekId");
}
std::string EmbeddedHostSystem::GetConfiguredHostKeyId() {
  throw std::runtime_error("GetConfiguredHostKeyId");
}
void EmbeddedHostSystem::PersistKekId(const std::string&) {
  throw std::runtime_error("PersistKekId");
}
void EmbeddedHostSystem::PersistHostKeyId(const std::string&) {
  throw std::runtime_error("PersistHostKeyId");
}
bool EmbeddedHostSystem::QueryKmsStatus(const std::string&, const std::string&, int, std::string&) {
  throw std::runtime_error("QueryKmsStatus");
}
void EmbeddedHostSystem::GetUnicastAgentList(std::vector<QueltInfo::QueltUnicastAddressInfo>&,
                                             bool) {
  throw std::runtime_error("GetUnicastAgentList");
}
void EmbeddedHostSystem::GetUnwrappedDekForDisk(const std::string&, unsigned char*) {
  throw std::runtime_error("GetUnwrappedDekForDisk");
}

}  // namespace quelt

namespace ZelCtl::Quelt {

void QueltUtil::AddKeyToKeyCache(const char*, const char*, const char*, int) {
  throw std::runtime_error("AddKeyToKeyCache");
}
void QueltUtil::RemoveKeyFromKeyCache(const char*) {
  throw std::runtime_error("RemoveKeyFromKeyCache");
}
void QueltUtil::RetrieveKeyFromKeyCache(const char*, unsigned char*, unsigned int, unsigned int&) {
  throw std::runtime_error("RetrieveKeyFromKeyCache");
}
bool QueltUtil::LookupKeyInKeyCache(const char*) {
  throw std::runtime_error("LookupKeyInKeyCache");
}
void QueltUtil::GetEncMetadataForDisk(const std::string&, HostCtl::Quelt::Uuid&, ENCR_Metadata&,
                                      ENCR_Metadata_AWS&) {
  throw std::runtime_error("GetEncMetadataForDisk");
}
std::string QueltUtil::QueltUuidToString(const HostCtl::Quelt::Uuid&) {
  throw std::runtime_error("QueltUuidToString");
}
void QueltUtil::Decrypt2kBlock(const unsigned char*, unsigned long, const unsigned char*,
                               unsigned char*) {
  throw std::runtime_error("Decrypt2kBlock");
}
std::string QueltUtil::FormatCertString(const std::string&) {
  throw std::runtime_error("FormatCertString");
}
void QueltUtil::AddKmsCertToTrustStore(const std::string&, bool) {
  throw std::runtime_error("AddKmsCertToTrustStore");
}
bool QueltUtil::CheckCloudKmsStatus(const std::string&, std::string&) {
  throw std::runtime_error("CheckCloudKmsStatus");
}
std::string QueltUtil::KeyIdForKek(const std::string&, const std::string&) {
  throw std::runtime_error("KeyIdForKek");
}
bool QueltUtil::GetKmsPasswordFromConfigStore(const std::string&, std::string&) {
  throw std::runtime_error("GetKmsPasswordFromConfigStore");
}

}  // namespace ZelCtl::Quelt
