// Creating and deleting storage objects. The object library returns a kernel status.
#include <cstdint>

#include "module/call_frame.h"
#include "module/constants.h"
#include "module/keyword_arguments.h"
#include "module/status_texts.h"
#include "objects/functions.h"
#include "objects/identifier_text.h"
#include "platform/object_library.h"

namespace pyquelt {

namespace {

PyObject* RaiseStatus(std::int32_t status) {
  return Raise(PyExc_RuntimeError, ZEL_ReturnStatusToString(status));
}

/// The arguments of CreateObject. A text that is not given is null, an identifier zeros.
struct NewObject {
  const char* ufn = nullptr;
  const char* haMetaData = nullptr;
  const char* policy = nullptr;
  int allocType = OBJ_ALLOC_TYPE_THIN;
  unsigned long size = 0;  // bytes
  int capabilities = -1;
  int ignoreExtAttr = 0;
  Identifier group{};
  int objClass = NORIM_EXTATTR_OBJTYPE_CLASS_VDISK;
  Identifier cid{};
};

/// False with an error set.
bool ParseNewObject(KeywordArguments& arguments, NewObject& object) {
  static const char* const kNames[] = {"ufn",      "haMetaData",   "policy",        "allocType",
                                       "size",     "capabilities", "ignoreExtAttr", "groupUuid",
                                       "objClass", "cid",          nullptr};
  const char* group = nullptr;
  const char* cid = nullptr;
  if (!arguments.Parse("|$sssikipsis", kNames, &object.ufn, &object.haMetaData, &object.policy,
                       &object.allocType, &object.size, &object.capabilities, &object.ignoreExtAttr,
                       &group, &object.objClass, &cid)) {
    return false;  // the parser's own exception stays
  }
  if (group != nullptr && !ObjectUuidText::Read(group, object.group)) {
    Raise(PyExc_ValueError, "could not parse groupUuid");
    return false;
  }
  if (cid != nullptr && !CidText::Read(cid, object.cid)) {
    Raise(PyExc_ValueError, "could not parse cid");
    return false;
  }
  return true;
}

PyObject* CreateObject(KeywordArguments& arguments) {
  NewObject object;
  if (!ParseNewObject(arguments, object)) {
    return nullptr;
  }
  std::int32_t status = 0;
  Identifier uuid{};
  return CallPlatform(
      kOnNoException,
      [&] {
        status = ObjUtil_Create(object.cid.data(), object.ufn, object.haMetaData, object.policy,
                                object.allocType, object.size, object.capabilities,
                                object.ignoreExtAttr != 0, object.group.data(), object.objClass,
                                uuid.data());
      },
      [&] {
        return status != 0 ? RaiseStatus(status)
                           : PyUnicode_FromString(ObjectUuidText::Write(uuid).c_str());
      });
}

PyObject* DeleteObject(KeywordArguments& arguments) {
  static const char* const kNames[] = {"uuid", "force", "cid", nullptr};
  const char* uuidText = nullptr;
  int force = 0;
  const char* cidText = nullptr;
  if (!arguments.Parse("s|$ps", kNames, &uuidText, &force, &cidText)) {
    return nullptr;  // the parser's own exception stays
  }
  Identifier uuid{};
  Identifier cid{};
  if (!ObjectUuidText::Read(uuidText, uuid)) {
    return Raise(PyExc_ValueError, "could not parse uuid: ", uuidText);
  }
  if (cidText != nullptr && !CidText::Read(cidText, cid)) {
    return Raise(PyExc_ValueError, "could not parse cid: ", cidText);
  }
  std::int32_t status = 0;
  return CallPlatform(
      kOnNoException,
      [&] { status = ObjUtil_Delete(cid.data(), uuid.data(), force != 0, nullptr, nullptr); },
      [&] { return status != 0 ? RaiseStatus(status) : NewNone(); });
}

}  // namespace

PyObject* PyCreateObject(PyObject*, PyObject* args, PyObject* keywords) {
  return CallWithKeywords(args, keywords, &CreateObject);
}

PyObject* PyDeleteObject(PyObject*, PyObject* args, PyObject* keywords) {
  return CallWithKeywords(args, keywords, &DeleteObject);
}

}  // namespace pyquelt
