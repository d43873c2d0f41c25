// This subject's part of a scenario: the keys are listed in the file of each section.
#pragma once

#include "embedded_host/document/section.h"

namespace quelt {

extern const Section kDisksSection;
extern const Section kKeysSection;

}  // namespace quelt
