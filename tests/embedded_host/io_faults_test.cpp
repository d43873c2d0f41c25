// Each call on the state's files fails once, in each operation: the error is clear, the state is
// the one before or the one after, for this process as for others and after a crash, and all goes
// on.
#include "tests/embedded_host/io_faults.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <set>

#include "embedded_host/crypto/disk.h"
#include "embedded_host/host_system.h"
#include "embedded_host/journal.h"
#include "embedded_host/scenario/document.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/faults.h"
#include "embedded_host/store/schema.h"
#include "embedded_host/store/state_file.h"
#include "embedded_host/store/switches.h"
#include "platform/config_store.h"
#include "platform/exception.h"
#include "platform/object_library.h"
#include "platform/quelt_util.h"

namespace quelt {
namespace {

using ZelCtl::Quelt::QueltConfigStore;

std::string Folder() { return std::filesystem::path(Store::Instance().path()).parent_path(); }

constexpr char kScenario[] = R"({
  "hardwareSku": "QS-1", "ilo": {"first": "a", "second": "b"}, "kekId": "new",
  "capacity": {"physical": 1000000000},
  "keys": [
    {"id": "old", "attribute": "KEK",
     "key": "3af28da3c0136a57f8444b228aa4387f1396abe5d26aa76676d83715db1e9700"},
    {"id": "new", "attribute": "KEK",
     "key": "4af28da3c0136a57f8444b228aa4387f1396abe5d26aa76676d83715db1e9700"}],
  "disks": [
    {"name": "d1", "uuid": "5f3c0a52-7d0e-4b1a-9c36-0d5b8e1f4a01", "encrypted": true, "kekId": "old",
     "dek": "87db647df456e26277573e0d2f538aff87b236c232ad2b1eee62014ab317c59946abb551508def09c1cb7f4e148d849665fa663e767b5b6a5e287a151cfe2c11"},
    {"name": "d2", "uuid": "5f3c0a52-7d0e-4b1a-9c36-0d5b8e1f4a02", "encrypted": true, "kekId": "old",
     "dek": "97db647df456e26277573e0d2f538aff87b236c232ad2b1eee62014ab317c59946abb551508def09c1cb7f4e148d849665fa663e767b5b6a5e287a151cfe2c11"}],
  "objects": [
    {"uuid": "5b1f0a54-6c1d-4e0b-9a37-0a6f5d8c2e10", "class": "DPCONSISTENCYGROUP", "size": 0},
    {"uuid": "6c27e9b1-84a3-4d0f-92be-15d7f36ad805", "class": "VDISK", "size": 5000,
     "group": "5b1f0a54-6c1d-4e0b-9a37-0a6f5d8c2e10", "friendlyName": "member"}]
})";
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

void RemoveState() {
  for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
    std::filesystem::remove(entry);
  }
}

void CloseConnections() {
  ConnectionPool().BeforeFork();
  ConnectionPool().AfterForkInParent();
}

struct Case {
  const char* name;
  void (*prepare)();  ///< after the scenario was loaded
  bool (*act)();      ///< false: failed, without an exception
};

constexpr Case kCases[] = {
    {"first creation", RemoveState,
     [] {
       Store::Instance().Write([](Connection&) {});  // unlike a reader looks at the file each time
       return true;
     }},
    {"opening", CloseConnections,
     [] {
       std::string sku;
       return QueltConfigStore().GetHardwareSku(sku) && sku == "QS-1";
     }},
    {"setting of two rows", nullptr, [] { return QueltConfigStore().SetIloAuth("x", "y"); }},
    {"setting that does not fit a page", nullptr,
     [] { return QueltConfigStore().SetPerfsvcHostConfigStore("a", std::string(50000, 'b')); }},
    {"rekey", nullptr,
     [] {
       EmbeddedHostSystem().ShallowRekeyDisks({"d1", "d2"}, false);
       return true;
     }},
    {"encryption off", nullptr,
     [] {
       EmbeddedHostSystem().SetHostEncryptionEnabled(false, false);
       return true;
     }},
    {"creation of an object", nullptr,
     [] {
       std::array<std::uint8_t, 16> uuid{};
       return ObjUtil_Create(kNone.data(), "made", "", "copies=2", 1, 4096, -1, false,
                             kGroup.data(), 0, uuid.data()) == 0;
     }},
    {"deletion of a group", nullptr,
     [] { return ObjUtil_Delete(kNone.data(), kGroup.data(), true, nullptr, nullptr) == 0; }},
    {"scenario", nullptr,
     [] {
       Load(DefaultScenario());
       return true;
     }},
    {"journal on", nullptr,
     [] {
       SwitchJournal(true);
       return true;
     }},
    {"setting while the journal is on", [] { SwitchJournal(true); },
     [] { return QueltConfigStore().SetIloAuth("x", "y"); }},
    {"fault that is counted", [] { SetFault("GetIloAuth", {.times = 3}); },
     [] {
       std::pair<std::string, std::string> credential;
       return !QueltConfigStore().GetIloAuth(credential);
     }},
};

struct Failure {
  const char* name;
  io::Call call;
  int error;
  bool forGood;
};

constexpr Failure kFailures[] = {
    {"read", io::Call::kRead, EIO, false},         {"write", io::Call::kWrite, EIO, false},
    {"full disk", io::Call::kWrite, ENOSPC, true}, {"sync", io::Call::kSync, EIO, false},
    {"open", io::Call::kOpen, EMFILE, false},
};

