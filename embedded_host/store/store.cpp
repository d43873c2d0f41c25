#include "embedded_host/store/store.h"

#include <filesystem>

#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/schema.h"
#include "embedded_host/store/state_path.h"

namespace quelt {

Store& Store::Instance() {
  static Store* const store = new Store(StatePath());
  return *store;
}

Store::Store(std::string path) : path_(std::move(path)) {
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path());
  auto connection = std::make_unique<Connection>(path_);
  {
    Transaction transaction(*connection, "BEGIN IMMEDIATE");
    if (CreateTables(*connection)) {
      LoadScenario(*connection, DefaultScenario());
    }
    transaction.Commit();
  }
  idle_.push_back(std::move(connection));
}

std::unique_ptr<Connection> Store::Take() {
  {
    const std::lock_guard lock(mutex_);
    if (!idle_.empty()) {
      std::unique_ptr<Connection> connection = std::move(idle_.back());
      idle_.pop_back();
      return connection;
    }
  }
  return std::make_unique<Connection>(path_);
}

void Store::GiveBack(std::unique_ptr<Connection> connection) {
  const std::lock_guard lock(mutex_);
  idle_.push_back(std::move(connection));
}

Store::Transaction::~Transaction() {
  if (open_) {
    try {
      connection_.Execute("ROLLBACK");
    } catch (const SQLite::Exception&) {
      // SQLite has already rolled back by itself.
    }
  }
}

}  // namespace quelt
