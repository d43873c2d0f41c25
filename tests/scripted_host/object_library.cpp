// The object layer. The script identifies extended parameters by their object class.
#include "platform/object_library.h"

#include <set>

#include "tests/scripted_host/script.h"

using scripted::Answer;

struct ObjDescriptor {
  std::int32_t objClass;
};

namespace {

struct Params : ObjLibExtParams, scripted::LiveObject {
  ObjDescriptor ownDescriptor{};
};

/// Parameters that are not released yet.
std::set<ObjLibExtParams*>& LiveParams() {
  static auto* const live = new std::set<ObjLibExtParams*>;
  return *live;
}

scripted::json Identifier(const std::uint8_t* bytes) {
  return bytes == nullptr ? scripted::json() : scripted::Bytes(bytes, 16);
}

}  // namespace

std::int32_t ObjUtil_Create(const std::uint8_t* cid, const char* ufn, const char* haMetaData,
                            const char* policy, std::int32_t allocType, std::uint64_t size,
                            std::int32_t capabilities, bool ignoreExtAttr,
                            const std::uint8_t* groupUuid, std::int32_t objClass,
                            std::uint8_t* uuid) {
  return Answer("ObjUtil_Create", Identifier(cid), ufn, haMetaData, policy, allocType, size,
                capabilities, ignoreExtAttr, Identifier(groupUuid), objClass, Identifier(uuid))
      .Out("uuid", uuid)
      .Returns(0);
}

std::int32_t ObjUtil_Delete(const std::uint8_t* cid, const std::uint8_t* uuid, bool force,
                            void* reserved0, void* reserved1) {
  return Answer("ObjUtil_Delete", Identifier(cid), Identifier(uuid), force, reserved0 == nullptr,
                reserved1 == nullptr)
      .Returns(0);
}

bool ObjLib_Init() {
  const bool ready = Answer("ObjLib_Init").Returns(true);
  scripted::liveObjects += ready ? 1 : 0;
  return ready;
}
void ObjLib_Exit() noexcept {
  --scripted::liveObjects;
  scripted::RecordRelease("ObjLib_Exit");
}

char* ObjLib_GetURIPrefix(int selector) {
  return Answer("ObjLib_GetURIPrefix", selector).NewText("prefix");
}

// Returns a handle if the script has an object class, also together with a failure.
int ObjLib_GetExtParams(const char* path, int flags, ObjLibExtParams** params) {
  const Answer answer("ObjLib_GetExtParams", path, flags);
  if (answer.HasOutput("objClass")) {
    auto* const made = new Params;
    LiveParams().insert(made);
    *params = made;
    answer.Out("objClass", made->objClass);
    made->ownDescriptor.objClass = made->objClass;
    made->descriptor = &made->ownDescriptor;
  }
  return answer.Returns(0);
}

void ObjLib_FreeExtParams(ObjLibExtParams** params) noexcept {
  if (LiveParams().erase(*params) == 0) {
    scripted::RecordRelease("ObjLib_FreeExtParams", "not live");
    return;
  }
  scripted::RecordRelease("ObjLib_FreeExtParams", (*params)->objClass);
  delete static_cast<Params*>(*params);
  *params = nullptr;
}

char* DDBGet(ObjDescriptor* descriptor, const char* key) {
  return Answer("DDBGet", descriptor->objClass, key).NewText(key);
}
