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

std::atomic<const ControlWord*> ControlWord::present_{nullptr};
const ControlWord* ControlWord::latest_ = nullptr;

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
  void* place = MAP_FAILED;
  // Growing it again where another process just did changes nothing.
  if (ftruncate(descriptor, sizeof(Counter)) == 0 && fstat(descriptor, &entry) == 0) {
    place = mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  }
  const int error = errno;
  close(descriptor);
  if (place == MAP_FAILED) {
    ThrowSystemFailure(ControlFile(state), error);
  }
  return new ControlWord(static_cast<Counter*>(place), entry.st_dev, entry.st_ino);
}

const ControlWord& ControlWord::Ensure(const StorePlace& place) {
  const ControlWord* present = Present();
  if (present == nullptr) {
    present = place.in_memory() ? new ControlWord(new Counter(0), 0, 0) : Map(place.path);
    present_.store(present, std::memory_order_release);
  }
  return *present;
}

void ControlWord::DropIfReplaced(const StorePlace& place) {
  const ControlWord* present = Present();
  if (present == nullptr || place.in_memory()) {
    return;
  }
  struct stat entry = {};
  const bool stands = stat(ControlFile(place.path).c_str(), &entry) == 0 &&
                      entry.st_dev == present->device_ && entry.st_ino == present->inode_;
  if (!stands) {
    present_.compare_exchange_strong(present, nullptr);
  }
}

}  // namespace quelt
