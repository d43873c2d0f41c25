// The key cache: key material by key id. Inside a transaction of the caller.
#pragma once

#include <string>

#include "embedded_host/crypto/secret_bytes.h"
#include "embedded_host/store/connection.h"

namespace quelt {

/// The longest key, in bytes.
inline constexpr std::size_t kLongestKey = 4096;

/// Stores `key` under `id`, in place of any other. An empty key is a key.
void PutKey(Connection& db, const std::string& id, const std::string& attribute, Bytes key);

/// False when there was none.
bool RemoveKey(Connection& db, const std::string& id);

/// Gives the key under `id` to `use(Bytes)`; false when there is none.
template <typename Use>
bool UseKey(Connection& db, const std::string& id, Use&& use) {
  Rows rows = db.Query("SELECT key FROM cached_key WHERE id = ?", id);
  if (!rows.Next()) {
    return false;
  }
  use(rows.Blob(0));
  return true;
}

/// The key-encryption key under `kekId`. Throws when there is none or it has another length.
void LoadKek(Connection& db, const std::string& kekId, Kek& kek);

}  // namespace quelt
