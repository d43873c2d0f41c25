// Feature flags. A listing reads them twice for each agent while it holds the GIL: they come from
// the switches in memory, without a query, and are not journaled.
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
