// A file of an older version is upgraded completely or not at all.
#include "embedded_host/store/schema.h"

#include <gtest/gtest.h>

#include "embedded_host/store/connection.h"

namespace quelt {
namespace {

constexpr const char* kSteps[] = {
    "CREATE TABLE agent (uuid TEXT); INSERT INTO agent VALUES ('a')",
    "ALTER TABLE agent ADD COLUMN port INTEGER NOT NULL DEFAULT 12321",
    "ALTER TABLE agent RENAME COLUMN uuid TO id",
    "CREATE TABLE other (id TEXT); ALTER TABLE missing RENAME TO found",  // rolled back
};
const SchemaSteps kAll = kSteps;

class SchemaTest : public testing::Test {
 protected:
  std::int64_t Number(const char* sql) { return db_.database().execAndGet(sql).getInt64(); }
  std::int64_t Version() { return Number("PRAGMA user_version"); }

  const StorePlace place_{kInMemory, std::chrono::seconds(1)};
  Connection db_{place_};
};

TEST_F(SchemaTest, EachStepRunsOnce) {
  for (const std::size_t version : {1, 3, 3}) {
    UpgradeSchema(db_, kAll.first(version));
    EXPECT_EQ(Version(), version);
  }
  EXPECT_EQ(Number("SELECT port FROM agent WHERE id = 'a'"), 12321);
  EXPECT_EQ(Number("SELECT count(*) FROM agent"), 1);
}

TEST_F(SchemaTest, FailedStepRollsBackTheUpgrade) {
  UpgradeSchema(db_, kAll.first(1));
  EXPECT_THROW(UpgradeSchema(db_, kAll), SQLite::Exception);
  EXPECT_EQ(Version(), 1);
  EXPECT_EQ(Number("SELECT count(*) FROM pragma_table_info('agent')"), 1);
  EXPECT_EQ(Number("SELECT count(*) FROM sqlite_schema"), 1);
}

}  // namespace
}  // namespace quelt
