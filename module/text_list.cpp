#include "module/text_list.h"

namespace pyquelt {

bool AppendTexts(PyObject* list, std::vector<std::string>& texts) {
  const ListItems items(list);
  if (!items.valid()) {
    return false;
  }
  texts.reserve(texts.size() + static_cast<std::size_t>(items.size()));
  for (Py_ssize_t i = 0; i < items.size(); ++i) {
    Py_ssize_t length = 0;
    const char* const text = PyUnicode_AsUTF8AndSize(items[i], &length);
    if (text == nullptr) {
      return false;
    }
    texts.emplace_back(text, static_cast<std::size_t>(length));
  }
  return true;
}

}  // namespace pyquelt