/// What an operation came to: "" when it went well.
std::string Outcome(const Case& each) {
  try {
    return each.act() ? "" : "refused";
  } catch (const HostCtl::Lib::Quelt::QueltCtlException& failure) {
    return failure.what();
  }
}

/// The whole state, as a process that has nothing to do with this one finds it.
std::string Inspected() {
  // NOLINTNEXTLINE(cert-env33-c): the shell's own words are these
  FILE* const pipe = popen("/proc/$PPID/exe --inspect 2>&1", "r");
  std::string text;
  for (int byte = fgetc(pipe); byte != EOF; byte = fgetc(pipe)) {
    text += static_cast<char>(byte);
  }
  return pclose(pipe) == 0 ? text : "inspection failed: " + text;
}

/// The operation in a child that dies at once: 0 went well, 1 failed; plus 2 when a call failed.
int DyingOutcome(const Case& each, const Failure& failure, int nth) {
  const pid_t child = fork();
  if (child == 0) {
    io::Fail(failure.call, nth, failure.error, failure.forGood);
    const bool bad = !Outcome(each).empty();
    _exit((bad ? 1 : 0) + (io::Heal() ? 2 : 0));
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class IoFaults : public testing::TestWithParam<Case> {
 protected:
  static void Prepare() {
    static const nlohmann::json document = ParseDocument(kScenario);
    Load(document);
    if (GetParam().prepare) {
      GetParam().prepare();
    }
  }

  void ExpectBeforeOrAfter(const std::string& outcome) {
    const std::string found = Inspected();
    EXPECT_TRUE(found == after_ || (!outcome.empty() && found == before_))
        << outcome << "\nfound: " << found << "\nbefore: " << before_ << "\nafter: " << after_;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
      EXPECT_TRUE(files_.contains(entry.path().filename())) << entry.path();
    }
  }

  void SetUp() override {
    Prepare();
    before_ = Inspected();
    ASSERT_EQ(Outcome(GetParam()), "");
    after_ = Inspected();
    ASSERT_EQ(after_.find("inspection failed"), after_.npos) << after_;
  }

  std::string before_, after_;
  const std::set<std::string> files_ = {"host.db", "host.db-wal", "host.db-shm", "host.db-control"};
};

TEST_P(IoFaults, StateIsHalfWayOrTheProcessIsStuck) {
  static const bool deep = std::getenv("PYQUELT_DEEP") != nullptr;
  int points = 0;
  for (const Failure& failure : kFailures) {
    for (int nth = 1, step = 1;; nth += step) {
      SCOPED_TRACE(failure.name + (" " + std::to_string(nth)));
      Prepare();
      io::Fail(failure.call, nth, failure.error, failure.forGood);
      const std::string outcome = Outcome(GetParam());
      if (!io::Heal()) {
        EXPECT_EQ(outcome, "");
        break;
      }
      ++points;
      ExpectBeforeOrAfter(outcome);
      EXPECT_TRUE(outcome.empty() || outcome == "refused" || outcome.starts_with(Folder()))
          << outcome;
      std::string sku;
      EXPECT_TRUE(QueltConfigStore().GetHardwareSku(sku));
      step = deep ? 1 : 1 + nth / 4;
    }
    for (int nth = 1, step = 1;; nth += step) {
      SCOPED_TRACE(std::string("crash after ") + failure.name + " " + std::to_string(nth));
      Prepare();
      const int outcome = DyingOutcome(GetParam(), failure, nth);
      if ((outcome & 2) == 0) {
        EXPECT_EQ(outcome, 0);
        break;
      }
      ++points;
      ExpectBeforeOrAfter((outcome & 1) != 0 ? "failed" : "");
      step = deep ? 1 : 1 + nth / 4;
    }
  }
  if (deep) {
    std::cout << "figure: I/O faults, " << GetParam().name << ": " << points << " points\n";
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, IoFaults, testing::ValuesIn(kCases),
                         [](const auto& info) { return std::to_string(info.index); });

// --- the inspecting process ---------------------------------------------------------------------

/// All tables but the journal, without what is drawn anew each time; the DEKs as they unwrap.
int Inspect() {
  const std::string path = Store::Instance().path();
  if (!std::filesystem::exists(path)) {
    std::cout << "no state\n";
    return 0;
  }
  SQLite::Database db(path, SQLite::OPEN_READWRITE);
  std::vector<std::string> queries = {
      "PRAGMA integrity_check", "PRAGMA foreign_key_check",
      "SELECT name, hex(substr(metadata, 9, 1)), hex(substr(metadata, 90, 80)) FROM disk",
      "SELECT friendly_name, policy, size, allocated, class, hex(group_uuid) FROM object "
      "ORDER BY friendly_name, size, class"};
  SQLite::Statement tables(db,
                           "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT IN "
                           "('disk', 'object', 'journal') ORDER BY name");
  while (tables.executeStep()) {
    queries.push_back("SELECT * FROM " + tables.getColumn(0).getString());
  }
  for (const std::string& query : queries) {
    SQLite::Statement rows(db, query);
    while (rows.executeStep()) {
      for (int column = 0; column < rows.getColumnCount(); ++column) {
        std::cout << rows.getColumn(column).getString() << '|';
      }
      std::cout << '\n';
    }
  }
  SQLite::Statement disks(db, "SELECT name FROM disk WHERE hex(substr(metadata, 9, 1)) = '01'");
  while (disks.executeStep()) {
    Dek dek;
    EmbeddedHostSystem().GetUnwrappedDekForDisk(disks.getColumn(0).getString(), dek.data());
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
  // In memory where that can be: what is synchronised is not the point here.
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
