#include "embedded_host/store/control_word.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "embedded_host/store/failure.h"

namespace quelt {

namespace {

std::string ControlFile(const std::string& state) { return state + "-control"; }

}  // namespace

std::atomic<const ControlWord*> ControlWord::current_{nullptr};
const ControlWord* ControlWord::newest_ = nullptr;

int OpenControlFile(const std::string& state) {
  const std::string file = ControlFile(state);
  const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (descriptor < 0) {
    ThrowSystemFailure(file, errno);
  }
  return descriptor;
}

const ControlWord* ControlWord::Map(const std::string& state) {
  const int descriptor = OpenControlFile(state);
  struct stat entry = {};
  void* mapping = MAP_FAILED;
  // When another process has just set the size, this changes nothing.
  if (ftruncate(descriptor, sizeof(Counter)) == 0 && fstat(descriptor, &entry) == 0) {
    mapping = mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  }
  const int error = errno;
  close(descriptor);
  if (mapping == MAP_FAILED) {
    ThrowSystemFailure(ControlFile(state), error);
  }
  return new ControlWord(static_cast<Counter*>(mapping), entry.st_dev, entry.st_ino);
}

const ControlWord& ControlWord::Ensure(const StorePlace& place) {
  const ControlWord* current = Current();
  if (current == nullptr) {
    current = place.in_memory() ? new ControlWord(new Counter(0), 0, 0) : Map(place.path);
    current_.store(current, std::memory_order_release);
  }
  return *current;
}

void ControlWord::DropIfReplaced(const StorePlace& place) {
  const ControlWord* current = Current();
  if (current == nullptr || place.in_memory()) {
    return;
  }
  struct stat entry = {};
  const bool isSame = stat(ControlFile(place.path).c_str(), &entry) == 0 &&
                      entry.st_dev == current->device_ && entry.st_ino == current->inode_;
  if (!isSame) {
    current_.compare_exchange_strong(current, nullptr);
  }
}

}  // namespace quelt
