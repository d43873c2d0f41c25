// Objects, disks and host facts. An object's extended parameters are told apart by the object class
// that the script gives them.
#include <algorithm>
#include <cstring>
#include <set>

#include "platform/object_library.h"
#include "platform/quelt_util.h"
#include "tests/scripted_host/host_system.h"
#include "tests/scripted_host/script.h"

using scripted::Answer;
using scripted::json;
using scripted::ToBytes;
using scripted::ToJson;

struct ObjDescriptor {
  std::int32_t objClass;
};

namespace {

struct Params : ObjLibExtParams, scripted::HandedOut {
  ObjDescriptor its{};
};

/// Parameters that were handed out and not given back.
std::set<ObjLibExtParams*>& LiveParams() {
  static auto* const live = new std::set<ObjLibExtParams*>;
  return *live;
}

json Identifier(const std::uint8_t* bytes) {
  return bytes == nullptr ? json() : ToJson(std::string(bytes, bytes + 16));
}

/// What the script gives under `name`, as a text of malloc.
char* NewText(const Answer& answer, const char* name) {
  const json* const text = answer.FindOut(name);
  return text == nullptr ? nullptr : strdup(ToBytes(*text).c_str());
}

}  // namespace

std::int32_t ObjUtil_Create(const std::uint8_t* cid, const char* ufn, const char* haMetaData,
                            const char* policy, std::int32_t allocType, std::uint64_t size,
                            std::int32_t capabilities, bool ignoreExtAttr,
                            const std::uint8_t* groupUuid, std::int32_t objClass,
                            std::uint8_t* uuid) {
  const Answer answer(
      "ObjUtil_Create",
      {Identifier(cid), ToJson(ufn), ToJson(haMetaData), ToJson(policy), allocType, size,
       capabilities, ignoreExtAttr, Identifier(groupUuid), objClass, Identifier(uuid)});
  std::string created;
  answer.Out("uuid", created);
  std::copy(created.begin(), created.end(), uuid);
  return answer.Returns(0);
}

std::int32_t ObjUtil_Delete(const std::uint8_t* cid, const std::uint8_t* uuid, bool force,
                            void* reserved0, void* reserved1) {
  return Answer("ObjUtil_Delete", {Identifier(cid), Identifier(uuid), force, reserved0 == nullptr,
                                   reserved1 == nullptr})
      .Returns(0);
}

bool ObjLib_Init() {
  const bool ready = Answer("ObjLib_Init").Returns(true);
  scripted::handedOut += ready ? 1 : 0;
  return ready;
}
void ObjLib_Exit() noexcept {
  --scripted::handedOut;
  Answer("ObjLib_Exit");
}

char* ObjLib_GetURIPrefix(int selector) {
  return NewText(Answer("ObjLib_GetURIPrefix", {selector}), "prefix");
}

// A handle is handed back with every object class that the script gives, also beside a failure.
int ObjLib_GetExtParams(const char* path, int flags, ObjLibExtParams** params) {
  const Answer answer("ObjLib_GetExtParams", {ToJson(path), flags});
  if (const json* objClass = answer.FindOut("objClass")) {
    auto* const made = new Params;
    made->objClass = made->its.objClass = *objClass;
    made->descriptor = &made->its;
    LiveParams().insert(made);
    *params = made;
  }
  return answer.Returns(0);
}

void ObjLib_FreeExtParams(ObjLibExtParams** params) noexcept {
  if (LiveParams().erase(*params) == 0) {
    const Answer unknown("ObjLib_FreeExtParams", {"not handed out"});
    return;
  }
  const Answer released("ObjLib_FreeExtParams", {(*params)->objClass});
  delete static_cast<Params*>(*params);
  *params = nullptr;
}

char* DDBGet(ObjDescriptor* descriptor, const char* key) {
  return NewText(Answer("DDBGet", {descriptor->objClass, ToJson(key)}), key);
}

namespace ZelCtl::Quelt {

int QueltUtil::IsObjectAccessible(QUELTUUID cluster, QUELTUUID uuid, char* accessible) {
  const Answer answer("IsObjectAccessible", {Identifier(cluster.bytes), Identifier(uuid.bytes)});
  *accessible = 1;
  answer.Out("accessible", *accessible);
  return answer.Returns(0);
}

void QueltUtil::GetCapacityAndFSOverheadFromNorim(
    QUELTUUID host, unsigned long* physicalCapacity, unsigned long* physicalUsed,
    unsigned long* logicalCapacity, unsigned long* logicalUsed, unsigned long* dedupMetadataSize,
    unsigned long* logicalFSOverhead, unsigned long* blkAttrOverhead, unsigned long* transientSpace,
    unsigned long* physicalTransientSpace) {
  const Answer answer("GetCapacityAndFSOverheadFromNorim", {Identifier(host.bytes)});
  unsigned long* const figures[] = {physicalCapacity, physicalUsed,      logicalCapacity,
                                    logicalUsed,      dedupMetadataSize, logicalFSOverhead,
                                    blkAttrOverhead,  transientSpace,    physicalTransientSpace};
  if (const json* given = answer.FindOut("figures")) {
    for (std::size_t i = 0; i < given->size(); ++i) {
      *figures[i] = given->at(i);
    }
  }
}

}  // namespace ZelCtl::Quelt

namespace scripted {

std::uint8_t ScriptedHostSystem::GetOqtaMaxDiskVersion() {
  return Answer("GetOqtaMaxDiskVersion").Returns<std::uint8_t>(0);
}

void ScriptedHostSystem::UpgradeDiskGroupFormatVersion(const std::string& diskGroup) {
  Answer("UpgradeDiskGroupFormatVersion", {ToJson(diskGroup)});
}

void ScriptedHostSystem::GetT1DiskInfoMap(
    std::unordered_map<std::string, std::unordered_map<std::string, int>>& facts) {
  const Answer answer("GetT1DiskInfoMap");
  if (const json* disks = answer.FindOut("disks")) {
    for (const json& disk : *disks) {
      auto& its = facts[ToBytes(disk.at(0))];
      for (const json& fact : disk.at(1)) {
        its.emplace(ToBytes(fact.at(0)), fact.at(1).get<int>());
      }
    }
  }
}

}  // namespace scripted
