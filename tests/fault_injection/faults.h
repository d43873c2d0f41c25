// What is to fail during one call into the module. All state belongs to the thread that makes the
// call.
#pragma once

#include "module/interpreter.h"

namespace fault_injection {

enum class Kind : int {
  kCall,         // a call into the interpreter (faulty_calls.cpp)
  kMemory,       // an allocation by the interpreter, whatever the domain
  kNativeMemory  // an allocation by the module itself
};

/// Whether a possible failure of this kind and name happens now.
bool Fails(Kind kind, const char* name);

}  // namespace fault_injection
