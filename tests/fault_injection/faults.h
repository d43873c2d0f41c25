// Faults during one call into the module. All state is local to the calling thread.
#pragma once

#include "module/interpreter.h"

namespace fault_injection {

enum class Kind : int {
  kCall,         // a call into the interpreter (faulty_calls.cpp)
  kMemory,       // an allocation by the interpreter, of any domain
  kNativeMemory  // an allocation by the module itself
};

/// Whether this call or allocation fails; counts it.
bool Fails(Kind kind, const char* name);

}  // namespace fault_injection
