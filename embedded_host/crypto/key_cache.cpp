#include "embedded_host/crypto/key_cache.h"

#include <algorithm>

#include "embedded_host/operation/operation.h"
#include "platform/exception.h"
#include "platform/quelt_util.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

void PutKey(Connection& db, const std::string& id, const std::string& attribute, Bytes key) {
  db.Execute("INSERT OR REPLACE INTO cached_key (id, attribute, key) VALUES (?, ?, ?)", id,
             attribute, key);
}

bool RemoveKey(Connection& db, const std::string& id) {
  return db.Execute("DELETE FROM cached_key WHERE id = ?", id) != 0;
}

void LoadKek(Connection& db, const std::string& kekId, Kek& kek) {
  const std::optional<std::size_t> size = CopyKey(db, kekId, kek);
  if (!size) {
    throw QueltCtlException("KEK \"" + kekId + "\" is not in the key cache");
  }
  if (*size != Kek::size()) {
    throw QueltCtlException("KEK \"" + kekId + "\" has " + std::to_string(*size) +
                            " bytes; a KEK has " + std::to_string(Kek::size()));
  }
}

namespace {

[[noreturn]] void ThrowNoKey(const std::string& id) {
  throw QueltCtlException("Key \"" + id + "\" is not in the key cache");
}

}  // namespace

}  // namespace quelt

namespace ZelCtl::Quelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using quelt::Bytes;
using quelt::Connection;
using quelt::FailureAnswer;
using quelt::Operation;
using quelt::Secret;

void QueltUtil::AddKeyToKeyCache(const char* id, const char* attribute, const char* key,
                                 int length) {
  const Bytes bytes(reinterpret_cast<const std::uint8_t*>(key), static_cast<std::size_t>(length));
  Operation("AddKeyToKeyCache",
            {{"id", id}, {"attribute", attribute}, {"key", Secret(bytes.size())}})
      .Write([&](Connection& db) {
        if (bytes.size() > quelt::kMaxKeySize) {
          throw QueltCtlException("Key \"" + std::string(id) + "\" has " +
                                  std::to_string(bytes.size()) + " bytes; the key cache takes " +
                                  std::to_string(quelt::kMaxKeySize));
        }
        quelt::PutKey(db, id, attribute, bytes);
      });
}

void QueltUtil::RemoveKeyFromKeyCache(const char* id) {
  Operation("RemoveKeyFromKeyCache", {{"id", id}}).Write([&](Connection& db) {
    if (!quelt::RemoveKey(db, id)) {
      quelt::ThrowNoKey(id);
    }
  });
}

void QueltUtil::RetrieveKeyFromKeyCache(const char* id, unsigned char* buffer,
                                        unsigned int capacity, unsigned int& length) {
  Operation("RetrieveKeyFromKeyCache", {{"id", id}, {"capacity", std::int64_t{capacity}}})
      .Read([&](Connection& db) {
        const bool found = quelt::ReadKey(db, id, [&](Bytes key) {
          if (key.size() > capacity) {
            throw QueltCtlException("Key \"" + std::string(id) + "\" has " +
                                    std::to_string(key.size()) + " bytes; the buffer takes " +
                                    std::to_string(capacity));
          }
          std::copy(key.begin(), key.end(), buffer);
          length = static_cast<unsigned int>(key.size());
        });
        if (!found) {
          quelt::ThrowNoKey(id);
        }
      });
}

bool QueltUtil::LookupKeyInKeyCache(const char* id) {
  return Operation("LookupKeyInKeyCache", {{"id", id}})
      .Read([&](Connection& db) { return quelt::HasKey(db, id); }, FailureAnswer(false));
}

}  // namespace ZelCtl::Quelt
