// This subject's sections of a scenario. Each section's source file lists its keys.
#pragma once

#include "embedded_host/document/section.h"

namespace quelt {

extern const Section kDiskGroupsSection;
extern const Section kObjectsSection;

}  // namespace quelt
