// The journal: which operations were called, with what arguments, and how they ended.
//
// The journal is stored in the host's state: any process can switch it on or off, read it and clear
// it. A record is written after its operation has ended and released its connection. When writing
// fails, the record is lost; the operation's result does not change. The time of a record is that
// of the system clock; its duration is measured with the steady clock.
#pragma once

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "embedded_host/operation/argument.h"
#include "embedded_host/operation/operation_names.h"

namespace quelt {

/// Only the newest records are stored; longer texts are truncated.
inline constexpr std::int64_t kMaxJournalRecords = 100'000;
inline constexpr std::size_t kMaxJournalTextBytes = 4096;

/// One operation that has ended.
struct JournalRecord {
  std::int64_t number = 0;   ///< from 1, across all processes of the host, in order of ending
  std::int64_t time = 0;     ///< of the start, microseconds since 1970 (UTC)
  std::int64_t process = 0;  ///< process id
  std::int64_t thread = 0;   ///< the kernel's id of the thread; of the main thread, the process id
  std::string operation;
  std::string arguments;      ///< a JSON object; a secret is shown as "(5 bytes)"
  std::string outcome;        ///< "answered", "refused" (by a fault), "threw" or "killed" (by one)
  std::string message;        ///< the exception's; the answer "false", "null" or a status; or when
                              ///< the process was killed
  std::int64_t duration = 0;  ///< microseconds
};

/// The arguments as a JSON object; std::nullopt when out of memory. An operation without this text
/// is not recorded.
std::optional<std::string> ArgumentsText(std::initializer_list<Argument> arguments) noexcept;

/// The record of a running operation. Answered, Threw or Killed writes it; call one of them, once.
class JournalEntry {
 public:
  /// `arguments`: from ArgumentsText.
  JournalEntry(OperationId operation, std::string arguments);

  void Answered() noexcept { End("answered"); }
  /// For operations whose answer tells whether they succeeded. `refused`: the answer is that of a
  /// fault.
  template <typename Answer>
  void Answered(const Answer& answer, bool refused) noexcept {
    try {
      End(refused ? "refused" : "answered", MessageOf(answer));
    } catch (const std::bad_alloc&) {
      // As in End: only the record is lost.
    }
  }
  /// Called in a catch block: records the exception being handled.
  void Threw() noexcept;
  /// Called before a fault kills this process.
  void Killed(const char* when) noexcept { End("killed", when); }

 private:
  /// "" for the answer of a success.
  template <typename Answer>
  static std::string MessageOf(const Answer& answer) {
    if constexpr (std::is_same_v<Answer, bool>) {
      return answer ? "" : "false";
    } else if constexpr (std::is_integral_v<Answer>) {
      return answer == 0 ? "" : StatusText(answer);
    } else {
      return answer ? "" : "null";
    }
  }
  static std::string StatusText(std::int64_t status);
  void End(const char* outcome, std::string_view message = {}) noexcept;

  const OperationId operation_;
  const std::string arguments_;
  const std::chrono::system_clock::time_point time_;
  const std::chrono::steady_clock::time_point start_;
};

/// Switches the journal on or off for all processes of the host. Does not remove records.
void SwitchJournal(bool on);
void ClearJournal();

/// Reads the journal in steps.
class JournalReader {
 public:
  /// Starts with the first record whose number is greater than `after`.
  explicit JournalReader(std::int64_t after = 0) : last_(after) {}

  /// The records that were written since the previous call, sorted by number. If the journal was
  /// cleared in the meantime, numbers start again at 1.
  std::vector<JournalRecord> ReadNew();

 private:
  std::int64_t last_;                      ///< the number of the last record
  std::optional<std::int64_t> last_time_;  ///< its time, once a record has been read
};

/// All records, sorted by number.
std::vector<JournalRecord> ReadJournal();

}  // namespace quelt
