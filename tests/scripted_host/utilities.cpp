// The configuration store and the kernel-control utilities. Addresses are really parsed,
// unless the script has a return value.
#include <utility>

#include "embedded_host/text/addresses.h"
#include "platform/config_store.h"
#include "platform/quelt_util.h"
#include "tests/scripted_host/script.h"

using HostCtl::Quelt::QueltInfo::syncConfigurationCallback;
using scripted::Answer;

std::function<void()> HostCtl::Quelt::QueltInfo::syncConfigurationCallback;

/// Sets a synchronisation callback that records its calls, or removes it.
extern "C" __attribute__((visibility("default"))) void scripted_host_sync(bool set) {
  syncConfigurationCallback = nullptr;
  if (set) {
    syncConfigurationCallback = [] { Answer("syncConfigurationCallback"); };
  }
}

namespace ZelCtl::Quelt {

bool QueltConfigStore::GetHardwareSku(std::string& sku) {
  return Answer("GetHardwareSku").Out("sku", sku).Returns(true);
}

bool QueltConfigStore::GetIloAuth(std::pair<std::string, std::string>& credential) {
  return Answer("GetIloAuth")
      .Out("first", credential.first, "second", credential.second)
      .Returns(true);
}

bool QueltConfigStore::SetIloAuth(const std::string& first, const std::string& second) {
  return Answer("SetIloAuth", first, second).Returns(true);
}

bool QueltConfigStore::GetPerfsvcHostConfigStore(
    std::unordered_map<std::string, std::string>& config) {
  const Answer answer("GetPerfsvcHostConfigStore");
  for (const auto& entry : answer.List("config")) {
    config.emplace(scripted::ToBytes(entry.at(0)), scripted::ToBytes(entry.at(1)));
  }
  return answer.Returns(true);
}

bool QueltConfigStore::SetPerfsvcHostConfigStore(const std::string& first,
                                                 const std::string& second) {
  return Answer("SetPerfsvcHostConfigStore", first, second).Returns(true);
}

bool QueltConfigStore::SetClusterTimeMachineConfigStore(const std::string& first,
                                                        const std::string& second) {
  return Answer("SetClusterTimeMachineConfigStore", first, second).Returns(true);
}

void QueltUtil::AddKeyToKeyCache(const char* id, const char* attribute, const char* key,
                                 int length) {
  Answer("AddKeyToKeyCache", id, attribute, scripted::Bytes(key, static_cast<unsigned>(length)));
}

void QueltUtil::RemoveKeyFromKeyCache(const char* id) { Answer("RemoveKeyFromKeyCache", id); }

void QueltUtil::RetrieveKeyFromKeyCache(const char* id, unsigned char* buffer,
                                        unsigned int capacity, unsigned int& length) {
  Answer("RetrieveKeyFromKeyCache", id, capacity).Out("key", buffer, "length", length);
}

bool QueltUtil::LookupKeyInKeyCache(const char* id) {
  return Answer("LookupKeyInKeyCache", id).Returns(false);
}

void QueltUtil::GetEncMetadataForDisk(const std::string& disk, HostCtl::Quelt::Uuid& uuid,
                                      ENCR_Metadata& metadata, ENCR_Metadata_AWS& aws) {
  Answer("GetEncMetadataForDisk", disk).Out("uuid", uuid, "metadata", metadata, "aws", aws);
}

std::string QueltUtil::QueltUuidToString(const HostCtl::Quelt::Uuid& uuid) {
  return Answer("QueltUuidToString", uuid).Returns(std::string());
}

void QueltUtil::Decrypt2kBlock(const unsigned char* dek, unsigned long position,
                               const unsigned char* block, unsigned char* output) {
  Answer("Decrypt2kBlock", scripted::Bytes(dek, ENCR_DEK_SIZE), position,
         scripted::Bytes(block, ENCR_BLOCK_SIZE))
      .Out("output", output);
}

std::string QueltUtil::FormatCertString(const std::string& certificate) {
  return Answer("FormatCertString", certificate).Returns(std::string("formatted"));
}

void QueltUtil::AddKmsCertToTrustStore(const std::string& certificate, bool flag) {
  Answer("AddKmsCertToTrustStore", certificate, flag);
}

bool QueltUtil::CheckCloudKmsStatus(const std::string& text, std::string& error) {
  return Answer("CheckCloudKmsStatus", text).Out("error", error).Returns(true);
}

std::string QueltUtil::KeyIdForKek(const std::string& first, const std::string& second) {
  return Answer("KeyIdForKek", first, second).Returns(std::string());
}

bool QueltUtil::GetKmsPasswordFromConfigStore(const std::string& keyId, std::string& password) {
  return Answer("GetKmsPasswordFromConfigStore", keyId).Out("password", password).Returns(true);
}

bool QueltUtil::BuildQueltIPAddress(const std::string& text,
                                    HostCtl::Quelt::QueltIpAddress& address) {
  const Answer answer("BuildQueltIPAddress", text);
  return answer.Returns(quelt::ParseAddress(text, address));
}

bool QueltUtil::IsQueltCSDFeatureEnabled() {
  return Answer("IsQueltCSDFeatureEnabled").Returns(false);
}

bool QueltUtil::IsQueltMetadataNodeFeatureEnabled() {
  return Answer("IsQueltMetadataNodeFeatureEnabled").Returns(false);
}

void QueltUtil::GetUnicastModeForCluster(bool& mode, std::string clusterId) {
  const std::string id = std::move(clusterId);
  Answer("GetUnicastModeForCluster", mode, id).Out("mode", mode);
}

int QueltUtil::IsObjectAccessible(QUELTUUID cluster, QUELTUUID uuid, char* accessible) {
  const Answer answer("IsObjectAccessible", cluster, uuid);
  *accessible = 1;
  return answer.Out("accessible", *accessible).Returns(0);
}

void QueltUtil::GetCapacityAndFSOverheadFromNorim(
    QUELTUUID host, unsigned long* physicalCapacity, unsigned long* physicalUsed,
    unsigned long* logicalCapacity, unsigned long* logicalUsed, unsigned long* dedupMetadataSize,
    unsigned long* logicalFSOverhead, unsigned long* blkAttrOverhead, unsigned long* transientSpace,
    unsigned long* physicalTransientSpace) {
  Answer("GetCapacityAndFSOverheadFromNorim", host)
      .Out("physicalCapacity", *physicalCapacity, "physicalUsed", *physicalUsed, "logicalCapacity",
           *logicalCapacity, "logicalUsed", *logicalUsed, "dedupMetadataSize", *dedupMetadataSize,
           "logicalFSOverhead", *logicalFSOverhead, "blkAttrOverhead", *blkAttrOverhead,
           "transientSpace", *transientSpace, "physicalTransientSpace", *physicalTransientSpace);
}

}  // namespace ZelCtl::Quelt
