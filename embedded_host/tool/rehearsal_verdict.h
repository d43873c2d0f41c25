// The verdict on one run of a rehearsed command.
#pragma once

#include <array>
#include <string_view>

#include "embedded_host/tool/rehearsed_command.h"
#include "embedded_host/tool/state_comparison.h"

namespace quelt {

enum class Verdict {
  kClean,      ///< failure reported, host as before
  kCompleted,  ///< success reported, host as after the baseline
  kLate,       ///< failure reported, host as after the baseline
  kHalfDone,   ///< failure reported, host in neither state
  kHidden,     ///< success reported, host not as after the baseline
  kHung,       ///< killed at the time limit, or processes of it were
  kCrashed,    ///< ended by a signal of its own
};

inline constexpr std::array<std::string_view, 7> kVerdictNames = {
    "clean", "completed", "late", "half done", "hidden", "hung", "crashed"};

inline std::string_view NameOf(Verdict verdict) {
  return kVerdictNames[static_cast<std::size_t>(verdict)];
}

/// True if the verdict is a finding.
inline bool IsFinding(Verdict verdict) { return verdict > Verdict::kLate; }
bool IsFinding(std::string_view name);

/// `killed`: a fault killed a process of the command.
Verdict Judge(const CommandEnd& end, bool killed, const StateComparison& state);

/// True if a user would run the command again after this.
inline bool InvitesRetry(Verdict verdict) {
  return verdict == Verdict::kClean || verdict == Verdict::kLate || verdict == Verdict::kHalfDone;
}

/// The verdict on a run and on the retry after it: that of the retry, unless it is no finding and
/// the first run was clean or late without being killed.
Verdict Combine(Verdict first, Verdict retry, bool killed);

}  // namespace quelt
