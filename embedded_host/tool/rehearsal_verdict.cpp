#include "embedded_host/tool/rehearsal_verdict.h"

#include <sys/wait.h>

#include <algorithm>

namespace quelt {

bool IsFinding(std::string_view name) {
  const auto* const found = std::find(kVerdictNames.begin(), kVerdictNames.end(), name);
  return IsFinding(static_cast<Verdict>(found - kVerdictNames.begin()));
}

Verdict Judge(const CommandEnd& end, bool killed, const StateComparison& state) {
  if (end.timedOut || end.outlived) {
    return Verdict::kHung;
  }
  if (WIFSIGNALED(end.status) && !killed) {
    return Verdict::kCrashed;
  }
  if (WIFEXITED(end.status) && WEXITSTATUS(end.status) == 0) {
    return state.isAfter ? Verdict::kCompleted : Verdict::kHidden;
  }
  return state.isBefore ? Verdict::kClean : state.isAfter ? Verdict::kLate : Verdict::kHalfDone;
}

Verdict Combine(Verdict first, Verdict retry, bool killed) {
  const bool keeps_first = !killed && !IsFinding(first) && !IsFinding(retry);
  return keeps_first ? first : retry;
}

}  // namespace quelt
