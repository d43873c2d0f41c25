#include "embedded_host/store/access.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "embedded_host/store/failure.h"

namespace quelt {

namespace {

/// Root may use the files of other users: it could read them anyway.
bool BelongsToAnotherUser(const struct stat& entry) {
  return entry.st_uid != geteuid() && geteuid() != 0;
}

/// In a folder with the sticky bit, like /tmp, other users may add files, but not replace ours.
void RequireSafeFolder(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path();
  struct stat entry = {};
  if (stat(folder.c_str(), &entry) != 0) {
    return;  // created later, or opening the file fails with the reason
  }
  const bool sticky = (entry.st_mode & S_ISVTX) != 0;
  if (BelongsToAnotherUser(entry) && entry.st_uid != 0 && !sticky) {
    ThrowStoreFailure(path, "its folder belongs to another user");
  }
  if ((entry.st_mode & S_IWOTH) != 0 && !sticky) {
    ThrowStoreFailure(path, "its folder can be changed by everybody");
  }
}

/// Returns whether the file exists.
bool SecureFile(const std::string& path) {
  struct stat entry = {};
  if (lstat(path.c_str(), &entry) != 0) {
    if (errno != ENOENT) {
      ThrowSystemFailure(path, errno);
    }
    return false;
  }
  if (S_ISDIR(entry.st_mode)) {
    ThrowSystemFailure(path, EISDIR);
  }
  if (!S_ISREG(entry.st_mode)) {
    ThrowStoreFailure(path, S_ISLNK(entry.st_mode) ? "a symbolic link" : "not a regular file");
  }
  if (BelongsToAnotherUser(entry)) {
    ThrowStoreFailure(path, "belongs to another user");
  }
  if ((entry.st_mode & (S_IRWXG | S_IRWXO)) != 0 && chmod(path.c_str(), 0600) != 0) {
    ThrowSystemFailure(path, errno);
  }
  return true;
}

}  // namespace

bool SecureState(const std::string& path) {
  RequireSafeFolder(path);
  const bool exists = SecureFile(path);
  for (const char* suffix : {"-wal", "-shm", "-control"}) {
    SecureFile(path + suffix);
  }
  return exists;
}

}  // namespace quelt
