#include "embedded_host/crypto/kms/server_check.h"

#include <array>

#include "embedded_host/crypto/kms/kmip.h"
#include "embedded_host/crypto/kms/server_failure.h"

namespace quelt {

namespace {

/// The port that is registered for KMIP.
constexpr int kKmipPort = 5696;

int PortOf(const KmsServerInfo& server) { return server.port == -1 ? kKmipPort : server.port; }

}  // namespace

std::string NameOf(const KmsServerInfo& server) {
  return "KMS server \"" + server.name + "\" (" + server.address + ":" +
         std::to_string(PortOf(server)) + ")";
}

ServerCheck::ServerCheck(const KmsServerInfo& server, const TlsContext& tls, Deadline deadline)
    : server_(server), context_(tls), deadline_(deadline), until_(deadline) {
  Continue(false);
}

void ServerCheck::Continue(bool timeIsOver) {
  try {
    Step(timeIsOver);
  } catch (const ServerFailure& failure) {
    finished_ = true;
    failure_ = failure.what();
  }
  if (finished_) {
    Close();
  }
}

/// The server need not wait for the end of the other checks. Tells it why, if it listens.
void ServerCheck::Close() {
  try {
    if (tls_) {
      tls_->Close();
      SendSome();
    }
  } catch (const ServerFailure&) {
    // The check has its result.
  }
  tls_.reset();
  socket_.reset();
}

void ServerCheck::Step(bool timeIsOver) {
  if (tls_) {
    if (timeIsOver) {
      ThrowTimedOut();
    }
    finished_ = Talk();
  } else if (socket_) {
    Connect(timeIsOver);
  } else if (lookup_) {
    if (timeIsOver) {
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

/// The addresses left share the time left.
void ServerCheck::StartConnecting() {
  std::ptrdiff_t left = 0;
  for (const addrinfo* each = address_; each != nullptr; each = each->ai_next) {
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

void ServerCheck::Connect(bool timeIsOver) {
  try {
    if (timeIsOver) {
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
  finished_ = Talk();
}

/// One reading and one writing at most: no server keeps the others from their turn.
bool ServerCheck::Talk() {
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
      throw ServerFailure(tls_->Explained(failure.what()));
    }
  }
  if (closed || ended) {
    throw ServerFailure(tls_->Explained(connected
                                            ? "it closed the connection without a response"
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
    tls_->Received(std::span(buffer.data(), *size));
  }
  return size != 0u;
}

void ServerCheck::SendSome() {
  if (const std::span<const char> bytes = tls_->Outgoing(); !bytes.empty()) {
    tls_->Sent(socket_->Send(bytes));
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
