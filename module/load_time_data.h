// Data that is built when the module is loaded and destroyed when it is unloaded.
//
// One source file defines all of it, because the order matters and is undefined between files: the
// traffic types are built first and destroyed last.
//
// Thread safety: never changed after load; any thread may read it, with or without the
// GIL. Nothing here needs the interpreter.
// Ownership: the module owns everything; readers borrow.
#pragma once

#include <string>
#include <unordered_map>

#include "module/config_store_errors.h"

namespace pyquelt {

// An interface of either traffic type carries the cluster's storage traffic.
extern const std::string kStorageTrafficType;
extern const std::string kCatchAllTrafficType;

}  // namespace pyquelt

// The configuration store's message for each error code. A code that the store lists twice has
// its first message; a code that it does not list is absent.
extern const std::unordered_map<IruConfigStore::CSErrorCodes, const char*> CSErrorMessages;
