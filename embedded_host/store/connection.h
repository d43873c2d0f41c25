// One connection to the host's database, with its prepared statements. Used by one thread at a
// time. Fails with SQLite::Exception, which the store translates to the host library's exception.
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

#include "embedded_host/store/busy_timeout.h"
#include "embedded_host/store/environment.h"

namespace quelt {

/// Bytes to bind to a statement or read from one; not owned.
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

  // Columns of the current row, numbered from 0. An untrusted state file may hold any value in any
  // column.
  std::string Text(int column) const {
    const SQLite::Column value = statement_.getColumn(column);
    const char* const text = value.getText();
    return std::string(text, static_cast<std::size_t>(value.getBytes()));
  }
  std::int64_t Integer(int column) const { return statement_.getColumn(column).getInt64(); }
  /// An index below `count`. Throws QueltCtlException for any other number.
  std::size_t Index(int column, std::size_t count) const;
  bool Boolean(int column) const { return Integer(column) != 0; }
  bool IsNull(int column) const { return statement_.isColumnNull(column); }
  /// Copies a blob. Throws QueltCtlException when it has another size than `to`.
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
  /// Opens the existing file without reading it. `place` outlives the connection. Throws
  /// QueltCtlException.
  explicit Connection(const StorePlace& place);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Sets durability and wiping of deleted content. Reads the file.
  void Configure();

  /// Whether statements wait for another process that is writing (the default), or fail with
  /// SQLITE_BUSY.
  void WaitForOtherWriters(bool wait);

  /// Statements wait for other writers up to `deadline`; with std::nullopt, for the busy time-out.
  void SetBusyDeadline(std::optional<std::chrono::steady_clock::time_point> deadline) {
    busy_handler_.SetDeadline(deadline);
  }

  /// Whether a transaction is open.
  bool InTransaction() const;

  /// Runs a statement without result rows; returns how many rows it changed. `sql` is a literal:
  /// its statement is prepared once per connection. The values may be secrets: they are not copied,
  /// and the statement keeps no reference to them.
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

  /// Starts a query. The values must not be secrets: SQLite copies them.
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

  /// For IsSameFile (store/state_file.h): when a read checks the file again, on the coarse clock.
  std::chrono::nanoseconds nextFileCheck{0};

 private:
  /// Resets a statement and clears its bound values.
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
  BusyHandler busy_handler_;
  SQLite::Database database_;
  std::unordered_map<const char*, std::unique_ptr<SQLite::Statement>> statements_;
};

}  // namespace quelt
