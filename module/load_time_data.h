// Data that is built when the module is loaded and destroyed when it is unloaded.
//
// All of it lives in one source file, because the order matters: the traffic types are built
// first and destroyed last, and between two files there is no such order.
//
// Thread safety: never changed after load; any thread may read it, with or without the
// interpreter lock. Nothing here needs the interpreter.
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
