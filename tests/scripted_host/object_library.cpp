// The handles of the object layer. The script identifies extended parameters by their object class.
#include "platform/object_library.h"

#include "tests/scripted_host/script.h"

using scripted::Answer;

/// Extended parameters, and their own descriptor.
struct ObjDescriptor : ObjLibExtParams, scripted::LiveObject {};

bool ObjLib_Init() {
  const bool ready = Answer("ObjLib_Init").Returns(true);
  scripted::liveObjects += ready ? 1 : 0;
  return ready;
}
void ObjLib_Exit() noexcept {
  --scripted::liveObjects;
  scripted::RecordRelease("ObjLib_Exit");
}

// Returns a handle if the script has an object class, also together with a failure.
int ObjLib_GetExtParams(const char* path, int flags, ObjLibExtParams** params) {
  const Answer answer("ObjLib_GetExtParams", path, flags);
  if (answer.HasOutput("objClass")) {
    auto* const made = new ObjDescriptor;
    made->descriptor = made;
    *params = made;
    answer.Out("objClass", made->objClass);
  }
  return answer.Returns(0);
}

void ObjLib_FreeExtParams(ObjLibExtParams** params) noexcept {
  scripted::RecordRelease("ObjLib_FreeExtParams", (*params)->objClass);
  delete static_cast<ObjDescriptor*>(*params);
  *params = nullptr;
}

char* DDBGet(ObjDescriptor* descriptor, const char* key) {
  char* text = nullptr;
  Answer("DDBGet", descriptor->objClass, key).Out(key, text);
  return text;
}
