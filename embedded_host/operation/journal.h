// The journal: which operations were called, with what arguments, and how they ended.
//
// It stands in the state, so that it can be switched on, read and cleared from other processes. A
// record is written when its operation has ended and has given its connection back. What goes wrong
// with that is nobody's concern but the journal's: the operation ends as it would have without it.
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

/// The newest records stay; a text longer than kMaxJournalTextBytes bytes is cut.
inline constexpr std::int64_t kMaxJournalRecords = 100'000;
inline constexpr std::size_t kMaxJournalTextBytes = 4096;

/// One operation that ended.
struct JournalRecord {
  std::int64_t number = 0;   ///< from 1, over all processes of the host, in the order of ending
  std::int64_t time = 0;     ///< of its beginning, microseconds since 1970 (UTC)
  std::int64_t process = 0;  ///< process id
  std::string operation;
  std::string arguments;      ///< a JSON object; a secret stands as "(5 bytes)"
  std::string outcome;        ///< "answered", "refused" (by a fault) or "threw"
  std::string message;        ///< of what was thrown; "false", "null" or a status that was answered
  std::int64_t duration = 0;  ///< microseconds
};

/// The arguments as a JSON object; nothing when there is no memory for it. An operation without
/// this text is not recorded.
std::optional<std::string> ArgumentsText(std::initializer_list<Argument> arguments) noexcept;

/// One operation that is running; written at the one call that says how it ended.
class JournalEntry {
 public:
  /// `arguments`: from ArgumentsText.
  JournalEntry(OperationId operation, std::string arguments);

  void Answered() noexcept { End("answered"); }
  /// For operations whose answer says whether they went well. `refused`: a fault gave it.
  template <typename Answer>
  void Answered(const Answer& answer, bool refused) noexcept {
    try {
      End(refused ? "refused" : "answered", MessageOf(answer));
    } catch (const std::bad_alloc&) {
      // As in End: what is lost is the record.
    }
  }
  /// Inside a handler: the exception is the one being handled.
  void Threw() noexcept;

 private:
  /// "" for one that went well.
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

/// Switches the journal on or off, for all processes of the host. Its records stay.
void SwitchJournal(bool on);
void ClearJournal();

/// All records, in order.
std::vector<JournalRecord> ReadJournal();

}  // namespace quelt
