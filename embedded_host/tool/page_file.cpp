#include "embedded_host/tool/page_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>
#include <system_error>

#include "embedded_host/store/descriptor.h"
#include "embedded_host/store/failure.h"

namespace quelt {

namespace {

/// A new file beside the target. It is removed unless it is renamed.
class NewFile {
 public:
  NewFile(const std::string& path, const std::string& target)
      : name_(target + ".XXXXXX"), file_(mkostemp(name_.data(), O_CLOEXEC)) {
    if (!file_.valid()) {
      ThrowSystemFailure(path, errno);
    }
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile() {
    if (!name_.empty()) {
      unlink(name_.c_str());
    }
  }

  int descriptor() const { return file_.get(); }
  bool RenameTo(const std::string& target) {
    const bool renamed = rename(name_.c_str(), target.c_str()) == 0;
    name_ = renamed ? "" : name_;
    return renamed;
  }

 private:
  std::string name_;
  Descriptor file_;
};

/// False with errno set if that fails.
bool WriteAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write(descriptor, content.data(), content.size());
    if (written < 0 && errno != EINTR) {
      return false;
    }
    content.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
  }
  return true;
}

/// The mode of the existing file, or that of a new one.
mode_t ModeOf(const std::string& target) {
  struct stat status = {};
  if (stat(target.c_str(), &status) == 0) {
    return status.st_mode & 07777;
  }
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

PageFile::PageFile(const std::string& path) : path_(path), target_(path) {
  if (path.empty()) {
    return;
  }
  struct stat status = {};
  const bool exists = stat(path.c_str(), &status) == 0;
  replaced_ = !exists || S_ISREG(status.st_mode);
  if (exists) {
    std::error_code ignored;
    const auto resolved = std::filesystem::canonical(path, ignored);
    target_ = resolved.empty() ? path : resolved.string();
    if (S_ISDIR(status.st_mode) || access(path.c_str(), W_OK) != 0) {
      ThrowSystemFailure(path, S_ISDIR(status.st_mode) ? EISDIR : errno);
    }
  }
  if (replaced_) {
    NewFile(path_, target_);  // removed at once
  }
}

void PageFile::Write(const std::string& content) const {
  if (replaced_) {
    Replace(content);
    return;
  }
  const Descriptor file(open(path_.c_str(), O_WRONLY | O_CLOEXEC));
  if (!file.valid() || !WriteAll(file.get(), content)) {
    ThrowSystemFailure(path_, errno);
  }
}

void PageFile::Replace(const std::string& content) const {
  NewFile file(path_, target_);
  if (fchmod(file.descriptor(), ModeOf(target_)) != 0 || !WriteAll(file.descriptor(), content) ||
      !file.RenameTo(target_)) {
    ThrowSystemFailure(path_, errno);
  }
}

}  // namespace quelt
