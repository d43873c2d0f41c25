// Each system call on the state's files and each allocation fails once, in each operation. The
// error is clear; the state is the one before or after the operation, for this process, for others
// and after a crash; and the process can continue.
#include "tests/host/io_faults.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <set>

#include "embedded_host/crypto/disk.h"
#include "embedded_host/operation/faults.h"
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/journal.h"
#include "embedded_host/operation/switches.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/schema.h"
#include "embedded_host/store/state_file.h"
#include "embedded_host/text/hexadecimal.h"
#include "platform/config_store.h"
#include "platform/exception.h"
#include "platform/object_library.h"
#include "platform/quelt_util.h"

namespace quelt {
namespace {

using ZelCtl::Quelt::QueltConfigStore;

std::string Folder() { return std::filesystem::path(Store::Instance().path()).parent_path(); }

/// A new host with three disks that can be rekeyed.
nlohmann::json Scenario() {
  nlohmann::json document = DefaultScenario();
  document["keys"].push_back({{"id", "new"}, {"key", std::string(64, 'b')}});
  document["kekId"] = "new";
  for (const int number : {0, 2}) {
    document["disks"][number].update({{"encrypted", true},
                                      {"kekId", "kek-2026-01"},
                                      {"dek", std::string(64, '1') + std::string(64, '2')}});
  }
  return document;
}

constexpr std::array<std::uint8_t, 16> kNone{};
constexpr std::array<std::uint8_t, 16> kGroup = {0x5b, 0x1f, 0x0a, 0x54, 0x6c, 0x1d, 0x4e, 0x0b,
                                                 0x9a, 0x37, 0x0a, 0x6f, 0x5d, 0x8c, 0x2e, 0x10};

void Load(const nlohmann::json& document) {
  ChangeSwitches([&](Connection& db) {
    ClearTables(db);
    LoadScenario(db, document);
  });
  Store::Instance().Read(EmptyLog);
}

struct Case {
  const char* name;
  void (*act)();                ///< throws on failure
  void (*prepare)() = nullptr;  ///< called after the scenario is loaded
};

/// Throws if an operation returned false.
void Require(bool done) {
  if (!done) {
    throw HostCtl::Lib::Quelt::QueltCtlException("refused");
  }
}

void RemoveState() {
  for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
    std::filesystem::remove(entry);
  }
}

void CloseConnections() {
  ConnectionPool().BeforeFork();
  ConnectionPool().AfterForkInParent();
}

void ReadSku() {
  std::string sku;
  Require(QueltConfigStore().GetHardwareSku(sku) && sku == "QS-2240-AF");
}

void SetCredential() { Require(QueltConfigStore().SetIloAuth("x", "y")); }

constexpr Case kCases[] = {
    // Unlike a reader, a writer checks the file each time.
    {"first creation", [] { Store::Instance().Write([](Connection&) {}); }, RemoveState},
    {"opening", ReadSku, CloseConnections},
    {"setting of two rows", SetCredential},
    {"setting that does not fit a page",
     [] { Require(QueltConfigStore().SetPerfsvcHostConfigStore("a", std::string(50000, 'b'))); }},
    {"rejected change",
     [] {
       EXPECT_THROW(ZelCtl::Quelt::QueltUtil::RemoveKeyFromKeyCache("unknown"), std::exception);
     },
     [] {
       CloseConnections();
       ReadSku();
     }},
    {"rekey",
     [] {
       EmbeddedHostSystem().ShallowRekeyDisks(
           {"naa.58ce38ee20a1c001", "naa.58ce38ee20a1c002", "naa.58ce38ee20a1c003"}, false);
     }},
    {"encryption off", [] { EmbeddedHostSystem().SetHostEncryptionEnabled(false, false); }},
    {"creation of an object",
     [] {
       std::array<std::uint8_t, 16> uuid{};
       Require(ObjUtil_Create(kNone.data(), "made", "", "copies=2", 1, 4096, -1, false,
                              kGroup.data(), 0, uuid.data()) == 0);
     }},
    {"deletion of a group",
     [] { Require(ObjUtil_Delete(kNone.data(), kGroup.data(), true, nullptr, nullptr) == 0); }},
    {"scenario", [] { Load(DefaultScenario()); }},
    {"journal on", [] { SwitchJournal(true); }},
    {"setting while the journal is on", SetCredential, [] { SwitchJournal(true); }},
    {"counted fault",
     [] {
       std::pair<std::string, std::string> credential;
       Require(!QueltConfigStore().GetIloAuth(credential));
     },
     [] { SetFault("GetIloAuth", {.times = 3}); }},
};

struct Failure {
  const char* name;
  io::Call call;
  int error;
  bool permanent;
};

constexpr Failure kFailures[] = {
    {"read", io::Call::kRead, EIO, false},         {"write", io::Call::kWrite, EIO, false},
    {"full disk", io::Call::kWrite, ENOSPC, true}, {"sync", io::Call::kSync, EIO, false},
    {"open", io::Call::kOpen, EMFILE, false},      {"allocation", io::Call::kAllocate, 0, false},
};

/// The error of an operation; "" if it succeeded.
std::string Outcome(const Case& operation) {
  try {
    operation.act();
    return "";
  } catch (const HostCtl::Lib::Quelt::QueltCtlException& failure) {
    return failure.what();
  } catch (const std::bad_alloc&) {
    return "out of memory";
  }
}

/// The whole state, as a new process reads it.
std::string Inspected() {
  // NOLINTNEXTLINE(cert-env33-c): the command is constant
  FILE* const pipe = popen("/proc/$PPID/exe --inspect 2>&1", "r");
  std::string text;
  for (int byte = fgetc(pipe); byte != EOF; byte = fgetc(pipe)) {
    text += static_cast<char>(byte);
  }
  return pclose(pipe) == 0 ? text : "inspection failed: " + text;
}

/// The operation's error when its nth call fails; nothing if it makes fewer calls.
std::optional<std::string> FailingOutcome(const Case& operation, const Failure& failure, int nth) {
  io::Fail(failure.call, nth, failure.error, failure.permanent);
  const std::string outcome = Outcome(operation);
  const bool failed = io::Heal();
  EXPECT_TRUE(failed || outcome.empty()) << outcome;
  return failed ? std::optional(outcome) : std::nullopt;
}

/// The same in a child that exits without cleanup; any error is "failed".
std::optional<std::string> DyingOutcome(const Case& operation, const Failure& failure, int nth) {
  constexpr int kNoSuchCall = 2;
  const pid_t child = fork();
  if (child == 0) {
    const auto outcome = FailingOutcome(operation, failure, nth);
    const int status = !outcome ? kNoSuchCall : outcome->empty() ? 0 : 1;
    _exit(testing::Test::HasFailure() ? -1 : status);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) <= kNoSuchCall) << status;
  return WEXITSTATUS(status) >= kNoSuchCall ? std::nullopt
                                            : std::optional(status == 0 ? "" : "failed");
}

