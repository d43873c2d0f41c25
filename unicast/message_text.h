// How messages write values.
#pragma once

namespace pyquelt {

inline const char* FlagText(bool flag) { return flag ? "1" : "0"; }

}  // namespace pyquelt
