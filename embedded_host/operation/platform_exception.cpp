// The host library's exception. Its key function is defined here, so that this library alone
// contains its run-time type information.
#include "platform/exception.h"

namespace HostCtl::Lib::Quelt {

QueltCtlException::QueltCtlException(const char* message) : message_(message) {}
QueltCtlException::QueltCtlException(const std::string& message) : message_(message) {}
QueltCtlException::~QueltCtlException() = default;

const char* QueltCtlException::what() const noexcept { return message_.c_str(); }

}  // namespace HostCtl::Lib::Quelt
