// Encryption operations. Key material, blocks and whole records are texts of the script; what the
// script does not give is left unwritten.
#include <string.h>  // explicit_bzero

#include <cstring>

#include "platform/quelt_util.h"
#include "tests/scripted_host/host_system.h"
#include "tests/scripted_host/script.h"

using scripted::Answer;
using scripted::json;
using scripted::ToBytes;
using scripted::ToJson;

namespace {

/// Writes the output's bytes, all of them.
void OutBytes(const Answer& answer, const char* name, void* to) {
  if (const json* value = answer.FindOut(name)) {
    std::string bytes = ToBytes(*value);
    std::memcpy(to, bytes.data(), bytes.size());
    explicit_bzero(bytes.data(), bytes.size());
  }
}

}  // namespace

namespace ZelCtl::Quelt {

void QueltUtil::AddKeyToKeyCache(const char* id, const char* attribute, const char* key,
                                 int length) {
  Answer("AddKeyToKeyCache",
         {ToJson(id), ToJson(attribute), ToJson(key, static_cast<std::size_t>(length))});
}

void QueltUtil::RemoveKeyFromKeyCache(const char* id) {
  Answer("RemoveKeyFromKeyCache", json::array({ToJson(id)}));
}

void QueltUtil::RetrieveKeyFromKeyCache(const char* id, unsigned char* buffer,
                                        unsigned int capacity, unsigned int& length) {
  const Answer answer("RetrieveKeyFromKeyCache", {ToJson(id), capacity});
  OutBytes(answer, "key", buffer);
  answer.Out("length", length);
}

bool QueltUtil::LookupKeyInKeyCache(const char* id) {
  return Answer("LookupKeyInKeyCache", json::array({ToJson(id)})).Returns(false);
}

void QueltUtil::GetEncMetadataForDisk(const std::string& disk, HostCtl::Quelt::Uuid& uuid,
                                      ENCR_Metadata& metadata, ENCR_Metadata_AWS& aws) {
  const Answer answer("GetEncMetadataForDisk", json::array({ToJson(disk)}));
  OutBytes(answer, "uuid", &uuid);
  OutBytes(answer, "metadata", &metadata);
  OutBytes(answer, "aws", &aws);
}

std::string QueltUtil::QueltUuidToString(const HostCtl::Quelt::Uuid& uuid) {
  return Answer("QueltUuidToString", json::array({ToJson(&uuid, sizeof uuid)}))
      .Returns(std::string());
}

void QueltUtil::Decrypt2kBlock(const unsigned char* dek, unsigned long position,
                               const unsigned char* block, unsigned char* output) {
  const Answer answer("Decrypt2kBlock",
                      {ToJson(dek, ENCR_DEK_SIZE), position, ToJson(block, ENCR_BLOCK_SIZE)});
  OutBytes(answer, "output", output);
}

std::string QueltUtil::FormatCertString(const std::string& certificate) {
  return Answer("FormatCertString", json::array({ToJson(certificate)}))
      .Returns(std::string("formatted"));
}

void QueltUtil::AddKmsCertToTrustStore(const std::string& certificate, bool flag) {
  Answer("AddKmsCertToTrustStore", {ToJson(certificate), flag});
}

bool QueltUtil::CheckCloudKmsStatus(const std::string& text, std::string& error) {
  const Answer answer("CheckCloudKmsStatus", json::array({ToJson(text)}));
  answer.Out("error", error);
  return answer.Returns(true);
}

std::string QueltUtil::KeyIdForKek(const std::string& first, const std::string& second) {
  return Answer("KeyIdForKek", {ToJson(first), ToJson(second)}).Returns(std::string());
}

bool QueltUtil::GetKmsPasswordFromConfigStore(const std::string& keyId, std::string& password) {
  const Answer answer("GetKmsPasswordFromConfigStore", json::array({ToJson(keyId)}));
  answer.Out("password", password);
  return answer.Returns(true);
}

}  // namespace ZelCtl::Quelt

namespace scripted {

void ScriptedHostSystem::ShallowRekeyDisks(const std::vector<std::string>& disks, bool flag) {
  json names = json::array();
  for (const std::string& disk : disks) {
    names.push_back(ToJson(disk));
  }
  Answer("ShallowRekeyDisks", {names, flag});
}

void ScriptedHostSystem::SetHostEncryptionEnabled(bool enabled, bool flag) {
  Answer("SetHostEncryptionEnabled", {enabled, flag});
}

std::shared_ptr<std::vector<KmsServerInfo>> ScriptedHostSystem::GetKmsInfoList(bool flag) {
  const Answer answer("GetKmsInfoList", json::array({flag}));
  if (answer.ReturnsNull()) {
    return nullptr;
  }
  auto servers = std::make_shared<std::vector<KmsServerInfo>>();
  const json* const list = answer.FindOut("servers");
  for (const json& given : list == nullptr ? json::array() : *list) {
    KmsServerInfo& server = servers->emplace_back();
    const auto text = [&](const char* name, std::string& member) {
      member = ToBytes(given.value(name, json("")));
    };
    text("name", server.name);
    text("kmipClusterId", server.kmipClusterId);
    text("userName", server.userName);
    text("password", server.password);
    text("address", server.address);
    text("protocol", server.protocol);
    text("proxyAddress", server.proxyAddress);
    server.port = given.value("port", -1);
    server.proxyPort = given.value("proxyPort", -1);
    server.reconnect = given.value("reconnect", -1);
    server.nbio = given.value("nbio", -1);
    server.timeout = given.value("timeout", -1);
  }
  return servers;
}

std::string ScriptedHostSystem::GetConfiguredKekId() {
  return Answer("GetConfiguredKekId").Returns(std::string());
}

std::string ScriptedHostSystem::GetConfiguredHostKeyId() {
  return Answer("GetConfiguredHostKeyId").Returns(std::string());
}

void ScriptedHostSystem::PersistKekId(const std::string& kekId) {
  Answer("PersistKekId", json::array({ToJson(kekId)}));
}

void ScriptedHostSystem::PersistHostKeyId(const std::string& hostKeyId) {
  Answer("PersistHostKeyId", json::array({ToJson(hostKeyId)}));
}

bool ScriptedHostSystem::QueryKmsStatus(const std::string& kmipClusterId, const std::string& keyId,
                                        int seconds, std::string& reason) {
  const Answer answer("QueryKmsStatus", {ToJson(kmipClusterId), ToJson(keyId), seconds});
  answer.Out("reason", reason);
  return answer.Returns(true);
}

void ScriptedHostSystem::GetUnwrappedDekForDisk(const std::string& disk, unsigned char* dek) {
  const Answer answer("GetUnwrappedDekForDisk", json::array({ToJson(disk)}));
  OutBytes(answer, "dek", dek);
}

}  // namespace scripted
