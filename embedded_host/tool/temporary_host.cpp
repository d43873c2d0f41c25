#include "embedded_host/tool/temporary_host.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "embedded_host/store/failure.h"

namespace quelt {

namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = "quelt-run-";
constexpr const char* kLock = "lock";

/// Opens a folder that the user owns. Other users may create folders and links next to it.
Descriptor OpenOwnFolder(const fs::path& path) {
  Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status = {};
  if (folder.valid() && fstat(folder.get(), &status) == 0 && status.st_uid != geteuid()) {
    folder.Close();
    errno = EPERM;
  }
  return folder;
}

/// Locks a folder. Returns no descriptor, with errno set, if that fails; EWOULDBLOCK means that
/// another process has locked it or removed it in the meantime.
Descriptor Lock(const fs::path& path) {
  const Descriptor folder = OpenOwnFolder(path);
  if (!folder.valid()) {
    return Descriptor();
  }
  Descriptor lock(openat(folder.get(), kLock, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!lock.valid() || flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    errno = errno == ENOENT ? EWOULDBLOCK : errno;
    return Descriptor();
  }
  struct stat status = {};
  if (fstat(lock.get(), &status) == 0 && status.st_nlink == 0) {
    errno = EWOULDBLOCK;
    return Descriptor();
  }
  return lock;
}

/// Requires the lock. Removes the lock file last: if this process is killed, the next one detects
/// and removes the folder.
void Remove(const fs::path& path) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(path, ignored)) {
    if (entry.path().filename() != kLock) {
      fs::remove_all(entry.path(), ignored);
    }
  }
  fs::remove(path / kLock, ignored);
  fs::remove(path, ignored);
}

void RemoveAbandonedHosts(const fs::path& parent) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(parent, ignored)) {
    if (entry.path().filename().string().starts_with(kPrefix)) {
      if (const Descriptor lock = Lock(entry.path()); lock.valid()) {
        Remove(entry.path());
      }
    }
  }
}

}  // namespace

TemporaryHost::TemporaryHost() {
  const fs::path parent = fs::temp_directory_path();
  RemoveAbandonedHosts(parent);
  const std::string name = (parent / kPrefix).string() + "XXXXXX";
  // Another process may take the new folder for an abandoned one before it is locked.
  while (!lock_.valid()) {
    folder_ = name;
    if (mkdtemp(folder_.data()) == nullptr) {
      ThrowSystemFailure(folder_, errno);
    }
    lock_ = Lock(folder_);
    if (!lock_.valid() && errno != EWOULDBLOCK && errno != ENOENT) {
      const int error = errno;
      rmdir(folder_.c_str());
      ThrowSystemFailure(folder_, error);
    }
  }
}

TemporaryHost::~TemporaryHost() { Remove(folder_); }

}  // namespace quelt
