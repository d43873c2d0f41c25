// What the embedded host costs above the database that it stands on: a setting read and a setting
// written through the platform's operations, each beside the same statement prepared on a bare
// connection to the same file, and the price of asking for switches. Both sides take turns, and the
// medians are compared, so that a slow disk or a busy machine strikes both alike.
//
//   store_bench [FOLDER]    a state in FOLDER (default: a new folder below /tmp), removed
//   afterwards
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/config_store.h"
#include "platform/quelt_util.h"

namespace {

using Clock = std::chrono::steady_clock;

void Check(int status, sqlite3* database) {
  if (status != SQLITE_OK && status != SQLITE_ROW && status != SQLITE_DONE) {
    throw std::runtime_error(sqlite3_errmsg(database));
  }
}

/// A bare connection with the embedded host's durability.
class Bare {
 public:
  explicit Bare(const std::string& path) {
    Check(sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                          nullptr),
          database_);
    Run("PRAGMA synchronous = FULL");
    Run("PRAGMA secure_delete = ON");
    read_ = Prepare("SELECT value FROM setting WHERE name = ?");
    begin_ = Prepare("BEGIN IMMEDIATE");
    write_ =
        Prepare("INSERT OR REPLACE INTO service_setting (service, key, value) VALUES (?, ?, ?)");
    commit_ = Prepare("COMMIT");
  }

  void Read() {
    sqlite3_bind_text(read_, 1, "hardwareSku", -1, SQLITE_STATIC);
    Check(sqlite3_step(read_), database_);
    const std::string value(reinterpret_cast<const char*>(sqlite3_column_text(read_, 0)));
    sqlite3_reset(read_);
    if (value.empty()) {
      throw std::runtime_error("no SKU");
    }
  }

  void Write(const std::string& value) {
    Step(begin_);
    sqlite3_bind_text(write_, 1, "perfsvc", -1, SQLITE_STATIC);
    sqlite3_bind_text(write_, 2, "bench", -1, SQLITE_STATIC);
    sqlite3_bind_text(write_, 3, value.c_str(), -1, SQLITE_TRANSIENT);
    Step(write_);
    Step(commit_);
  }

 private:
  void Run(const char* sql) {
    Check(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr), database_);
  }
  sqlite3_stmt* Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr), database_);
    return statement;
  }
  void Step(sqlite3_stmt* statement) {
    Check(sqlite3_step(statement), database_);
    sqlite3_reset(statement);
  }

  sqlite3* database_ = nullptr;
  sqlite3_stmt* read_ = nullptr;
  sqlite3_stmt* begin_ = nullptr;
  sqlite3_stmt* write_ = nullptr;
  sqlite3_stmt* commit_ = nullptr;
};

template <typename Call>
double NanosecondsPerCall(int calls, Call&& call) {
  const auto start = Clock::now();
  for (int i = 0; i < calls; ++i) {
    call();
  }
  const std::chrono::duration<double, std::nano> spent = Clock::now() - start;
  return spent.count() / calls;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

template <typename Ours, typename Theirs>
void Compare(const char* what, int rounds, int calls, Ours&& ours, Theirs&& theirs) {
  std::vector<double> host;
  std::vector<double> bare;
  for (int round = 0; round < rounds; ++round) {
    bare.push_back(NanosecondsPerCall(calls, theirs));
    host.push_back(NanosecondsPerCall(calls, ours));
  }
  std::printf("%-24s host %9.1f ns   bare %9.1f ns   ratio %.2f\n", what, Median(host),
              Median(bare), Median(host) / Median(bare));
}

void Measure(const std::string& path) {
  std::string sku;
  ZelCtl::Quelt::QueltConfigStore store;
  store.GetHardwareSku(sku);
  Bare bare(path);
  Compare(
      "read a setting", 101, 2000, [&] { store.GetHardwareSku(sku); }, [&] { bare.Read(); });
  Compare(
      "write a setting", 301, 10, [&] { store.SetPerfsvcHostConfigStore("bench", "a"); },
      [&] { bare.Write("b"); });
  Compare(
      "ask a feature flag", 101, 100'000,
      [] { ZelCtl::Quelt::QueltUtil::IsQueltCSDFeatureEnabled(); },
      [] {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
      });
}

}  // namespace

int main(int argc, char** argv) {
  std::string folder = std::string(argc > 1 ? argv[1] : "/tmp") + "/store_bench-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    std::perror(folder.c_str());
    return EXIT_FAILURE;
  }
  const std::string path = folder + "/host.db";
  setenv("QUELT_HOST_STATE", path.c_str(), 1);
  int status = EXIT_SUCCESS;
  try {
    Measure(path);
  } catch (const std::exception& failure) {
    std::cerr << "store_bench: " << failure.what() << '\n';
    status = EXIT_FAILURE;
  }
  std::filesystem::remove_all(folder);
  return status;
}
