// Measures what the embedded host costs in addition to its database. Reads a setting, writes a
// setting and lists agents: once by the platform operation, once by the same statement, prepared on
// a bare connection to the same file. Also compares a check of a switch with reading a clock from
// memory. Both sides alternate and each round yields a ratio, so that a slow disk or a busy machine
// affects both.
//
//   store_bench STATE    creates the state file and prints JSON: seconds of both sides, and ratios
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/config_store.h"
#include "platform/plugin.h"
#include "platform/quelt_util.h"

namespace {

using Agent = HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo;
using Clock = std::chrono::steady_clock;

void Check(int status, sqlite3* database) {
  if (status != SQLITE_OK && status != SQLITE_ROW && status != SQLITE_DONE) {
    throw std::runtime_error(sqlite3_errmsg(database));
  }
}

/// A bare connection with the embedded host's durability.
class BareConnection {
 public:
  explicit BareConnection(const std::string& path) {
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
    count_ = Prepare("SELECT count(*) FROM agent");
    list_ = Prepare(
        "SELECT uuid, node_type, is_support_unicast, address, port, zelnic, hostname, thumbprint,"
        " sub_cluster_uuid FROM agent ORDER BY id");
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

  /// Inserts `count` agents.
  void FillAgents(int count) {
    Step(begin_);
    sqlite3_stmt* const insert = Prepare(
        "INSERT INTO agent (uuid, address, port, node_type, is_support_unicast, interface_given,"
        " zelnic, hostname, thumbprint, sub_cluster_uuid) VALUES (?, '192.0.2.11', 12321, 1, 1, 1,"
        " 'zelnic1', 'host1.example', "
        "'1E:52:7B:09:C4:A8:6D:33:F0:11:80:9D:57:E2:40:C6:1B:AF:39:75',"
        " '00000000-0000-0000-0000-000000000000')");
    for (int i = 0; i < count; ++i) {
      const std::string number = std::to_string(i);
      const std::string uuid =
          "5f0c2a31-8d44-4b7e-9c15-" + std::string(12 - number.size(), '0') + number;
      sqlite3_bind_text(insert, 1, uuid.c_str(), -1, SQLITE_TRANSIENT);
      Step(insert);
    }
    sqlite3_finalize(insert);
    Step(commit_);
  }

  std::vector<Agent> Agents() {
    std::vector<Agent> agents;
    Check(sqlite3_step(count_), database_);
    agents.reserve(static_cast<std::size_t>(sqlite3_column_int64(count_, 0)));
    sqlite3_reset(count_);
    while (sqlite3_step(list_) == SQLITE_ROW) {
      Agent& agent = agents.emplace_back();
      Assign(0, agent.uuid);
      agent.nodeType = static_cast<HostCtl::Quelt::UnicastNodeType>(sqlite3_column_int64(list_, 1));
      agent.isSupportUnicast = sqlite3_column_int(list_, 2) != 0;
      Assign(3, agent.address);
      agent.port = sqlite3_column_int(list_, 4);
      Assign(5, agent.zelnic);
      Assign(6, agent.hostname);
      Assign(7, agent.thumbprint);
      Assign(8, agent.subClusterUuid);
    }
    sqlite3_reset(list_);
    return agents;
  }

 private:
  void Assign(int column, std::string& text) {
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(list_, column));
    text.assign(bytes, static_cast<std::size_t>(sqlite3_column_bytes(list_, column)));
  }
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
  sqlite3_stmt* count_ = nullptr;
  sqlite3_stmt* list_ = nullptr;
};

template <typename Call>
double SecondsPerCall(int calls, Call&& call) {
  const auto start = Clock::now();
  for (int i = 0; i < calls; ++i) {
    call();
  }
  return std::chrono::duration<double>(Clock::now() - start).count() / calls;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

template <typename HostCall, typename BareCall>
void Compare(const char* name, int rounds, int calls, HostCall&& hostCall, BareCall&& bareCall) {
  std::vector<double> host;
  std::vector<double> bare;
  std::vector<double> ratios;
  for (int round = 0; round < rounds; ++round) {
    bare.push_back(SecondsPerCall(calls, bareCall));
    host.push_back(SecondsPerCall(calls, hostCall));
    ratios.push_back(host.back() / bare.back());
  }
  std::printf("  \"%s\": {\"host\": %.4g, \"bare\": %.4g, \"ratio\": %.3f}", name, Median(host),
              Median(bare), Median(ratios));
}

void Measure(const std::string& path) {
  std::string sku;
  ZelCtl::Quelt::QueltConfigStore store;
  store.GetHardwareSku(sku);
  BareConnection bare(path);
  std::puts("{");
  const auto read = [&] { store.GetHardwareSku(sku); };
  Compare("read", 101, 2000, read, [&] { bare.Read(); });
  std::puts(",");
  Compare(
      "write", 301, 10, [&] { store.SetPerfsvcHostConfigStore("bench", "a"); },
      [&] { bare.Write("b"); });
  std::puts(",");
  Compare(
      "switch", 101, 100'000, [] { ZelCtl::Quelt::QueltUtil::IsQueltMetadataNodeFeatureEnabled(); },
      [] {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
      });
  std::puts(",");
  bare.FillAgents(100'000);
  HostCtl::Quelt::QueltPlugin plugin;
  const auto system = plugin.GetHostSystem();
  Compare(
      "list", 15, 1,
      [&] {
        std::vector<Agent> agents;
        system->GetUnicastAgentList(agents, false);
      },
      [&] { bare.Agents(); });
  std::puts("\n}");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: store_bench STATE\n", stderr);
    return 2;
  }
  setenv("QUELT_HOST_STATE", argv[1], 1);
  try {
    Measure(argv[1]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "store_bench: %s\n", failure.what());
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
