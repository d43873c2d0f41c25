// State files: a file with any content is opened and read, or rejected with an exception that names
// it. An input is a list of changes to a fresh host's file: an offset (3 bytes,
// big-endian, modulo the file's size), a count (1 byte; 255: the file ends here), the bytes.
#include "embedded_host/store/state_file.h"

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

std::string FreshFile(const quelt::StorePlace& place) {
  (void)quelt::OpenState(place);
  std::ifstream file(place.path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
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
    if (count == kFileEnds) {
      file.resize(offset);
    }
    const std::string bytes = changes.substr(at + kHead, count == kFileEnds ? 0 : count);
    file.replace(offset, bytes.size(), bytes);
    at += kHead + bytes.size();
  }
  return file;
}

}  // namespace

void Check(const std::string& input) {
  static const Folder folder;
  static const quelt::StorePlace place{folder.path + "/host.db", std::chrono::seconds(1)};
  static const std::string fresh = FreshFile(place);
  for (const auto& entry : std::filesystem::directory_iterator(folder.path)) {
    std::filesystem::remove(entry);
  }
  std::ofstream(place.path, std::ios::binary) << Changed(fresh, input);
  try {
    ReadAll(place);
  } catch (const HostCtl::Lib::Quelt::QueltCtlException&) {
    // rejected
  }
}
