// One connection to the host's database, with its prepared statements. Used by one thread at a
// time. Its failures are SQLite::Exception; the store makes them the host library's.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>

#include "embedded_host/store/environment.h"

namespace quelt {

/// Bytes bound to or read from a statement; not owned.
using Bytes = std::span<const std::uint8_t>;

/// The rows of a running query. Resets the statement when it goes out of scope.
class Rows {
 public:
  explicit Rows(SQLite::Statement& statement) : statement_(statement) {}
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;
  ~Rows() { statement_.tryReset(); }

  /// Steps to the next row; false when there is none.
  bool Next() { return statement_.executeStep(); }

  // Columns of the present row, from 0.
  std::string Text(int column) const {
    const SQLite::Column value = statement_.getColumn(column);
    const char* const text = value.getText();
    return std::string(text, static_cast<std::size_t>(value.getBytes()));
  }
  std::int64_t Integer(int column) const { return statement_.getColumn(column).getInt64(); }
  /// The place of one of so many choices: a state from elsewhere may hold another number. Throws
  /// QueltCtlException.
  std::size_t Index(int column, std::size_t choices) const;
  bool Boolean(int column) const { return Integer(column) != 0; }
  bool IsNull(int column) const { return statement_.isColumnNull(column); }
  /// A blob of exactly this size: a state from elsewhere may hold another. Throws
  /// QueltCtlException.
  void Copy(int column, std::span<std::uint8_t> to) const;
  /// Valid until the next step.
  Bytes Blob(int column) const {
    const SQLite::Column value = statement_.getColumn(column);
    const auto* const bytes = static_cast<const std::uint8_t*>(value.getBlob());
    return Bytes(bytes, static_cast<std::size_t>(value.getBytes()));
  }

 private:
  SQLite::Statement& statement_;
};

class Connection {
 public:
  /// Opens the file, which exists, without reading it. `place` outlives the connection. Throws
  /// QueltCtlException.
  explicit Connection(const StorePlace& place);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Sets durability and secrecy. Reads the file.
  void Configure();

  /// Whether a statement that finds another writer at work waits for it, which is so at first, or
  /// fails.
  void EnableBusyHandler(bool wait);

  /// Until when statements wait for other writers; with nothing, for place().wait.
  void WaitUntil(std::optional<std::chrono::steady_clock::time_point> end) { wait_ends_ = end; }

  /// Whether a transaction is still open.
  bool InTransaction() const;

  /// Runs a statement that gives no rows; returns how many rows it changed. `sql` is a literal:
  /// its statement is prepared once per connection. The values, which may be secrets, are not
  /// copied for it and not known to it afterwards.
  template <typename... Values>
  int Execute(const char* sql, const Values&... values) {
    SQLite::Statement& statement = Prepared(sql);
    const Unbinding unbinding(statement);
    if constexpr (sizeof...(values) > 0) {
      int index = 0;
      (BindInPlace(statement, ++index, values), ...);
    }
    return statement.exec();
  }

  /// Starts a query. The values are copied: no secrets.
  template <typename... Values>
  Rows Query(const char* sql, const Values&... values) {
    SQLite::Statement& statement = Prepared(sql);
    if constexpr (sizeof...(values) > 0) {
      int index = 0;
      (Bind(statement, ++index, values), ...);
    }
    return Rows(statement);
  }

  SQLite::Database& database() { return database_; }
  const StorePlace& place() const { return place_; }

  /// When to look again whether the file still stands (coarse clock); the store's own.
  std::int64_t nextFileCheck = 0;

 private:
  static int WaitForWriter(void* connection, int retries);

  /// Makes the statement forget its values at the end.
  class Unbinding {
   public:
    explicit Unbinding(SQLite::Statement& statement) : statement_(statement) {}
    Unbinding(const Unbinding&) = delete;
    Unbinding& operator=(const Unbinding&) = delete;
    ~Unbinding() {
      statement_.tryReset();
      statement_.clearBindings();
    }

   private:
    SQLite::Statement& statement_;
  };

  static void BindInPlace(SQLite::Statement& statement, int index, const std::string& value) {
    statement.bindNoCopy(index, value);
  }
  static void BindInPlace(SQLite::Statement& statement, int index, Bytes value) {
    // An empty blob is a blob, not NULL.
    statement.bindNoCopy(index, value.empty() ? "" : static_cast<const void*>(value.data()),
                         static_cast<int>(value.size()));
  }
  static void BindInPlace(SQLite::Statement& statement, int index, std::integral auto value) {
    Bind(statement, index, value);
  }
  static void BindInPlace(SQLite::Statement& statement, int index, const char* value) {
    statement.bindNoCopy(index, value);
  }
  static void BindInPlace(SQLite::Statement& statement, int index, std::nullptr_t) {
    statement.bind(index);
  }

  static void Bind(SQLite::Statement& statement, int index, const std::string& value) {
    statement.bind(index, value);
  }
  static void Bind(SQLite::Statement& statement, int index, const char* value) {
    statement.bind(index, value);
  }
  static void Bind(SQLite::Statement& statement, int index, Bytes value) {
    statement.bind(index, value.empty() ? "" : static_cast<const void*>(value.data()),
                   static_cast<int>(value.size()));
  }
  static void Bind(SQLite::Statement& statement, int index, std::integral auto value) {
    statement.bind(index, static_cast<std::int64_t>(value));
  }

  SQLite::Statement& Prepared(const char* sql);

  const StorePlace& place_;
  std::optional<std::chrono::steady_clock::time_point> wait_ends_;
  SQLite::Database database_;
  std::unordered_map<const char*, std::unique_ptr<SQLite::Statement>> statements_;
};

}  // namespace quelt
