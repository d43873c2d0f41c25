// Feature flags. A listing asks them twice for each agent, with the interpreter lock held: the
// answer is at hand, costs no look into the state and leaves no record in the journal.
#include "embedded_host/operation/operation.h"
#include "embedded_host/operation/switches.h"
#include "platform/quelt_util.h"

namespace ZelCtl::Quelt {

using quelt::CurrentSwitches;
using quelt::FailureAnswer;
using quelt::Operation;

bool QueltUtil::IsQueltCSDFeatureEnabled() {
  return Operation("IsQueltCSDFeatureEnabled")
      .RunWithoutJournal([] { return CurrentSwitches().csd; }, FailureAnswer(false));
}

bool QueltUtil::IsQueltMetadataNodeFeatureEnabled() {
  return Operation("IsQueltMetadataNodeFeatureEnabled")
      .RunWithoutJournal([] { return CurrentSwitches().metadataNode; }, FailureAnswer(false));
}

}  // namespace ZelCtl::Quelt
