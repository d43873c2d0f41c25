// The host's key cache: adding, removing and reading a key. The module makes no copy of key
// material on the heap: the cache reads the argument's own bytes, and a key that is read stays in a
// fixed buffer until the result is created.
#include <limits>

#include "crypto/functions.h"
#include "module/call_frame.h"
#include "platform/exception.h"
#include "platform/quelt_util.h"
#include "platform/secret_bytes.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using ZelCtl::Quelt::QueltUtil;

PyObject* PyCacheKey(PyObject*, PyObject* args) {
  const char* keyId = nullptr;
  const char* attribute = nullptr;
  const char* key = nullptr;
  Py_ssize_t length = 0;
  if (!PyArg_ParseTuple(args, "sss#", &keyId, &attribute, &key, &length) ||
      length > std::numeric_limits<int>::max()) {
    return Raise(PyExc_RuntimeError, "Unable to parse input key");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { QueltUtil::AddKeyToKeyCache(keyId, attribute, key, static_cast<int>(length)); },
      [] { return NewNone(); });
}

PyObject* PyRemoveKey(PyObject*, PyObject* args) {
  const char* keyId = nullptr;
  if (!PyArg_ParseTuple(args, "s", &keyId)) {
    return Raise(PyExc_RuntimeError, "Unable to parse input key id");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError), [&] { QueltUtil::RemoveKeyFromKeyCache(keyId); },
      [] { return NewNone(); });
}

PyObject* PyGetKeyFromKeyCache(PyObject*, PyObject* args) {
  const char* keyId = nullptr;
  if (!PyArg_ParseTuple(args, "s", &keyId)) {
    return Raise(PyExc_RuntimeError, "Unable to parse input KEK id");
  }
  quelt::SecretBytes<4096> key;
  unsigned int length = 0;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        QueltUtil::RetrieveKeyFromKeyCache(keyId, key.data(), key.size(), length);
        if (length > key.size()) {
          throw QueltCtlException("Key does not fit the buffer");
        }
      },
      [&] { return NewBytes(key.data(), length); });
}

}  // namespace pyquelt
