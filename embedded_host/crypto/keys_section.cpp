// The scenario keys "kekId", "hostKeyId" and "keys" (the key cache).
#include "embedded_host/crypto/key_cache.h"
#include "embedded_host/crypto/sections.h"
#include "embedded_host/store/settings.h"
#include "embedded_host/text/hexadecimal.h"

namespace quelt {

using nlohmann::json;

namespace {

constexpr std::string_view kKeys[] = {"kekId", "hostKeyId", "keys"};
constexpr const char* kIdentifiers[] = {"kekId", "hostKeyId"};

void Load(Connection& db, const Node& root) {
  for (const char* name : kIdentifiers) {
    if (const auto identifier = root.Find(name)) {
      PutSetting(db, name, identifier->Text());
    }
  }
  if (const auto keys = root.Find("keys")) {
    for (const Node& key : keys->Items()) {
      key.AllowOnly({"id", "attribute", "key"});
      const Node id = key.At("id");
      if (HasKey(db, id.Text())) {
        id.Fail("an id that no other key has");
      }
      PutKey(db, id.Text(), key.TextOr("attribute", ""), key.At("key").Hex(0, kMaxKeySize));
    }
  }
}

void Dump(Connection& db, bool withSecrets, json& document) {
  for (const char* name : kIdentifiers) {
    if (const auto identifier = FindSetting(db, name)) {
      document[name] = *identifier;
    }
  }
  if (!withSecrets) {
    if (db.Query("SELECT 1 FROM cached_key").Next()) {
      OmitSecret(document, "/keys");
    }
    return;
  }
  Rows rows = db.Query("SELECT id, attribute, key FROM cached_key ORDER BY id");
  while (rows.Next()) {
    const Bytes key = rows.Blob(2);
    document["keys"].push_back({{"id", rows.Text(0)},
                                {"attribute", rows.Text(1)},
                                {"key", HexText(key.data(), key.size())}});
  }
}

}  // namespace

const Section kKeysSection = {kKeys, Load, Dump};

}  // namespace quelt
