#include "embedded_host/operation.h"

namespace quelt {

bool Operation::Admit() { return true; }

}  // namespace quelt
