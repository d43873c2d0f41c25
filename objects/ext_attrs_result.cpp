// GetObjectExtAttrs: a dictionary of the objects' extended attributes by the caller's UUID texts.
#include "module/call_frame.h"
#include "module/py_ref.h"
#include "module/result_dict.h"
#include "module/text_list.h"
#include "objects/ext_attrs.h"
#include "objects/functions.h"

namespace pyquelt {

namespace {

constexpr char kItemFailure[] = "PyDict_SetItemString failed with key:";
constexpr ResultTexts kTexts = {"PyDict_New failed!", kItemFailure, kItemFailure, true};

PyObject* NewAttrsDict(const ObjectExtAttrs& attrs) {
  ResultDict dict(kTexts);
  dict.Set<"ufn">(attrs.ufn);
  dict.Set<"objPath">(attrs.objPath);
  dict.Set<"objClass">(attrs.objClass);
  return dict.Release();
}

PyObject* NewAttrsByUuid(const std::vector<ObjectExtAttrs>& records) {
  ResultDict result(kTexts);
  for (const ObjectExtAttrs& record : records) {
    if (result.failed()) {
      break;
    }
    const PyRef attrs(NewAttrsDict(record));
    if (!attrs) {
      return nullptr;
    }
    result.SetUnderData(record.uuid.c_str(), attrs);
  }
  return result.Release();
}

}  // namespace

PyObject* PyGetObjectExtAttrs(ListObject uuids) {
  const auto rule =
      OnCtlException(PyExc_RuntimeError, "Failed to get objects extended attributes: ");
  std::vector<std::string> texts;
  bool parsed = false;
  if (!RunWithGil(rule, [&] { parsed = AppendTexts(uuids.list, texts); })) {
    return nullptr;
  }
  if (!parsed) {
    return Raise(PyExc_RuntimeError, "Unable to parse object uuids");
  }
  if (texts.empty()) {
    return Raise(PyExc_RuntimeError, "object uuids parameter is required");
  }
  std::vector<ObjectExtAttrs> records;
  return CallPlatform(
      rule, [&] { ReadObjectExtAttrs(texts, records); }, [&] { return NewAttrsByUuid(records); });
}

}  // namespace pyquelt
