// The host's key cache: adding, removing and reading a key. The module makes no copy of key
// material on the heap: the cache reads the argument's own bytes, and a key that is read stays in a
// fixed buffer until the result is created.
#include "crypto/functions.h"
#include "module/call_frame.h"
#include "platform/exception.h"
#include "platform/quelt_util.h"
#include "platform/secret_bytes.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using ZelCtl::Quelt::QueltUtil;

PyObject* PyCacheKey(const char* keyId, const char* attribute, KeyView key) {
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { QueltUtil::AddKeyToKeyCache(keyId, attribute, key.data, key.size); },
      [] { return NewNone(); });
}

PyObject* PyRemoveKey(const char* keyId) {
  return CallPlatform(
      OnStdException(PyExc_ValueError), [&] { QueltUtil::RemoveKeyFromKeyCache(keyId); },
      [] { return NewNone(); });
}

PyObject* PyGetKeyFromKeyCache(const char* keyId) {
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
