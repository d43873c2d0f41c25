// Why a key management server is not good.
#pragma once

#include <stdexcept>

namespace quelt {

/// Its text continues a sentence that starts with the server's name.
class ServerFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace quelt
