// State files: a file with any content is opened and read, or rejected with an exception that names
// it. An input is a list of changes to a fresh host's file: an offset (3 bytes,
// big-endian, modulo the file's size), a count (1 byte; 255: the file ends here), the bytes.
#include "embedded_host/store/state_file.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/failure.h"
#include "embedded_host/store/transaction.h"
#include "platform/exception.h"
#include "tests/fuzz/fuzz.h"

namespace {

/// A temporary folder, removed at normal exit.
struct Folder {
  std::string path = std::filesystem::temp_directory_path() / "quelt-XXXXXX";
  Folder() { Require(mkdtemp(path.data()) != nullptr, "a temporary folder"); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

void ReadAll(const quelt::StorePlace& place) {
  const std::unique_ptr<quelt::Connection> connection = quelt::OpenState(place);
  try {
    const quelt::Transaction transaction(*connection, quelt::Transaction::Kind::kRead);
    (void)quelt::DumpScenario(*connection, true);
  } catch (const SQLite::Exception& failure) {
    quelt::ThrowDatabaseFailure(place, *connection, failure);
  }
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void Remove(const std::string& path) {
  for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
    (void)unlink((path + suffix).c_str());
  }
}

std::string FreshFile(const quelt::StorePlace& place) {
  (void)quelt::OpenState(place);
  std::string bytes = ReadFile(place.path);
  Remove(place.path);
  return bytes;
}

std::string Changed(std::string file, const std::string& changes) {
  constexpr std::size_t kHead = 4;
  constexpr std::size_t kFileEnds = 255;
  const auto byte = [&](std::size_t at) -> std::size_t {
    return static_cast<unsigned char>(changes[at]);
  };
  for (std::size_t at = 0; at + kHead <= changes.size() && !file.empty();) {
    const std::size_t offset = (byte(at) << 16 | byte(at + 1) << 8 | byte(at + 2)) % file.size();
    const std::size_t count = byte(at + 3);
    at += kHead;
    if (count == kFileEnds) {
      file.resize(offset);
    } else {
      const std::string bytes = changes.substr(at, count);
      file.replace(offset, bytes.size(), bytes);
      at += count;
    }
  }
  return file;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  const quelt::StorePlace place{folder.path + "/host.db", std::chrono::seconds(1)};
  static const std::string fresh = FreshFile(place);
  std::ofstream(place.path, std::ios::binary) << Changed(fresh, TextOf(data, size));
  try {
    ReadAll(place);
  } catch (const HostCtl::Lib::Quelt::QueltCtlException&) {
    // rejected
  }
  Remove(place.path);
  return 0;
}
