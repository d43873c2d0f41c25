#include "embedded_host/store/settings.h"

namespace quelt {

std::optional<std::string> FindSetting(Connection& db, const char* name) {
  Rows rows = db.Query("SELECT value FROM setting WHERE name = ?", name);
  return rows.Next() ? std::optional(rows.Text(0)) : std::nullopt;
}

bool FindSetting(Connection& db, const char* name, std::string& value) {
  Rows rows = db.Query("SELECT value FROM setting WHERE name = ?", name);
  const bool found = rows.Next();
  if (found) {
    const Bytes text = rows.Blob(0);
    value.assign(text.begin(), text.end());
  }
  return found;
}

void PutSetting(Connection& db, const char* name, const std::string& value) {
  db.Execute("INSERT OR REPLACE INTO setting (name, value) VALUES (?, ?)", name, value);
}

}  // namespace quelt
