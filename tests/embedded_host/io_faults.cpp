#include "tests/embedded_host/io_faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>

namespace quelt::io {

namespace {

std::string watched_path;                // NOLINT(*-statically-constructed-objects)
std::array<bool, 4096> watched_files{};  // by descriptor
Call failing_call = Call::kRead;
int left = 0;  // calls until it fails; 0: none does
int reason = 0;
bool goes_on = false;
bool failed = false;

bool Fails(Call call) {
  if (left == 0 || call != failing_call || --left > 0) {
    return false;
  }
  left = goes_on ? 1 : 0;
  failed = true;
  errno = reason;
  return true;
}

bool Fails(Call call, int descriptor) {
  return descriptor >= 0 && watched_files[static_cast<std::size_t>(descriptor)] && Fails(call);
}

bool IsWatched(const char* path) {
  return !watched_path.empty() && std::string(path).starts_with(watched_path);
}

/// `open` makes a descriptor of a file at `path`.
template <typename Open>
int Opened(const char* path, Open&& open) {
  const bool watched = IsWatched(path);
  if (watched && Fails(Call::kOpen)) {
    return -1;
  }
  const int descriptor = open();
  if (descriptor >= 0) {
    watched_files[static_cast<std::size_t>(descriptor)] = watched;
  }
  return descriptor;
}

}  // namespace

void Watch(const std::string& path) { watched_path = path; }

void Fail(Call call, int nth, int error, bool forGood) {
  failing_call = call;
  left = nth;
  reason = error;
  goes_on = forGood;
  failed = false;
}

bool Heal() {
  left = 0;
  return failed;
}

}  // namespace quelt::io

using namespace quelt::io;

// The function that is replaced.
#define REAL(name) reinterpret_cast<decltype(&(name))>(dlsym(RTLD_NEXT, #name))

// A function of a descriptor; `failure` is what it gives then.
#define ON_DESCRIPTOR(call, failure, result, name, parameters, descriptor, ...) \
  result name parameters {                                                      \
    static const auto real = REAL(name);                                        \
    return Fails(call, descriptor) ? failure : real(__VA_ARGS__);               \
  }

// A function that opens a file, with or without a mode.
#define OPENING(name)                                             \
  int name(const char* path, int flags, ...) {                    \
    static const auto real = REAL(name);                          \
    va_list rest;                                                 \
    va_start(rest, flags);                                        \
    const mode_t mode = va_arg(rest, mode_t);                     \
    va_end(rest);                                                 \
    return Opened(path, [&] { return real(path, flags, mode); }); \
  }

#pragma GCC visibility push(default)  // also for the shared libraries of the process
extern "C" {

OPENING(open)
OPENING(open64)

int mkostemp(char* path, int flags) {
  static const auto real = REAL(mkostemp);
  return Opened(path, [&] { return real(path, flags); });
}
int mkostemp64(char* path, int flags) {
  static const auto real = REAL(mkostemp64);
  return Opened(path, [&] { return real(path, flags); });
}
int mkdir(const char* path, mode_t mode) noexcept {
  static const auto real = REAL(mkdir);
  return IsWatched(path) && Fails(Call::kOpen) ? -1 : real(path, mode);
}
int link(const char* from, const char* to) noexcept {
  static const auto real = REAL(link);
  return IsWatched(to) && Fails(Call::kOpen) ? -1 : real(from, to);
}

ON_DESCRIPTOR(Call::kOpen, MAP_FAILED, void*, mmap,
              (void* at, size_t size, int access, int flags, int file, off_t from) noexcept, file,
              at, size, access, flags, file, from)
ON_DESCRIPTOR(Call::kOpen, MAP_FAILED, void*, mmap64,
              (void* at, size_t size, int access, int flags, int file, off64_t from) noexcept, file,
              at, size, access, flags, file, from)
ON_DESCRIPTOR(Call::kRead, -1, ssize_t, read, (int file, void* to, size_t size), file, file, to,
              size)
ON_DESCRIPTOR(Call::kRead, -1, ssize_t, pread64, (int file, void* to, size_t size, off64_t at),
              file, file, to, size, at)
ON_DESCRIPTOR(Call::kWrite, -1, ssize_t, write, (int file, const void* from, size_t size), file,
              file, from, size)
ON_DESCRIPTOR(Call::kWrite, -1, ssize_t, pwrite64,
              (int file, const void* from, size_t size, off64_t at), file, file, from, size, at)
ON_DESCRIPTOR(Call::kWrite, -1, int, ftruncate, (int file, off_t size) noexcept, file, file, size)
ON_DESCRIPTOR(Call::kWrite, -1, int, ftruncate64, (int file, off64_t size) noexcept, file, file,
              size)
ON_DESCRIPTOR(Call::kSync, -1, int, fsync, (int file), file, file)
ON_DESCRIPTOR(Call::kSync, -1, int, fdatasync, (int file), file, file)

}  // extern "C"
#pragma GCC visibility pop
