#include "embedded_host/operation/journal.h"

#include <unistd.h>

#include <exception>
#include <iomanip>
#include <new>
#include <nlohmann/json.hpp>
#include <sstream>

#include "embedded_host/operation/switches.h"
#include "embedded_host/store/store.h"

namespace quelt {

using nlohmann::json;
using std::chrono::duration_cast;
using std::chrono::microseconds;

namespace {

/// Truncates a longer text at a UTF-8 character boundary and appends its original size.
std::string Truncate(std::string_view text) {
  if (text.size() <= kMaxJournalTextBytes) {
    return std::string(text);
  }
  std::size_t end = kMaxJournalTextBytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
    --end;
  }
  return std::string(text.substr(0, end)) + "... (" + std::to_string(text.size()) + " bytes)";
}

struct ToJson {
  json operator()(std::string_view text) const { return Truncate(text); }
  json operator()(std::int64_t number) const { return number; }
  json operator()(std::uint64_t number) const { return number; }
  json operator()(bool flag) const { return flag; }
  json operator()(Secret secret) const { return "(" + std::to_string(secret.bytes) + " bytes)"; }
};

void Write(const JournalRecord& record) {
  Store::Instance().WriteRelaxed([&](Connection& db) {
    db.Execute(
        "INSERT INTO journal (time, process, thread, operation, arguments, outcome, message, "
        "duration) VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
        record.time, record.process, record.thread, record.operation, record.arguments,
        record.outcome, record.message, record.duration);
    db.Execute("DELETE FROM journal WHERE number <= last_insert_rowid() - ?", kMaxJournalRecords);
  });
}

}  // namespace

// Concatenates the object's text: the destructor of a json object allocates, and terminates the
// process when that fails.
std::optional<std::string> ArgumentsText(std::initializer_list<Argument> arguments) noexcept {
  try {
    std::string object;
    for (const Argument& argument : arguments) {
      const json value = std::visit(ToJson(), argument.value);
      object += (object.empty() ? "\"" : ",\"") + std::string(argument.name) + "\":" +
                // Scripts may pass text that is not UTF-8.
                value.dump(-1, ' ', false, json::error_handler_t::replace);
    }
    return "{" + object + "}";
  } catch (...) {
    return std::nullopt;
  }
}

JournalEntry::JournalEntry(OperationId operation, std::string arguments)
    : operation_(operation),
      arguments_(std::move(arguments)),
      time_(std::chrono::system_clock::now()),
      start_(std::chrono::steady_clock::now()) {}

void JournalEntry::Threw() noexcept {
  try {
    throw;
  } catch (const std::exception& failure) {
    End("threw", failure.what());
  } catch (...) {
    End("threw", "(not a standard exception)");
  }
}

std::string JournalEntry::StatusText(std::int64_t status) {
  std::ostringstream text;
  text << "status 0x" << std::hex << std::setw(8) << std::setfill('0')
       << static_cast<std::uint32_t>(status);
  return text.str();
}

void JournalEntry::End(const char* outcome, std::string_view message) noexcept {
  const auto duration = std::chrono::steady_clock::now() - start_;
  try {
    Write({0, duration_cast<microseconds>(time_.time_since_epoch()).count(), getpid(), gettid(),
           std::string(operation_.name()), arguments_, outcome, Truncate(message),
           duration_cast<microseconds>(duration).count()});
  } catch (...) {
    // The operation has ended: only the record is lost.
  }
}

void SwitchJournal(bool on) {
  ChangeSwitches([&](Connection& db) {
    db.Execute("INSERT OR REPLACE INTO switch (name, is_on) VALUES ('journal', ?)", on);
  });
}

void ClearJournal() {
  Store::Instance().Write([](Connection& db) { db.Execute("DELETE FROM journal"); });
}

std::vector<JournalRecord> JournalReader::ReadNew() {
  std::vector<JournalRecord> records = Store::Instance().Snapshot([&](Connection& db) {
    // Without its last record, the journal was cleared, or has only newer records.
    const bool continues =
        !last_time_ ||
        db.Query("SELECT 1 FROM journal WHERE number = ? AND time = ?", last_, *last_time_).Next();
    std::vector<JournalRecord> found;
    Rows rows = db.Query(
        "SELECT number, time, process, thread, operation, arguments, outcome, message, duration "
        "FROM journal WHERE number > ? ORDER BY number",
        continues ? last_ : 0);
    while (rows.Next()) {
      found.push_back({rows.Integer(0), rows.Integer(1), rows.Integer(2), rows.Integer(3),
                       rows.Text(4), rows.Text(5), rows.Text(6), rows.Text(7), rows.Integer(8)});
    }
    return found;
  });
  if (!records.empty()) {
    last_ = records.back().number;
    last_time_ = records.back().time;
  }
  return records;
}

std::vector<JournalRecord> ReadJournal() { return JournalReader().ReadNew(); }

}  // namespace quelt
