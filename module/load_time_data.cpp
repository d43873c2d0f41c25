#include "module/load_time_data.h"

// The definitions stand in the order in which they must be built.
// NOLINTBEGIN(cert-err58-cpp): with no memory at load there is no module.

namespace pyquelt {

const std::string kStorageTrafficType = "quelt";
const std::string kCatchAllTrafficType = "all";

namespace {

std::unordered_map<IruConfigStore::CSErrorCodes, const char*> BuildConfigStoreMessages() {
  std::unordered_map<IruConfigStore::CSErrorCodes, const char*> messages;
  messages.reserve(kConfigStoreErrorRows.size());
  for (const ConfigStoreErrorRow& row : kConfigStoreErrorRows) {
    // emplace, not assignment: the first message of a code stays.
    messages.emplace(row.code, row.message);
  }
  return messages;
}

}  // namespace
}  // namespace pyquelt

const std::unordered_map<IruConfigStore::CSErrorCodes, const char*> CSErrorMessages =
    pyquelt::BuildConfigStoreMessages();

// NOLINTEND(cert-err58-cpp)
