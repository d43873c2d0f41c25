// The key cache: key material by key id. Every function runs inside the caller's transaction.
#pragma once

#include <cstring>
#include <optional>
#include <string>

#include "embedded_host/crypto/secret_bytes.h"
#include "embedded_host/store/connection.h"

namespace quelt {

/// The longest key, in bytes.
inline constexpr std::size_t kMaxKeySize = 4096;

/// Stores `key` under `id` and replaces a previous key. A key may be empty.
void PutKey(Connection& db, const std::string& id, const std::string& attribute, Bytes key);

/// False when there is no such key.
bool RemoveKey(Connection& db, const std::string& id);

/// Calls `read(Bytes)` with the key under `id`, without copying it; false when there is none.
template <typename Read>
bool ReadKey(Connection& db, const std::string& id, Read&& read) {
  Rows rows = db.Query("SELECT key FROM cached_key WHERE id = ?", id);
  if (!rows.Next()) {
    return false;
  }
  read(rows.Blob(0));
  return true;
}

inline bool HasKey(Connection& db, const std::string& id) {
  return ReadKey(db, id, [](Bytes) {});
}

/// Copies the key under `id` if it has exactly this size. Returns the size of the stored key;
/// nothing when there is none.
template <std::size_t Size>
std::optional<std::size_t> CopyKey(Connection& db, const std::string& id, SecretBytes<Size>& key) {
  std::optional<std::size_t> size;
  ReadKey(db, id, [&](Bytes stored) {
    size = stored.size();
    if (size == Size) {
      std::memcpy(key.data(), stored.data(), Size);
    }
  });
  return size;
}

/// Copies the KEK under `kekId`. Throws QueltCtlException when there is none or its size is wrong.
void LoadKek(Connection& db, const std::string& kekId, Kek& kek);

}  // namespace quelt
