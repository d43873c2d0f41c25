#include "embedded_host/store/switches.h"

#include <algorithm>
#include <atomic>
#include <ctime>
#include <mutex>

#include "embedded_host/store/control_word.h"

namespace quelt {

namespace {

/// How long a removed control file may go unnoticed, in nanoseconds.
constexpr std::int64_t kLookAgain = 50'000'000;

constexpr unsigned kJournal = 1;
constexpr unsigned kCsd = 2;
constexpr unsigned kMetadataNode = 4;

// The switches as they were at the counter's value `known` - 1; 0: not known.
std::atomic<const ControlWord*> word{nullptr};
std::atomic<std::uint64_t> known{0};
std::atomic<std::uint64_t> faulty{0};
std::atomic<unsigned> flags{0};
std::atomic<std::int64_t> look_again{0};

// Orders those who change the above. Taken only with a connection in hand, so that it is free
// whenever the process forks.
std::mutex changing;

/// A clock that costs little more than a memory read, and is a few milliseconds coarse.
std::int64_t Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

Switches Known() {
  const unsigned set = flags.load(std::memory_order_relaxed);
  return {faulty.load(std::memory_order_relaxed), (set & kJournal) != 0, (set & kCsd) != 0,
          (set & kMetadataNode) != 0};
}

/// The control word that all processes of the host look at now. `changing` is held.
const ControlWord& PresentWord(const StorePlace& place) {
  const ControlWord* present = word.load(std::memory_order_relaxed);
  if (present == nullptr || !(place.in_memory() || present->StandsAt(place.path))) {
    present = place.in_memory() ? ControlWord::Private() : ControlWord::Map(place.path);
    known.store(0, std::memory_order_relaxed);
    word.store(present, std::memory_order_release);
  }
  return *present;
}

std::uint64_t ReadFaulty(Connection& db) {
  std::uint64_t bits = 0;
  Rows rows = db.Query("SELECT operation FROM fault");
  while (rows.Next()) {
    const auto name = std::find(kOperationNames.begin(), kOperationNames.end(), rows.Text(0));
    if (name != kOperationNames.end()) {
      bits |= std::uint64_t{1} << (name - kOperationNames.begin());
    }
  }
  return bits;
}

unsigned ReadFlags(Connection& db) {
  unsigned set = 0;
  Rows rows = db.Query("SELECT name FROM switch WHERE is_on");
  while (rows.Next()) {
    const std::string name = rows.Text(0);
    set |= name == "journal"        ? kJournal
           : name == "csd"          ? kCsd
           : name == "metadataNode" ? kMetadataNode
                                    : 0;
  }
  return set;
}

Switches LookAgain() {
  Store::Instance().Snapshot([](Connection& db) {
    const std::lock_guard lock(changing);
    // The counter is read first: what is committed later counts it up once more. The snapshot
    // begins with the first statement, after that.
    const std::uint64_t value = PresentWord(db.place()).Value();
    faulty.store(ReadFaulty(db), std::memory_order_relaxed);
    flags.store(ReadFlags(db), std::memory_order_relaxed);
    known.store(value + 1, std::memory_order_release);
    look_again.store(Now() + kLookAgain, std::memory_order_relaxed);
  });
  return Known();
}

}  // namespace

Switches CurrentSwitches() {
  const ControlWord* const present = word.load(std::memory_order_acquire);
  const std::uint64_t at = known.load(std::memory_order_acquire);
  if (present != nullptr && at == present->Value() + 1 &&
      Now() < look_again.load(std::memory_order_relaxed)) {
    return Known();
  }
  return Pool::InUseHere() ? Known() : LookAgain();
}

void AnnounceSwitches() {
  Store::Instance().Read([](Connection& db) {
    const std::lock_guard lock(changing);
    PresentWord(db.place()).Bump();
  });
}

}  // namespace quelt
