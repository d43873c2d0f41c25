// The kernel statuses that the object operations of the embedded host return.
#pragma once

#include <cstdint>

namespace quelt {

enum KernelStatus : std::int32_t {
  kOk = 0,
  kFailure = 0x0BAD0000 + 1,
  kNotFound = 0x0BAD0000 + 3,
  kBusy = 0x0BAD0000 + 4,
  kAlreadyExists = 0x0BAD0000 + 5,
  kLimitExceeded = 0x0BAD0000 + 6,
  kBadParameter = 0x0BAD0000 + 7,
  kIoError = 0x0BAD0000 + 10,
  kNotInitialized = 0x0BAD0000 + 49,
  kNoHealthyComponent = 0x0BAD0000 + 278,
};

}  // namespace quelt