class IoFaults : public testing::TestWithParam<Case> {
 protected:
  static void Prepare() {
    static const nlohmann::json scenario = Scenario();
    Load(scenario);
    if (GetParam().prepare) {
      GetParam().prepare();
    }
  }
};

TEST_P(IoFaults, EachOperationIsAtomicAndTheProcessContinues) {
  static const bool deep = std::getenv("PYQUELT_DEEP") != nullptr;
  const std::set<std::string> files = {"host.db", "host.db-wal", "host.db-shm", "host.db-control"};
  Prepare();
  const std::string before = Inspected();
  ASSERT_EQ(Outcome(GetParam()), "");
  const std::string after = Inspected();
  ASSERT_EQ(after.find("inspection failed"), after.npos) << after;
  int points = 0;
  for (const Failure& failure : kFailures) {
    for (const bool dying : {false, true}) {
      for (int nth = 1;; nth += deep ? 1 : 1 + nth / 8) {
        SCOPED_TRACE(failure.name + (" " + std::to_string(nth)) + (dying ? ", then a crash" : ""));
        Prepare();
        const auto outcome = (dying ? DyingOutcome : FailingOutcome)(GetParam(), failure, nth);
        if (!outcome) {
          break;
        }
        ++points;
        const std::string found = Inspected();
        EXPECT_TRUE(found == after || (!outcome->empty() && found == before))
            << *outcome << "\nfound: " << found << "\nbefore: " << before << "\nafter: " << after;
        for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
          EXPECT_TRUE(files.contains(entry.path().filename())) << entry.path();
        }
        if (!dying) {
          // A write that may not be durable is not acknowledged. (In a child SQLite recreates its
          // log and continues if the folder cannot be synchronised.)
          EXPECT_TRUE(failure.call != io::Call::kSync || !outcome->empty());
          EXPECT_TRUE(outcome->empty() || *outcome == "refused" || *outcome == "out of memory" ||
                      outcome->starts_with(Folder()))
              << *outcome;
          EXPECT_NO_THROW(ReadSku());
        }
      }
    }
  }
  if (deep) {
    std::cout << "figure: I/O faults, " << GetParam().name << ": " << points << " points\n";
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, IoFaults, testing::ValuesIn(kCases),
                         [](const auto& info) { return std::to_string(info.index); });

