// The client's side of TLS, apart from the socket: nothing here waits.
//
// A server has to show a certificate that is trusted, valid and its own. There is no way around the
// verification.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/crypto/kms/client_certificate.h"

namespace quelt {

/// What the connections of one check share.
class TlsContext {
 public:
  /// `trusted` are certificates in PEM form. Throws QueltCtlException.
  TlsContext(const std::vector<std::string>& trusted, const ClientCertificate& client);

  SSL_CTX* get() const { return context_.get(); }
  /// Why a server that asks for a client certificate gets none; "" if it gets one.
  const std::string& no_certificate() const { return no_certificate_; }

 private:
  std::unique_ptr<SSL_CTX, FreedWithForksBlocked<SSL_CTX_free>> context_;
  std::string no_certificate_;
};

/// A connection that reads from and writes to memory. Its failures are ServerFailure.
class TlsConnection {
 public:
  /// `host` is the name or numeric address that the server must prove to be. `context` outlives the
  /// connection.
  TlsConnection(const TlsContext& context, const std::string& host);
  TlsConnection(const TlsConnection&) = delete;
  TlsConnection& operator=(const TlsConnection&) = delete;

  // Bytes for the peer, and from it.
  std::span<const char> Outgoing() const;
  void Sent(std::size_t size);
  void Received(std::span<const char> bytes);

  /// Continues the handshake; false while it needs more bytes from the peer.
  bool Connect();
  void Write(std::string_view text);
  /// Appends what has arrived to `text`; false when the peer has ended the connection.
  bool Read(std::string& text);
  /// Ends the connection as far as that needs nothing from the peer.
  void Close();

  /// Adds to a failure's text whether the server asked in vain for a client certificate.
  std::string Explained(const std::string& failure) const;

 private:
  [[noreturn]] void ThrowFailure();
  [[noreturn]] void ThrowAlert(int alert);
  void RequireTls(std::span<const char> bytes);

  const TlsContext& context_;
  std::unique_ptr<SSL, FreedWithForksBlocked<SSL_free>> tls_;
  std::string start_;  // of what the peer has sent
  bool asked_for_certificate_ = false;
};

}  // namespace quelt
