// Where the host's state lives.
#pragma once

#include <string>

namespace quelt {

/// QUELT_HOST_STATE, else $XDG_STATE_HOME/quelt/host.db, else ~/.local/state/quelt/host.db, the
/// home directory taken from the password database when HOME is unset. ":memory:" is passed on.
std::string StatePath();

}  // namespace quelt
