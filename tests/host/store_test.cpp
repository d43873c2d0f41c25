// What other tests of the store cannot reach: its settings without a home directory, long
// time-outs, and the upgrade of a schema with several versions.
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "embedded_host/store/connection.h"
#include "embedded_host/store/environment.h"
#include "embedded_host/store/schema.h"

namespace quelt {
namespace {

TEST(Environment, UsesThePasswordDatabaseWithoutHome) {
  for (const char* name : {"QUELT_HOST_STATE", "XDG_STATE_HOME", "HOME"}) {
    unsetenv(name);
  }
  const passwd* const entry = getpwuid(getuid());
  if (entry == nullptr) {
    GTEST_SKIP() << "this user is not in the password database";
  }
  const std::string expected = std::string(entry->pw_dir) + "/.local/state/quelt/host.db";
  EXPECT_EQ(ReadStorePlace().path, expected);
  setenv("HOME", "", 1);
  EXPECT_EQ(ReadStorePlace().path, expected);
}

TEST(Environment, ReadsTheBusyTimeout) {
  setenv("QUELT_HOST_STATE", kInMemory, 1);
  for (const auto& [text, seconds] :
       {std::pair("7", 7), {"0", 0}, {"", 30}, {"-1", 30}, {"1.5", 30}, {"99999999999", 30}}) {
    setenv("QUELT_HOST_WAIT", text, 1);
    EXPECT_EQ(ReadStorePlace().busyTimeout.count(), seconds) << text;
  }
}

TEST(Schema, UpgradeRunsEachStepOnceOrRollsBack) {
  constexpr const char* kSteps[] = {
      "CREATE TABLE agent (uuid TEXT); INSERT INTO agent VALUES ('a')",
      "ALTER TABLE agent ADD COLUMN port INTEGER NOT NULL DEFAULT 12321",
      "ALTER TABLE agent RENAME COLUMN uuid TO id",
      "CREATE TABLE other (id TEXT); ALTER TABLE missing RENAME TO found"};
  const SchemaSteps all = kSteps;
  const StorePlace place{kInMemory, std::chrono::seconds(1)};
  Connection db(place);
  const auto number = [&](const char* sql) { return db.database().execAndGet(sql).getInt64(); };
  UpgradeSchema(db, all.first(1));
  EXPECT_THROW(UpgradeSchema(db, all), SQLite::Exception);
  EXPECT_EQ(number("PRAGMA user_version"), 1);
  EXPECT_EQ(number("SELECT count(*) FROM pragma_table_info('agent')"), 1);
  EXPECT_EQ(number("SELECT count(*) FROM sqlite_schema"), 1);
  for (int again = 0; again < 2; ++again) {
    UpgradeSchema(db, all.first(3));
    EXPECT_EQ(number("PRAGMA user_version"), 3);
  }
  EXPECT_EQ(number("SELECT sum(port) FROM agent WHERE id = 'a'"), 12321);
}

}  // namespace
}  // namespace quelt
