// Failures of the store, in one form: "<file>: <reason>", as the host library's exception.
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

/// The file is a Quelt host's state, but its content is damaged. The text names the command that
/// replaces it.
class DamagedState final : public HostCtl::Lib::Quelt::QueltCtlException {
 public:
  DamagedState(const std::string& file, std::string_view reason);
};

/// The reason is the system's text for the errno value `error`.
[[noreturn]] void ThrowSystemFailure(const std::string& file, int error);

/// The reason is SQLite's text, with the system's where there is one. Throws DamagedState when
/// SQLite finds the content damaged.
[[noreturn]] void ThrowDatabaseFailure(const StorePlace& place, Connection& connection,
                                       const SQLite::Exception& failure);

// What was waited for in vain.
inline constexpr std::string_view kOtherWriter = "another writer to finish";
inline constexpr std::string_view kFreeConnection = "a connection";
[[noreturn]] void ThrowTimeout(const StorePlace& place, std::string_view what);

}  // namespace quelt
