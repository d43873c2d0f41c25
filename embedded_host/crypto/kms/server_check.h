// The check of one key management server, as a state machine that never blocks.
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

/// Resolves the server's name, connects, performs the TLS handshake and one KMIP exchange.
class ServerCheck {
 public:
  /// Starts the check. `server` and `tls` outlive the check.
  ServerCheck(const KmsServerInfo& server, const TlsContext& tls, Deadline deadline);
  ServerCheck(const ServerCheck&) = delete;
  ServerCheck& operator=(const ServerCheck&) = delete;

  bool finished() const { return finished_; }
  /// Why the server is not good; "" if it is. Valid when finished.
  const std::string& failure() const { return failure_; }

  /// The event to wait for, and until when. Valid while not finished.
  pollfd awaited() const;
  Deadline awaited_until() const { return until_; }

  /// Continues after the awaited event, or with `timedOut` after the time for it.
  void Continue(bool timedOut);

 private:
  void Step(bool timedOut);
  void StartConnecting();
  void Connect(bool timedOut);
  bool Exchange();
  bool ReceiveSome();
  void SendSome();
  void Close();
  [[noreturn]] void ThrowTimedOut() const;

  const KmsServerInfo& server_;
  const TlsContext& context_;
  const Deadline deadline_;
  Deadline until_;
  // One for each step, in this order. A step ends before the next begins.
  std::optional<AddressLookup> lookup_;
  Addresses addresses_;
  const addrinfo* address_ = nullptr;  // the one to which the socket connects
  std::optional<Socket> socket_;
  std::optional<TlsConnection> tls_;
  bool requested_ = false;
  std::string response_;
  bool finished_ = false;
  std::string failure_;
};

/// The server's name and address for messages.
std::string DescribeServer(const KmsServerInfo& server);

}  // namespace quelt
