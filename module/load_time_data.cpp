#include "module/load_time_data.h"

// The order of the definitions is the order of construction.
// NOLINTBEGIN(cert-err58-cpp): if memory runs out here, the module fails to load.

namespace pyquelt {

const std::string kStorageTrafficType = "quelt";
const std::string kCatchAllTrafficType = "all";

namespace {

std::unordered_map<IruConfigStore::CSErrorCodes, const char*> BuildConfigStoreMessages() {
  std::unordered_map<IruConfigStore::CSErrorCodes, const char*> messages;
  messages.reserve(kConfigStoreErrorRows.size());
  for (const ConfigStoreErrorRow& row : kConfigStoreErrorRows) {
    // emplace keeps the first message of a code.
    messages.emplace(row.code, row.message);
  }
  return messages;
}

}  // namespace
}  // namespace pyquelt

const std::unordered_map<IruConfigStore::CSErrorCodes, const char*> CSErrorMessages =
    pyquelt::BuildConfigStoreMessages();

// NOLINTEND(cert-err58-cpp)
