// Creates the host's state (the file, its tables and their initial content) and removes it.
//
// The initial content comes from a layer above the store, which registers a callback, the seed.
#pragma once

#include "embedded_host/store/connection.h"
#include "embedded_host/store/environment.h"

namespace quelt {

/// Fills the empty tables of a new state. Called inside a write transaction; throws to cancel the
/// creation.
using Seed = void (*)(Connection& db);

/// Sets the seed of every state that this process creates. Called while the library is loaded,
/// before any other thread exists. Without a seed, a new state is empty.
void SetSeed(Seed seed);

/// Creates the tables of a new state and seeds them. Throws QueltCtlException, SQLite::Exception or
/// what the seed throws.
void FillNewState(Connection& db);

/// Creates the state file, and its folder, with access for the owner only. The file is complete
/// when it appears. Several processes may call this at the same time: one creates the file, the
/// others use it. Throws QueltCtlException.
void CreateState(const StorePlace& place);

/// Removes the state file; the next use creates a new one. Throws QueltCtlException.
void RemoveState(const StorePlace& place);

}  // namespace quelt
