// The path of the state and the busy timeout, as read from the environment. test_store.py tests the
// path with HOME set; nothing is created here.
#include "embedded_host/store/environment.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/exception.h"

namespace quelt {
namespace {

TEST(Environment, UsesThePasswordDatabaseWithoutHome) {
  for (const char* name : {"QUELT_HOST_STATE", "XDG_STATE_HOME", "QUELT_HOST_WAIT"}) {
    unsetenv(name);
  }
  const passwd* const entry = getpwuid(getuid());
  if (entry == nullptr) {
    GTEST_SKIP() << "this user is not in the password database";
  }
  const std::string expected = std::string(entry->pw_dir) + "/.local/state/quelt/host.db";
  unsetenv("HOME");
  EXPECT_EQ(ReadStorePlace().path, expected);
  setenv("HOME", "", 1);
  EXPECT_EQ(ReadStorePlace().path, expected);
}

TEST(Environment, RejectsAFolderOrAnEmptyPathForTheState) {
  for (const char* path : {"/tmp/no-such-folder/", ""}) {
    setenv("QUELT_HOST_STATE", path, 1);
    EXPECT_THROW(ReadStorePlace(), HostCtl::Lib::Quelt::QueltCtlException) << path;
  }
}

TEST(Environment, ReadsTheBusyTimeout) {
  setenv("QUELT_HOST_STATE", kInMemory, 1);
  for (const auto& [text, seconds] :
       {std::pair("7", 7), {"0", 0}, {"", 30}, {"-1", 30}, {"1.5", 30}, {"99999999999", 30}}) {
    setenv("QUELT_HOST_WAIT", text, 1);
    EXPECT_EQ(ReadStorePlace().busyTimeout.count(), seconds) << text;
  }
}

}  // namespace
}  // namespace quelt
