// The client side of TLS, without the socket: nothing here blocks.
//
// A server must present a certificate that is trusted, valid and issued for its name. The
// verification cannot be switched off.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/crypto/kms/client_certificate.h"

namespace quelt {

/// Settings that the connections of one check share.
class TlsContext {
 public:
  /// `trusted` are certificates in PEM form. Throws QueltCtlException.
  TlsContext(const std::vector<std::string>& trusted, const ClientCertificate& client);

  SSL_CTX* get() const { return context_.get(); }
  /// Why no client certificate is sent to a server that requests one; "" if one is sent.
  const std::string& no_certificate() const { return no_certificate_; }

 private:
  std::unique_ptr<SSL_CTX, FreedWithForksBlocked<SSL_CTX_free>> context_;
  std::string no_certificate_;
};

/// A connection that reads from and writes to memory. Its functions throw ServerFailure.
class TlsConnection {
 public:
  /// `host` is the name or numeric address that the server's certificate must contain. `context`
  /// outlives the connection.
  TlsConnection(const TlsContext& context, const std::string& host);
  TlsConnection(const TlsConnection&) = delete;
  TlsConnection& operator=(const TlsConnection&) = delete;

  /// Bytes to send to the peer.
  std::span<const char> Outgoing() const;
  /// Removes bytes that were sent.
  void DropOutgoing(std::size_t size);
  /// Adds bytes that were received from the peer.
  void PutIncoming(std::span<const char> bytes);

  /// Continues the handshake; false while it needs further bytes from the peer.
  bool Connect();
  void Write(std::string_view text);
  /// Appends decrypted bytes to `text`; false when the peer has closed the connection.
  bool Read(std::string& text);
  /// Sends the closing alert; does not wait for the peer's.
  void Close();

  /// Adds a hint to a failure's text if the server requested a client certificate and got none.
  std::string AddCertificateHint(const std::string& failure) const;

 private:
  [[noreturn]] void ThrowFailure();
  [[noreturn]] void ThrowAlert(int alert);
  void RequireTls(std::span<const char> bytes);

  const TlsContext& context_;
  std::unique_ptr<SSL, FreedWithForksBlocked<SSL_free>> tls_;
  std::string start_;  // first bytes that the peer sent
  bool certificate_requested_ = false;
};

}  // namespace quelt
