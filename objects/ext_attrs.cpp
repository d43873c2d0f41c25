#include "objects/ext_attrs.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>

#include "module/exception_text.h"
#include "objects/identifier_text.h"
#include "platform/exception.h"
#include "platform/object_library.h"
#include "platform/quelt_util.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using ZelCtl::Quelt::QueltUtil;

namespace {

/// Selects the prefix of object paths.
constexpr int kObjectPathPrefix = 3;

/// The object library, open from construction to destruction.
class LibrarySession {
 public:
  LibrarySession() {
    if (!ObjLib_Init()) {
      throw QueltCtlException("ObjLib_Init failed");
    }
  }
  LibrarySession(const LibrarySession&) = delete;
  LibrarySession& operator=(const LibrarySession&) = delete;
  ~LibrarySession() { ObjLib_Exit(); }
};

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
/// A text that the object library allocated.
using LibraryText = std::unique_ptr<char, FreeText>;

/// An object's extended parameters. Frees a handle that the library returned with a failure too.
class ExtParams {
 public:
  ExtParams() = default;
  ExtParams(const ExtParams&) = delete;
  ExtParams& operator=(const ExtParams&) = delete;
  ~ExtParams() {
    if (params_ != nullptr) {
      ObjLib_FreeExtParams(&params_);
    }
  }

  // Not done by the constructor: if the library fails after it allocated, the destructor must run.
  bool Read(const std::string& path) {
    return ObjLib_GetExtParams(path.c_str(), 0, &params_) == 0 && params_ != nullptr;
  }
  const ObjLibExtParams* operator->() const { return params_; }

 private:
  ObjLibExtParams* params_ = nullptr;
};

std::string TextOrEmpty(const LibraryText& text) { return text ? text.get() : ""; }

bool IsAccessible(const Identifier& identifier) {
  QUELTUUID uuid{};
  std::copy(identifier.begin(), identifier.end(), uuid.bytes);
  char accessible = 0;
  return QueltUtil::IsObjectAccessible(QUELTUUID{}, uuid, &accessible) == 0 && accessible != 0;
}

/// Appends the object's record, or nothing when the object does not qualify.
void ReadObject(const char* prefix, const std::string& uuid, std::vector<ObjectExtAttrs>& records) {
  Identifier identifier{};
  if (!ObjectUuidText::Read(uuid.c_str(), identifier) || !IsAccessible(identifier)) {
    return;
  }
  ExtParams params;
  if (!params.Read(prefix + uuid)) {
    return;
  }
  const LibraryText ufn(DDBGet(params->descriptor, "quelt.FriendlyName"));
  const LibraryText objPath(DDBGet(params->descriptor, "quelt.objPath"));
  records.push_back({params->objClass, uuid, TextOrEmpty(objPath), TextOrEmpty(ufn)});
}

}  // namespace

void ReadObjectExtAttrs(const std::vector<std::string>& uuids,
                        std::vector<ObjectExtAttrs>& records) {
  records.reserve(uuids.size());
  const LibrarySession session;
  const LibraryText prefix(ObjLib_GetURIPrefix(kObjectPathPrefix));
  if (!prefix) {
    throw QueltCtlException("Failed to get quelt URI prefix");
  }
  try {
    for (const std::string& uuid : uuids) {
      ReadObject(prefix.get(), uuid, records);
    }
  } catch (const std::exception& failure) {
    throw QueltCtlException(std::string("Failed to GetObjectExtAttrs: ") + TextOf(failure));
  }
}

}  // namespace pyquelt
