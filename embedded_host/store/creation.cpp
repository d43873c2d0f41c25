#include "embedded_host/store/creation.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "embedded_host/store/control_word.h"
#include "embedded_host/store/descriptor.h"
#include "embedded_host/store/failure.h"
#include "embedded_host/store/schema.h"
#include "embedded_host/store/transaction.h"

namespace quelt {

namespace {

using std::filesystem::path;

Seed seed_new_state = nullptr;

/// Makes the names in a folder durable, so that a new file survives a power loss.
void SyncFolder(const path& folder, const std::string& file) {
  const Descriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // EINVAL: the file system does not support fsync on folders.
  if (!descriptor.valid() || (fsync(descriptor.get()) != 0 && errno != EINVAL)) {
    ThrowSystemFailure(file, errno);
  }
}

/// Creates missing folders with access for the owner only; existing ones are not changed.
void CreateFolders(const path& folder, const std::string& file) {
  path created;
  for (const path& name : folder) {
    const path parent = created;
    created /= name;
    if (mkdir(created.c_str(), 0700) == 0) {
      SyncFolder(parent, file);
    } else if (errno != EEXIST) {
      ThrowSystemFailure(file, errno);
    }
  }
}

/// A temporary file; the destructor removes it and SQLite's files beside it.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& target) : path_(target + "-XXXXXX") {
    path_.reserve(path_.size() + kLongestSuffix);  // the destructor must not allocate
    const Descriptor descriptor(mkostemp(path_.data(), O_CLOEXEC));
    if (!descriptor.valid()) {
      ThrowSystemFailure(target, errno);
    }
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    unlink(path_.c_str());
    const std::size_t length = path_.size();
    for (const char* suffix : {"-wal", "-shm"}) {
      path_.resize(length);
      unlink(path_.append(suffix).c_str());
    }
  }
  const std::string& path() const { return path_; }

 private:
  static constexpr std::size_t kLongestSuffix = 4;

  std::string path_;
};

/// Creates the database in the empty temporary file; leaves no log beside it.
void BuildState(const TemporaryFile& temporary, const StorePlace& target) {
  const StorePlace place{temporary.path(), target.busyTimeout};
  Connection connection(place);
  try {
    // No journal file: nobody needs the content after a crash before the file is published.
    connection.database().exec("PRAGMA journal_mode = MEMORY");
    connection.database().exec("PRAGMA application_id = " + std::to_string(kApplicationId));
    connection.Configure();
    FillNewState(connection);
    // Set WAL mode before publishing the file: concurrent switches fail with SQLITE_BUSY.
    connection.database().exec("PRAGMA journal_mode = WAL; PRAGMA wal_checkpoint(TRUNCATE)");
  } catch (const SQLite::Exception& failure) {
    ThrowDatabaseFailure(target, connection, failure);
  }
}

/// While this exists, no other process creates or removes the state. Otherwise a process could
/// remove the log of a file that another one has just created.
class CreationLock {
 public:
  explicit CreationLock(const std::string& file) : control_(OpenControlFile(file)) {
    if (flock(control_.get(), LOCK_EX) != 0) {
      ThrowSystemFailure(file, errno);
    }
  }

 private:
  const Descriptor control_;
};

/// SQLite would apply the log of a state file that was removed by hand to the new file.
void RemoveStrayLog(const std::string& file) {
  for (const char* suffix : {"-wal", "-shm", "-journal"}) {
    if (unlink((file + suffix).c_str()) != 0 && errno != ENOENT) {
      ThrowSystemFailure(file, errno);
    }
  }
}

}  // namespace

void SetSeed(Seed seed) { seed_new_state = seed; }

void FillNewState(Connection& db) {
  UpgradeSchema(db);
  Transaction transaction(db, Transaction::Kind::kWrite);
  if (seed_new_state != nullptr) {
    seed_new_state(db);
  }
  transaction.Commit();
}

void CreateState(const StorePlace& place) {
  const std::string& file = place.path;
  const path folder = path(file).parent_path();
  CreateFolders(folder, file);
  const CreationLock lock(file);
  if (access(file.c_str(), F_OK) == 0) {
    return;
  }
  RemoveStrayLog(file);
  const TemporaryFile temporary(file);
  BuildState(temporary, place);
  // Another process may have recreated the control file meanwhile and published a state: use that.
  if (link(temporary.path().c_str(), file.c_str()) != 0 && errno != EEXIST) {
    ThrowSystemFailure(file, errno);
  }
  SyncFolder(folder, file);
}

void RemoveState(const StorePlace& place) {
  const CreationLock lock(place.path);
  if (unlink(place.path.c_str()) != 0 && errno != ENOENT) {
    ThrowSystemFailure(place.path, errno);
  }
  RemoveStrayLog(place.path);
}

}  // namespace quelt
