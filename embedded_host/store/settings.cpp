#include "embedded_host/store/settings.h"

#include <charconv>

#include "platform/exception.h"

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

std::optional<std::uint8_t> FindNumber(Connection& db, const char* name) {
  const std::optional<std::string> text = FindSetting(db, name);
  if (!text) {
    return std::nullopt;
  }
  std::uint8_t number = 0;
  const char* const end = text->data() + text->size();
  const auto read = std::from_chars(text->data(), end, number);
  if (read.ec != std::errc() || read.ptr != end) {
    throw HostCtl::Lib::Quelt::QueltCtlException("The host's state holds no number as " +
                                                 std::string(name));
  }
  return number;
}

nlohmann::json FindJsonSetting(Connection& db, const char* name) {
  const std::optional<std::string> text = FindSetting(db, name);
  nlohmann::json value =
      text ? nlohmann::json::parse(*text, nullptr, false) : nlohmann::json::object();
  if (!value.is_object()) {
    throw HostCtl::Lib::Quelt::QueltCtlException("The host's state holds no JSON object as " +
                                                 std::string(name));
  }
  return value;
}

void PutSetting(Connection& db, const char* name, const std::string& value) {
  db.Execute("INSERT OR REPLACE INTO setting (name, value) VALUES (?, ?)", name, value);
}

}  // namespace quelt
