// A disk's records, read by the module's functions in an interpreter: for any content of the
// records a call returns their values or raises the documented exception.
#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <cstring>
#include <string>

#include "platform/quelt_util.h"
#include "tests/fuzz/fuzz.h"

extern "C" PyObject* PyInit_pyquelt();

/// The interpreter is not finalised: memory that it still holds at exit is not a leak.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "detect_leaks=0";
}

namespace {

ENCR_Metadata the_metadata;
ENCR_Metadata_AWS the_aws;

PyObject* TheModule() {
  static PyObject* const module = [] {
    Require(std::string(Py_GetVersion()).rfind(PY_VERSION " ", 0) == 0,
            "the interpreter's library has the version of its headers");
    PyImport_AppendInittab("pyquelt", &PyInit_pyquelt);
    Py_InitializeEx(0);
    return PyImport_ImportModule("pyquelt");
  }();
  Require(module != nullptr, "the module imports");
  return module;
}

/// Returns the result (a new reference), or null if the function raised `error`.
PyObject* Call(const char* function, PyObject* error) {
  PyObject* const result = PyObject_CallMethod(TheModule(), function, "s", "disk");
  Require((result == nullptr) == (PyErr_Occurred() != nullptr), "a result or an exception");
  if (result == nullptr) {
    Require(PyErr_ExceptionMatches(error) != 0, function);
    PyErr_Clear();
  }
  return result;
}

void CheckWrappedDek() {
  const bool cloud = (the_metadata.flags & ENCR_FLAG_AWS_KMS) != 0;
  const std::size_t length = cloud ? the_aws.wrappedDekLength : ENCR_DEK_SIZE;
  PyObject* const dek = Call("GetWrappedDekFromDisk", PyExc_ValueError);
  Require((dek == nullptr) == (length > ENCR_AWS_DEK_MAX), "a length that fits gives a DEK");
  if (dek != nullptr) {
    const std::uint8_t* const expected = cloud ? the_aws.wrappedDek : the_metadata.wrappedDek;
    Require(PyBytes_GET_SIZE(dek) == static_cast<Py_ssize_t>(length) &&
                std::memcmp(PyBytes_AS_STRING(dek), expected, length) == 0,
            "the DEK is the record's");
    Py_DECREF(dek);
  }
}

void CheckInfo() {
  PyObject* const info = Call("GetEncInfoForDisk", PyExc_RuntimeError);
  if (info == nullptr) {
    return;
  }
  Py_ssize_t size = 0;
  const char* const text = PyUnicode_AsUTF8AndSize(PyDict_GetItemString(info, "clusterId"), &size);
  const std::size_t inRecord = strnlen(the_metadata.clusterId, sizeof the_metadata.clusterId);
  Require(PyDict_Size(info) == 6 && text != nullptr &&
              std::string_view(text, static_cast<std::size_t>(size)) ==
                  std::string_view(the_metadata.clusterId, inRecord),
          "a text ends with its field");
  Py_DECREF(info);
}

}  // namespace

namespace ZelCtl::Quelt {

void QueltUtil::GetEncMetadataForDisk(const std::string&, HostCtl::Quelt::Uuid&,
                                      ENCR_Metadata& metadata, ENCR_Metadata_AWS& aws) {
  metadata = the_metadata;
  aws = the_aws;
}

std::string QueltUtil::QueltUuidToString(const HostCtl::Quelt::Uuid&) { return "uuid"; }

bool QueltUtil::LookupKeyInKeyCache(const char*) { return true; }

}  // namespace ZelCtl::Quelt

void Check(const std::string& input) {
  std::string records = input;
  records.resize(sizeof the_metadata + sizeof the_aws);
  std::memcpy(&the_metadata, records.data(), sizeof the_metadata);
  std::memcpy(&the_aws, records.data() + sizeof the_metadata, sizeof the_aws);
  CheckInfo();
  CheckWrappedDek();
}
