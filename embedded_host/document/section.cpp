#include "embedded_host/document/section.h"

#include <utility>

namespace quelt {

using nlohmann::json;

namespace {

bool Contains(const json& document, const Node& place) {
  try {
    if (const json::json_pointer pointer(place.Text()); !pointer.empty()) {
      return document.contains(pointer);
    }
  } catch (const json::exception&) {
    // not a pointer, or to an array's item beyond any size
  }
  place.Fail("a JSON pointer such as \"/keys\"");
}

}  // namespace

void OmitSecret(json& document, std::string place) {
  document[kSecretsOmitted].push_back(std::move(place));
}

std::vector<std::string> MissingSecrets(const json& document) {
  std::vector<std::string> missing;
  if (const auto omitted = Node(document, "").Find(kSecretsOmitted)) {
    for (const Node& place : omitted->Items()) {
      if (!Contains(document, place)) {
        missing.push_back(place.Text());
      }
    }
  }
  return missing;
}

}  // namespace quelt
