#include "tests/host/io_faults.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace quelt::io {

namespace {

std::string watched_path;  // NOLINT(*-statically-constructed-objects)
Call failing_call = Call::kRead;
int left = 0;  // calls until one fails; 0: none fails
int reason = 0;
bool is_permanent = false;
bool failed = false;

bool Fails(Call call, std::string_view path) {
  if (left == 0 || call != failing_call || !path.starts_with(watched_path) || --left > 0) {
    return false;
  }
  left = is_permanent ? 1 : 0;
  failed = true;
  errno = reason;
  return true;
}

/// For a call on an open file.
bool Fails(Call call, int descriptor) {
  if (left == 0 || call != failing_call) {
    return false;
  }
  std::array<char, 4096> path;
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = readlink(link.c_str(), path.data(), path.size());
  return length > 0 && Fails(call, {path.data(), static_cast<std::size_t>(length)});
}

}  // namespace

void Watch(const std::string& path) { watched_path = path; }

void Fail(Call call, int nth, int error, bool permanent) {
  failing_call = call;
  left = nth;
  reason = error;
  is_permanent = permanent;
  failed = false;
}

bool Heal() {
  left = 0;
  return failed;
}

}  // namespace quelt::io

using namespace quelt::io;

// Replaces the function `name` of the C library: a call on `where`, a path or a descriptor, returns
// `failure` when it must fail. The other C++ name avoids conflicts with the library's declaration.
#define REPLACE(call, where, failure, result, name, parameters, ...)                          \
  result Our_##name parameters asm(#name);                                                    \
  result Our_##name parameters {                                                              \
    static const auto real = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name)); \
    return Fails(call, where) ? failure : real(__VA_ARGS__);                                  \
  }
// Also replaces the function's variant for large files: off_t has 64 bits here.
#define REPLACE_BOTH(call, where, failure, result, name, ...) \
  REPLACE(call, where, failure, result, name, __VA_ARGS__)    \
  REPLACE(call, where, failure, result, name##64, __VA_ARGS__)

#pragma GCC visibility push(default)  // also for the shared libraries of the process

void* operator new(std::size_t size) {
  const bool fails = Fails(Call::kAllocate, watched_path);
  void* const memory = fails ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

extern "C" {

REPLACE_BOTH(Call::kOpen, path, -1, int, open, (const char* path, int flags, mode_t mode), path,
             flags, mode)
REPLACE_BOTH(Call::kOpen, path, -1, int, mkostemp, (char* path, int flags), path, flags)
REPLACE(Call::kOpen, path, -1, int, mkdir, (const char* path, mode_t mode), path, mode)
REPLACE(Call::kOpen, to, -1, int, link, (const char* from, const char* to), from, to)
REPLACE_BOTH(Call::kOpen, file, MAP_FAILED, void*, mmap,
             (void* at, size_t size, int access, int flags, int file, off_t from), at, size, access,
             flags, file, from)
REPLACE(Call::kRead, file, -1, ssize_t, read, (int file, void* to, size_t size), file, to, size)
REPLACE(Call::kRead, file, -1, ssize_t, pread64, (int file, void* to, size_t size, off_t at), file,
        to, size, at)
REPLACE(Call::kWrite, file, -1, ssize_t, write, (int file, const void* from, size_t size), file,
        from, size)
REPLACE(Call::kWrite, file, -1, ssize_t, pwrite64,
        (int file, const void* from, size_t size, off_t at), file, from, size, at)
REPLACE_BOTH(Call::kWrite, file, -1, int, ftruncate, (int file, off_t size), file, size)
REPLACE(Call::kSync, file, -1, int, fsync, (int file), file)
REPLACE(Call::kSync, file, -1, int, fdatasync, (int file), file)

}  // extern "C"
#pragma GCC visibility pop
