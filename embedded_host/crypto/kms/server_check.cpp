#include "embedded_host/crypto/kms/server_check.h"

#include <array>

#include "embedded_host/crypto/kms/kmip.h"
#include "embedded_host/crypto/kms/server_failure.h"

namespace quelt {

namespace {

/// The port number registered for KMIP.
constexpr int kKmipPort = 5696;

int PortOf(const KmsServerInfo& server) { return server.port == -1 ? kKmipPort : server.port; }

}  // namespace

std::string DescribeServer(const KmsServerInfo& server) {
  return "KMS server \"" + server.name + "\" (" + server.address + ":" +
         std::to_string(PortOf(server)) + ")";
}

ServerCheck::ServerCheck(const KmsServerInfo& server, const TlsContext& tls, Deadline deadline)
    : server_(server), context_(tls), deadline_(deadline), until_(deadline) {
  Continue(false);
}

void ServerCheck::Continue(bool timedOut) {
  try {
    Step(timedOut);
  } catch (const ServerFailure& failure) {
    finished_ = true;
    failure_ = failure.what();
  }
  if (finished_) {
    Close();
  }
}

/// Closes the connection at once, while other checks continue. Sends the pending TLS alert, if the
/// server still receives it.
void ServerCheck::Close() {
  try {
    if (tls_) {
      tls_->Close();
      SendSome();
    }
  } catch (const ServerFailure&) {
    // The result of the check is already known.
  }
  tls_.reset();
  socket_.reset();
}

void ServerCheck::Step(bool timedOut) {
  if (tls_) {
    if (timedOut) {
      ThrowTimedOut();
    }
    finished_ = Exchange();
  } else if (socket_) {
    Connect(timedOut);
  } else if (lookup_) {
    if (timedOut) {
      ThrowTimedOut();
    }
    addresses_ = lookup_->Take();
    lookup_.reset();
    address_ = addresses_.get();
    StartConnecting();
  } else if (!server_.proxyAddress.empty()) {
    throw ServerFailure("it is behind a proxy, which this host cannot use");
  } else if (server_.address.empty()) {
    throw ServerFailure("it has no address");
  } else {
    lookup_.emplace(server_.address, PortOf(server_));
  }
}

/// Divides the remaining time equally among the remaining addresses.
void ServerCheck::StartConnecting() {
  std::ptrdiff_t left = 0;
  for (const addrinfo* next = address_; next != nullptr; next = next->ai_next) {
    ++left;
  }
  const Deadline now = std::chrono::steady_clock::now();
  until_ = now + (deadline_ - now) / left;
  socket_.reset();
  try {
    socket_.emplace(*address_);
  } catch (const ServerFailure&) {
    if (left == 1) {
      throw;
    }
    address_ = address_->ai_next;
    StartConnecting();
  }
}

void ServerCheck::Connect(bool timedOut) {
  try {
    if (timedOut) {
      ThrowTimedOut();
    }
    socket_->FinishConnecting();
  } catch (const ServerFailure&) {
    if (address_->ai_next == nullptr) {
      throw;
    }
    address_ = address_->ai_next;
    StartConnecting();
    return;
  }
  until_ = deadline_;
  tls_.emplace(context_, server_.address);
  finished_ = Exchange();
}

/// Receives and sends at most once per call, so that no server delays the checks of the others.
bool ServerCheck::Exchange() {
  const bool closed = !ReceiveSome();
  const bool connected = tls_->Connect();
  if (connected && !requested_) {
    tls_->Write(DiscoverVersionsRequest());
    requested_ = true;
  }
  const bool ended = connected && !tls_->Read(response_);
  if (connected && !response_.empty()) {
    try {
      if (IsDiscoverVersionsResponse(response_)) {
        return true;
      }
    } catch (const ServerFailure& failure) {
      throw ServerFailure(tls_->AddCertificateHint(failure.what()));
    }
  }
  if (closed || ended) {
    throw ServerFailure(
        tls_->AddCertificateHint(connected ? "it closed the connection without a response"
                                           : "it closed the connection during the TLS handshake"));
  }
  SendSome();
  return false;
}

/// False when the server has closed the connection.
bool ServerCheck::ReceiveSome() {
  std::array<char, 16384> buffer;
  const std::optional<std::size_t> size = socket_->Receive(buffer);
  if (size > 0u) {
    tls_->PutIncoming(std::span(buffer.data(), *size));
  }
  return size != 0u;
}

void ServerCheck::SendSome() {
  if (const std::span<const char> bytes = tls_->Outgoing(); !bytes.empty()) {
    tls_->DropOutgoing(socket_->Send(bytes));
  }
}

pollfd ServerCheck::awaited() const {
  if (!socket_) {
    return {lookup_->descriptor(), POLLIN, 0};
  }
  const short receives = tls_ ? POLLIN : 0;
  const short sends = !tls_ || !tls_->Outgoing().empty() ? POLLOUT : 0;
  return {socket_->descriptor(), static_cast<short>(receives | sends), 0};
}

void ServerCheck::ThrowTimedOut() const {
  throw ServerFailure(requested_ ? "timed out waiting for the KMIP response"
                      : tls_     ? "timed out during the TLS handshake"
                      : socket_  ? "timed out while connecting"
                                 : "timed out looking up its name");
}

}  // namespace quelt
