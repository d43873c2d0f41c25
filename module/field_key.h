// The key objects of the field names in result dictionaries. GIL held.
//
// A key is created at its first use, once per process, and never freed: creating, hashing and
// freeing it for every result would cost more than the rest of a small dictionary. All threads use
// the same key, and all interpreters of the process: those that import the module share the GIL and
// the memory of objects. It is not interned, because each interpreter has its own interned texts.
//
// A failed creation is tried again at the next use.
#pragma once

#include <atomic>
#include <cstddef>

#include "module/fixed_text.h"
#include "module/interpreter.h"

namespace pyquelt {

/// Creates the str of `size` bytes at `text` and publishes it in `key`, which is null. If another
/// thread was faster, its str is the key. Borrowed; null with an error set.
PyObject* CreateFieldKey(std::atomic<PyObject*>& key, const char* text, std::size_t size);

/// The key of the field `kName`: one for each text, however many functions use it.
template <FixedText kName>
class FieldKey {
 public:
  /// Borrowed; null with an error set.
  static PyObject* Get() {
    PyObject* const key = key_.load(std::memory_order_acquire);
    return key != nullptr ? key : CreateFieldKey(key_, kName.text, sizeof(kName.text) - 1);
  }

 private:
  static inline std::atomic<PyObject*> key_{nullptr};
};

}  // namespace pyquelt
