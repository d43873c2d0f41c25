// The system's calls on the files of one folder, as the embedded host and SQLite make them:
// counted, and failing on demand; and the executable's allocations. The functions of the C library
// and operator new are replaced in the whole executable.
#pragma once

#include <string>

namespace quelt::io {

/// kOpen: all that needs a new file, folder or area. kAllocate: any operator new.
enum class Call { kRead, kWrite, kSync, kOpen, kAllocate };

/// From now on looks at the files whose paths begin with this.
void Watch(const std::string& path);

/// Lets the nth of these calls from now on (from 1) fail with the errno value `error`, and all that
/// follow too when `forGood`.
void Fail(Call call, int nth, int error, bool forGood);
/// Ends it; true when a call failed.
bool Heal();

}  // namespace quelt::io
