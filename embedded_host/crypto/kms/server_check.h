// The check of one key management server, in steps that never wait.
#pragma once

#include <poll.h>

#include <chrono>
#include <optional>
#include <string>

#include "embedded_host/crypto/kms/address_lookup.h"
#include "embedded_host/crypto/kms/server.h"
#include "embedded_host/crypto/kms/socket.h"
#include "embedded_host/crypto/kms/tls.h"

namespace quelt {

using Deadline = std::chrono::steady_clock::time_point;

/// Looks the server up, connects, shakes hands and asks one KMIP question.
class ServerCheck {
 public:
  /// Starts. `server` and `tls` outlive the check.
  ServerCheck(const KmsServerInfo& server, const TlsContext& tls, Deadline deadline);
  ServerCheck(const ServerCheck&) = delete;
  ServerCheck& operator=(const ServerCheck&) = delete;

  bool finished() const { return finished_; }
  /// Why the server is not good; "" if it is. Once finished.
  const std::string& failure() const { return failure_; }

  /// What to wait for, and until when. While not finished.
  pollfd awaited() const;
  Deadline awaited_until() const { return until_; }

  /// Continues after the awaited event, or after the time for it is over.
  void Continue(bool timeIsOver);

 private:
  void Step(bool timeIsOver);
  void StartConnecting();
  void Connect(bool timeIsOver);
  bool Talk();
  bool ReceiveSome();
  void SendSome();
  void Close();
  [[noreturn]] void ThrowTimedOut() const;

  const KmsServerInfo& server_;
  const TlsContext& context_;
  const Deadline deadline_;
  Deadline until_;
  // Each begins when the one before it has done its part.
  std::optional<AddressLookup> lookup_;
  Addresses addresses_;
  const addrinfo* address_ = nullptr;  // the one that is being connected to
  std::optional<Socket> socket_;
  std::optional<TlsConnection> tls_;
  bool requested_ = false;
  std::string response_;
  bool finished_ = false;
  std::string failure_;
};

/// The server as reasons name it.
std::string NameOf(const KmsServerInfo& server);

}  // namespace quelt
