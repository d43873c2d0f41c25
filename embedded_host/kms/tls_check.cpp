#include "embedded_host/kms/tls_check.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <array>
#include <memory>

#include "embedded_host/crypto/openssl.h"
#include "embedded_host/kms/certificate.h"
#include "embedded_host/store/pool.h"

namespace quelt {

namespace {

using TlsContext = std::unique_ptr<SSL_CTX, FreedBy<SSL_CTX_free>>;
using Tls = std::unique_ptr<SSL, FreedBy<SSL_free>>;

/// What a server may agree on, whatever OpenSSL's configuration file allows: nothing without a
/// certificate, nothing weak.
constexpr const char* kCiphers = "DEFAULT:!aNULL:!eNULL:@SECLEVEL=2";

/// TLS 1.2 or newer, trusting exactly these certificates: also one that is no authority's but the
/// server's own.
TlsContext NewTlsContext(const std::vector<std::string>& trusted) {
  PrepareOpenssl();
  TlsContext context(SSL_CTX_new(TLS_client_method()));
  if (context == nullptr || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1 ||
      SSL_CTX_set_cipher_list(context.get(), kCiphers) != 1) {
    ThrowOpensslFailure("TLS cannot be started");
  }
  SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
  X509_STORE* const store = SSL_CTX_get_cert_store(context.get());
  X509_STORE_set_flags(store, X509_V_FLAG_PARTIAL_CHAIN);
  for (const std::string& text : trusted) {
    for (const Certificate& certificate : ReadCertificates(text)) {
      if (X509_STORE_add_cert(store, certificate.get()) != 1) {
        ThrowOpensslFailure("A trusted certificate cannot be used");
      }
    }
  }
  return context;
}

/// The server must prove to be `host`, a name or a numeric address.
void Expect(SSL* tls, const std::string& host) {
  if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(tls), host.c_str()) == 1) {
    return;
  }
  ERR_clear_error();
  if (SSL_set1_host(tls, host.c_str()) != 1 || SSL_set_tlsext_host_name(tls, host.c_str()) != 1) {
    ThrowOpensslFailure("The server's name cannot be checked");
  }
}

/// The client's side of a connection to `host`.
Tls NewTls(const std::string& host, const std::vector<std::string>& trusted) {
  const ForksWait forksWait;
  const TlsContext context = NewTlsContext(trusted);
  Tls tls(SSL_new(context.get()));
  if (tls == nullptr) {
    ThrowOpensslFailure("TLS cannot be started");
  }
  Expect(tls.get(), host);
  return tls;
}

/// A connection that OpenSSL reads from and writes to memory: the socket is waited for here, within
/// the deadline.
class Handshake {
 public:
  Handshake(SSL* tls, Socket& socket, Deadline deadline)
      : tls_(tls), socket_(socket), deadline_(deadline) {
    BIO* const incoming = BIO_new(BIO_s_mem());
    BIO* const outgoing = BIO_new(BIO_s_mem());
    SSL_set_bio(tls_, incoming, outgoing);  // which owns them
    if (incoming == nullptr || outgoing == nullptr) {
      throw std::bad_alloc();
    }
  }

  void Run() {
    for (;;) {
      const int state = Step();
      SendPending();
      if (state == SSL_ERROR_NONE) {
        return;
      }
      if (state != SSL_ERROR_WANT_READ) {
        ThrowReason();
      }
      ReceiveSome();
    }
  }

 private:
  /// Goes on as far as it can without the other side; waits for nothing.
  int Step() {
    const ForksWait forksWait;
    ERR_clear_error();
    return SSL_get_error(tls_, SSL_connect(tls_));
  }

  void SendPending() {
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(SSL_get_wbio(tls_), &bytes);
    socket_.SendAll(std::span<const char>(bytes, static_cast<std::size_t>(size)), deadline_);
    BIO_reset(SSL_get_wbio(tls_));
  }

  void ReceiveSome() {
    std::array<char, 4096> buffer;
    const std::size_t size = socket_.Receive(buffer, deadline_);
    if (size == 0) {
      throw ServerFailure("closed the connection during the TLS handshake");
    }
    BIO_write(SSL_get_rbio(tls_), buffer.data(), static_cast<int>(size));
  }

  [[noreturn]] void ThrowReason() {
    const long verified = SSL_get_verify_result(tls_);
    const std::string reason = TakeOpensslReason();
    switch (verified) {
      case X509_V_OK:
        throw ServerFailure("the TLS handshake failed: " + reason);
      case X509_V_ERR_CERT_HAS_EXPIRED:
        throw ServerFailure("its certificate has expired");
      case X509_V_ERR_HOSTNAME_MISMATCH:
      case X509_V_ERR_IP_ADDRESS_MISMATCH:
        throw ServerFailure("its certificate is for another name");
      default:
        throw ServerFailure(std::string("its certificate is not trusted: ") +
                            X509_verify_cert_error_string(verified));
    }
  }

  SSL* tls_;
  Socket& socket_;
  Deadline deadline_;
};

}  // namespace

void CheckTlsServer(const std::string& host, int port, const std::vector<std::string>& trusted,
                    Deadline deadline) {
  const Tls tls = NewTls(host, trusted);
  Socket socket(host, port, deadline);
  Handshake(tls.get(), socket, deadline).Run();
}

}  // namespace quelt
