#include "embedded_host/operation/switches.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "embedded_host/store/control_word.h"

namespace quelt {

namespace {

constexpr unsigned kJournal = 1;
constexpr unsigned kCsd = 2;
constexpr unsigned kMetadataNode = 4;

// The switches as they were when this word had this value.
std::atomic<const ControlWord*> known_word{nullptr};
std::atomic<std::uint64_t> known_value{0};
std::atomic<std::uint64_t> faulty{0};
std::atomic<unsigned> flags{0};

// Orders those who change the above. Taken only with a connection in hand, so that it is free
// whenever the process forks.
std::mutex changing;

Switches Known() {
  const unsigned set = flags.load(std::memory_order_relaxed);
  return {faulty.load(std::memory_order_relaxed), (set & kJournal) != 0, (set & kCsd) != 0,
          (set & kMetadataNode) != 0};
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
  constexpr std::pair<const char*, unsigned> kNames[] = {
      {"journal", kJournal}, {"csd", kCsd}, {"metadataNode", kMetadataNode}};
  unsigned set = 0;
  Rows rows = db.Query("SELECT name FROM switch WHERE is_on");
  while (rows.Next()) {
    for (const auto& [name, flag] : kNames) {
      set |= rows.Text(0) == name ? flag : 0;
    }
  }
  return set;
}

[[gnu::noinline]] Switches ReloadSwitches() {
  Store::Instance().Snapshot([](Connection& db) {
    const std::lock_guard lock(changing);
    const ControlWord& word = ControlWord::Ensure(db.place());
    // The counter is read first: what is committed later counts it up once more. The snapshot
    // begins with the first statement, after that.
    const std::uint64_t value = word.Value();
    faulty.store(ReadFaulty(db), std::memory_order_relaxed);
    flags.store(ReadFlags(db), std::memory_order_relaxed);
    known_value.store(value, std::memory_order_release);
    known_word.store(&word, std::memory_order_release);
  });
  return Known();
}

}  // namespace

Switches CurrentSwitches() {
  const ControlWord* const word = ControlWord::Present();
  const bool stand = word != nullptr && word == known_word.load(std::memory_order_acquire) &&
                     word->Value() == known_value.load(std::memory_order_acquire);
  return stand || Pool::InUseHere() ? Known() : ReloadSwitches();
}

void InvalidateSwitches() {
  Store::Instance().Read([](Connection& db) {
    const std::lock_guard lock(changing);
    ControlWord::DropIfReplaced(db.place());
    ControlWord::Ensure(db.place()).Bump();
  });
}

}  // namespace quelt
