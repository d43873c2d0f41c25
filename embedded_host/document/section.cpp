#include "embedded_host/document/section.h"

#include <utility>

namespace quelt {

using nlohmann::json;

namespace {

bool Contains(const json& document, const Node& entry) {
  try {
    if (const json::json_pointer pointer(entry.Text()); !pointer.empty()) {
      return document.contains(pointer);
    }
  } catch (const json::exception&) {
    // not a JSON pointer, or one with an array index out of range
  }
  entry.Fail("a JSON pointer such as \"/keys\"");
}

}  // namespace

void OmitSecret(json& document, std::string pointer) {
  document[kSecretsOmitted].push_back(std::move(pointer));
}

std::vector<std::string> MissingSecrets(const json& document) {
  std::vector<std::string> missing;
  if (const auto omitted = Node(document, "").Find(kSecretsOmitted)) {
    for (const Node& entry : omitted->Items()) {
      if (!Contains(document, entry)) {
        missing.push_back(entry.Text());
      }
    }
  }
  return missing;
}

}  // namespace quelt
