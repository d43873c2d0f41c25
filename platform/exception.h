// The one exception type through which the host library and the module report a failure.
//
// Its run-time type identity belongs to the host library: the class is visible in every shared
// object, and its key function (the destructor) is defined in the host library alone, so that an
// exception thrown on one side is caught by type on the other.
#pragma once

#include <exception>
#include <string>

namespace HostCtl::Lib::Quelt {

/// A failure with a message. Throwing, catching and copying it needs no GIL.
class __attribute__((visibility("default"))) QueltCtlException : public std::exception {
 public:
  /// Copies the NUL-terminated `message`; the detail stays empty.
  explicit QueltCtlException(const char* message);
  /// Copies `message`; the detail stays empty.
  explicit QueltCtlException(const std::string& message);
  QueltCtlException(const QueltCtlException&) = default;
  ~QueltCtlException() override;

  /// The message, up to its first NUL. Valid as long as the exception.
  const char* what() const noexcept override;

 private:
  std::string message_;
  std::string detail_;
};

}  // namespace HostCtl::Lib::Quelt
