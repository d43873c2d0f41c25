// Failures of the store as the host library's exception, with the text "<file>: <reason>".
#pragma once

#include <string>
#include <string_view>

#include "platform/exception.h"

namespace SQLite {
class Exception;
}

namespace quelt {

class Connection;
struct StorePlace;

[[noreturn]] void ThrowStoreFailure(const std::string& file, std::string_view reason);

/// The file is a Quelt host's state, but its content is damaged. The message names the command that
/// replaces it.
class DamagedState final : public HostCtl::Lib::Quelt::QueltCtlException {
 public:
  DamagedState(const std::string& file, std::string_view reason);
};

/// The reason is the system's text for the errno value `error`.
[[noreturn]] void ThrowSystemFailure(const std::string& file, int error);

/// The reason is SQLite's message, followed by the system's if there is one. Throws DamagedState
/// when SQLite reports damaged content.
[[noreturn]] void ThrowDatabaseFailure(const StorePlace& place, Connection& connection,
                                       const SQLite::Exception& failure);

// What the wait was for.
inline constexpr std::string_view kOtherWriter = "another writer to finish";
inline constexpr std::string_view kFreeConnection = "a connection";
[[noreturn]] void ThrowTimeout(const StorePlace& place, std::string_view resource);

}  // namespace quelt
