// Why a key management server is not good.
#pragma once

#include <stdexcept>

namespace quelt {

/// The cause in the user's terms; the text follows the server's name.
class ServerFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace quelt
