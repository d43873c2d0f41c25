#include "module/field_key.h"

namespace pyquelt {

PyObject* CreateFieldKey(std::atomic<PyObject*>& key, const char* text, std::size_t size) {
  PyObject* const created = PyUnicode_FromStringAndSize(text, static_cast<Py_ssize_t>(size));
  if (created == nullptr) {
    return nullptr;
  }
  PyObject_Hash(created);  // stores the hash in the str, which is never written after this
  PyObject* published = nullptr;
  if (!key.compare_exchange_strong(published, created, std::memory_order_acq_rel)) {
    Py_DECREF(created);
    return published;
  }
  return created;
}

}  // namespace pyquelt
