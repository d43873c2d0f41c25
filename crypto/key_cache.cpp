// The host's key cache. Key material goes to the cache straight from the argument's own storage,
// and comes from a fixed area of the call straight into the result.
#include <limits>

#include "crypto/functions.h"
#include "module/call_frame.h"
#include "module/secret_area.h"
#include "platform/exception.h"
#include "platform/quelt_util.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using ZelCtl::Quelt::QueltUtil;

PyObject* PyCacheKey(PyObject*, PyObject* args) {
  const char* id = nullptr;
  const char* attribute = nullptr;
  const char* key = nullptr;
  Py_ssize_t length = 0;
  if (!PyArg_ParseTuple(args, "sss#", &id, &attribute, &key, &length) ||
      length > std::numeric_limits<int>::max()) {
    return Raise(PyExc_RuntimeError, "Unable to parse input key");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { QueltUtil::AddKeyToKeyCache(id, attribute, key, static_cast<int>(length)); },
      [] { return NewNone(); });
}

PyObject* PyRemoveKey(PyObject*, PyObject* args) {
  const char* id = nullptr;
  if (!PyArg_ParseTuple(args, "s", &id)) {
    return Raise(PyExc_RuntimeError, "Unable to parse input key id");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError), [&] { QueltUtil::RemoveKeyFromKeyCache(id); },
      [] { return NewNone(); });
}

PyObject* PyGetKeyFromKeyCache(PyObject*, PyObject* args) {
  const char* id = nullptr;
  if (!PyArg_ParseTuple(args, "s", &id)) {
    return Raise(PyExc_RuntimeError, "Unable to parse input KEK id");
  }
  SecretArea<4096> key;
  unsigned int length = 0;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        QueltUtil::RetrieveKeyFromKeyCache(id, key.data(), key.size(), length);
        if (length > key.size()) {
          throw QueltCtlException("Key does not fit the buffer");
        }
      },
      [&] { return PyBytes_FromStringAndSize(key.chars(), static_cast<Py_ssize_t>(length)); });
}

}  // namespace pyquelt
