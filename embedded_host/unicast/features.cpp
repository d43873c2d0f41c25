// Feature flags. A listing asks them twice for each agent, with the interpreter lock held: the
// answer is at hand, costs no look into the state and leaves no record in the journal.
#include "embedded_host/operation/operation.h"
#include "embedded_host/operation/switches.h"
#include "platform/quelt_util.h"

namespace ZelCtl::Quelt {

using quelt::CurrentSwitches;
using quelt::Operation;
using quelt::Refused;

bool QueltUtil::IsQueltCSDFeatureEnabled() {
  return Operation("IsQueltCSDFeatureEnabled")
      .RunUnrecorded([] { return CurrentSwitches().csd; }, Refused(false));
}

bool QueltUtil::IsQueltMetadataNodeFeatureEnabled() {
  return Operation("IsQueltMetadataNodeFeatureEnabled")
      .RunUnrecorded([] { return CurrentSwitches().metadataNode; }, Refused(false));
}

}  // namespace ZelCtl::Quelt
