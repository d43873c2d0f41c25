// The host library's exception: its run-time type identity is emitted here, and only here.
#include "platform/exception.h"

namespace HostCtl::Lib::Quelt {

QueltCtlException::QueltCtlException(const char* message) : message_(message) {}
QueltCtlException::QueltCtlException(const std::string& message) : message_(message) {}
QueltCtlException::~QueltCtlException() = default;

const char* QueltCtlException::what() const noexcept { return message_.c_str(); }

}  // namespace HostCtl::Lib::Quelt