// --- the inspecting process ---------------------------------------------------------------------

/// Prints all tables but the journal, without random values; the DEKs unwrapped.
int Inspect() {
  const std::string path = Store::Instance().path();
  if (!std::filesystem::exists(path)) {
    return 0;
  }
  SQLite::Database db(path, SQLite::OPEN_READWRITE);
  const auto rows = [&](const std::string& query) {
    std::vector<std::string> texts;
    for (SQLite::Statement statement(db, query); statement.executeStep();) {
      std::string& text = texts.emplace_back();
      for (int column = 0; column < statement.getColumnCount(); ++column) {
        text += (column > 0 ? "|" : "") + statement.getColumn(column).getString();
      }
      std::cout << text << '\n';
    }
    return texts;
  };
  rows("PRAGMA integrity_check");
  rows("PRAGMA foreign_key_check");
  rows("SELECT name, hex(substr(metadata, 90, 80)) FROM disk");
  rows(
      "SELECT friendly_name, policy, size, allocated, class, hex(group_uuid) FROM object ORDER BY "
      "friendly_name, size, class");
  for (const std::string& table :
       rows("SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT IN "
            "('disk', 'object', 'journal')")) {
    rows("SELECT * FROM " + table);
  }
  for (const std::string& disk :
       rows("SELECT name FROM disk WHERE hex(substr(metadata, 9, 1)) = '01'")) {
    Dek dek;
    EmbeddedHostSystem().GetUnwrappedDekForDisk(disk, dek.data());
    std::cout << HexText(dek.data(), Dek::size()) << '\n';
  }
  return 0;
}

}  // namespace
}  // namespace quelt

int main(int argc, char** argv) {
  if (argc == 2 && std::string(argv[1]) == "--inspect") {
    return quelt::Inspect();
  }
  testing::InitGoogleTest(&argc, argv);
  // In memory if possible: this test does not depend on real synchronisation.
  std::string folder = access("/dev/shm", W_OK) == 0
                           ? "/dev/shm/quelt-io-XXXXXX"
                           : std::filesystem::temp_directory_path() / "quelt-io-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    return 2;
  }
  setenv("QUELT_HOST_STATE", (folder + "/state/host.db").c_str(), 1);
  quelt::io::Watch(folder + "/state");
  const int status = RUN_ALL_TESTS();
  std::filesystem::remove_all(folder);
  return status;
}
