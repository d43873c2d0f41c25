// This subject's part of a scenario: the keys are listed in the file of each section.
#pragma once

#include "embedded_host/document/section.h"

namespace quelt {

extern const Section kNetworkSection;

}  // namespace quelt
