// Injects failures into system calls of the embedded host and SQLite on the files of one folder,
// and into allocations. Replaces functions of the C library and operator new in the whole
// executable.
#pragma once

#include <string>

namespace quelt::io {

/// kOpen: any call that creates or opens a file, folder or mapping. kAllocate: any operator new.
enum class Call { kRead, kWrite, kSync, kOpen, kAllocate };

/// Selects the files whose paths begin with `path`.
void Watch(const std::string& path);

/// Makes the nth of the following calls (from 1) fail with the errno value `error`; if `permanent`,
/// all later ones too.
void Fail(Call call, int nth, int error, bool permanent);
/// Stops the failures; true if a call failed.
bool Heal();

}  // namespace quelt::io
