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

// The cached switches, and the control word's value for which they are current.
std::atomic<const ControlWord*> cached_word{nullptr};
std::atomic<std::uint64_t> cached_value{0};
std::atomic<std::uint64_t> cached_faulty{0};
std::atomic<unsigned> cached_flags{0};

// Held while the cache or the control word's mapping changes. Locked only by threads that hold a
// connection: so it is never locked during a fork.
std::mutex cache_mutex;

Switches CachedSwitches() {
  const unsigned set = cached_flags.load(std::memory_order_relaxed);
  return {cached_faulty.load(std::memory_order_relaxed), (set & kJournal) != 0, (set & kCsd) != 0,
          (set & kMetadataNode) != 0};
}

std::uint64_t ReadFaulty(Connection& db) {
  std::uint64_t bits = 0;
  Rows rows = db.Query("SELECT operation FROM injected_fault");
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
    const std::lock_guard lock(cache_mutex);
    const ControlWord& word = ControlWord::Ensure(db.place());
    // Read the counter before the snapshot begins, which is at the first statement: a later commit
    // increments the counter again.
    const std::uint64_t value = word.Value();
    cached_faulty.store(ReadFaulty(db), std::memory_order_relaxed);
    cached_flags.store(ReadFlags(db), std::memory_order_relaxed);
    cached_value.store(value, std::memory_order_release);
    cached_word.store(&word, std::memory_order_release);
  });
  return CachedSwitches();
}

}  // namespace

Switches CurrentSwitches() {
  const ControlWord* const word = ControlWord::Current();
  const bool current = word != nullptr && word == cached_word.load(std::memory_order_acquire) &&
                       word->Value() == cached_value.load(std::memory_order_acquire);
  return current || Pool::InUseHere() ? CachedSwitches() : ReloadSwitches();
}

void InvalidateSwitches() {
  Store::Instance().Read([](Connection& db) {
    const std::lock_guard lock(cache_mutex);
    ControlWord::DropIfReplaced(db.place());
    ControlWord::Ensure(db.place()).Increment();
  });
}

}  // namespace quelt
