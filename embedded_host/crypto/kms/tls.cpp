#include "embedded_host/crypto/kms/tls.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <new>

#include "embedded_host/crypto/kms/server_failure.h"
#include "embedded_host/store/pool.h"

namespace quelt {

namespace {

/// Independent of OpenSSL's configuration file: no anonymous, unencrypted or weak ciphers.
constexpr const char* kCiphers = "DEFAULT:!aNULL:!eNULL:@SECLEVEL=2";

/// Trusts exactly these certificates, including ones that are not of a certificate authority.
void SetTrusted(SSL_CTX* context, const std::vector<std::string>& trusted) {
  SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
  X509_STORE* const store = SSL_CTX_get_cert_store(context);
  X509_STORE_set_flags(store, X509_V_FLAG_PARTIAL_CHAIN);
  for (const std::string& text : trusted) {
    for (const Certificate& certificate : ReadCertificates(text)) {
      if (X509_STORE_add_cert(store, certificate.get()) != 1) {
        ThrowOpensslFailure("A trusted certificate cannot be used");
      }
    }
  }
}

void SetClientCertificate(SSL_CTX* context, const ClientCertificate& client) {
  bool done = SSL_CTX_use_certificate(context, client.chain.front().get()) == 1 &&
              SSL_CTX_use_PrivateKey(context, client.key.get()) == 1;
  for (auto issuer = client.chain.begin() + 1; done && issuer != client.chain.end(); ++issuer) {
    done = SSL_CTX_add1_chain_cert(context, issuer->get()) == 1;
  }
  if (!done) {
    ThrowOpensslFailure("The client certificate cannot be used");
  }
}

/// Whether this alert (RFC 8446, section 6) rejects a client certificate or its absence.
bool ConcernsCertificate(int alert) {
  static constexpr std::array kAlerts = {
      SSL_AD_HANDSHAKE_FAILURE,  // the alert of a TLS 1.2 server when the certificate is missing
      SSL_AD_BAD_CERTIFICATE,     SSL_AD_UNSUPPORTED_CERTIFICATE, SSL_AD_CERTIFICATE_REVOKED,
      SSL_AD_CERTIFICATE_EXPIRED, SSL_AD_CERTIFICATE_UNKNOWN,     SSL_AD_UNKNOWN_CA,
      SSL_AD_ACCESS_DENIED,       SSL_AD_CERTIFICATE_REQUIRED};
  return std::find(kAlerts.begin(), kAlerts.end(), alert) != kAlerts.end();
}

[[noreturn]] void ThrowVerificationFailure(long result) {
  switch (result) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
      throw ServerFailure("its certificate has expired");
    case X509_V_ERR_CERT_NOT_YET_VALID:
      throw ServerFailure("its certificate is not valid yet");
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
      throw ServerFailure("its certificate is for another name");
    default:
      throw ServerFailure(std::string("its certificate is not trusted: ") +
                          X509_verify_cert_error_string(result));
  }
}

}  // namespace

TlsContext::TlsContext(const std::vector<std::string>& trusted, const ClientCertificate& client) {
  const ForkBlocker forkBlocker;
  PrepareOpenssl();
  context_.reset(SSL_CTX_new(TLS_client_method()));
  if (context_ == nullptr || SSL_CTX_set_min_proto_version(get(), TLS1_2_VERSION) != 1 ||
      SSL_CTX_set_cipher_list(get(), kCiphers) != 1) {
    ThrowOpensslFailure("TLS cannot be initialized");
  }
  SetTrusted(get(), trusted);
  if (client.chain.empty()) {
    no_certificate_ = "no client certificate is configured";
  } else if (client.key == nullptr) {
    no_certificate_ = "no key of the client certificate is configured";
  } else {
    SetClientCertificate(get(), client);
  }
}

TlsConnection::TlsConnection(const TlsContext& context, const std::string& host)
    : context_(context) {
  const ForkBlocker forkBlocker;
  tls_.reset(SSL_new(context.get()));
  BIO* const incoming = BIO_new(BIO_s_mem());
  BIO* const outgoing = BIO_new(BIO_s_mem());
  if (tls_ == nullptr || incoming == nullptr || outgoing == nullptr) {
    BIO_free(incoming);
    BIO_free(outgoing);
    ERR_clear_error();
    throw std::bad_alloc();
  }
  SSL_set_bio(tls_.get(), incoming, outgoing);  // takes ownership
  SSL_set_connect_state(tls_.get());
  SSL_set_cert_cb(
      tls_.get(),
      [](SSL*, void* requested) {
        *static_cast<bool*>(requested) = true;
        return 1;
      },
      &certificate_requested_);
  if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(tls_.get()), host.c_str()) != 1 &&
      (SSL_set1_host(tls_.get(), host.c_str()) != 1 ||
       SSL_set_tlsext_host_name(tls_.get(), host.c_str()) != 1)) {
    ThrowOpensslFailure("The server's name cannot be checked");
  }
}

std::span<const char> TlsConnection::Outgoing() const {
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(SSL_get_wbio(tls_.get()), &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

void TlsConnection::DropOutgoing(std::size_t size) {
  std::array<char, 4096> dropped;
  while (size > 0) {
    const int read = BIO_read(SSL_get_wbio(tls_.get()), dropped.data(),
                              static_cast<int>(std::min(size, dropped.size())));
    size -= static_cast<std::size_t>(read);
  }
}

void TlsConnection::PutIncoming(std::span<const char> bytes) {
  RequireTls(bytes);
  if (BIO_write(SSL_get_rbio(tls_.get()), bytes.data(), static_cast<int>(bytes.size())) !=
      static_cast<int>(bytes.size())) {
    throw std::bad_alloc();
  }
}

/// The first record that a TLS server sends is a handshake message or an alert, of version 3.x.
void TlsConnection::RequireTls(std::span<const char> bytes) {
  start_.append(bytes.data(), std::min(bytes.size(), 2 - start_.size()));
  const bool isRecord = start_[0] == SSL3_RT_HANDSHAKE || start_[0] == SSL3_RT_ALERT;
  if (!isRecord || (start_.size() > 1 && start_[1] != SSL3_VERSION_MAJOR)) {
    throw ServerFailure("it does not speak TLS");
  }
}

bool TlsConnection::Connect() {
  const ForkBlocker forkBlocker;
  ERR_clear_error();
  const int error = SSL_get_error(tls_.get(), SSL_connect(tls_.get()));
  if (error != SSL_ERROR_NONE && error != SSL_ERROR_WANT_READ) {
    ThrowFailure();
  }
  return error == SSL_ERROR_NONE;
}

void TlsConnection::Write(std::string_view text) {
  const ForkBlocker forkBlocker;
  ERR_clear_error();
  if (SSL_write(tls_.get(), text.data(), static_cast<int>(text.size())) <= 0) {
    ThrowFailure();
  }
}

bool TlsConnection::Read(std::string& text) {
  const ForkBlocker forkBlocker;
  for (;;) {
    std::array<char, 4096> buffer;
    ERR_clear_error();
    const int read = SSL_read(tls_.get(), buffer.data(), buffer.size());
    const int error = SSL_get_error(tls_.get(), read);
    if (error == SSL_ERROR_WANT_READ || error == SSL_ERROR_ZERO_RETURN) {
      return error == SSL_ERROR_WANT_READ;
    }
    if (error != SSL_ERROR_NONE) {
      ThrowFailure();
    }
    text.append(buffer.data(), static_cast<std::size_t>(read));
  }
}

void TlsConnection::Close() {
  const ForkBlocker forkBlocker;
  SSL_shutdown(tls_.get());
  ERR_clear_error();
}

void TlsConnection::ThrowFailure() {
  const unsigned long error = ERR_peek_error();
  const std::string reason = TakeOpensslReason();
  if (const long result = SSL_get_verify_result(tls_.get()); result != X509_V_OK) {
    ThrowVerificationFailure(result);
  }
  if (ERR_GET_LIB(error) == ERR_LIB_SSL && ERR_GET_REASON(error) > SSL_AD_REASON_OFFSET) {
    ThrowAlert(ERR_GET_REASON(error) - SSL_AD_REASON_OFFSET);
  }
  throw ServerFailure("TLS failed: " + reason);
}

void TlsConnection::ThrowAlert(int alert) {
  const std::string meaning = SSL_alert_desc_string_long(alert);
  if (!certificate_requested_ || !ConcernsCertificate(alert)) {
    throw ServerFailure(AddCertificateHint("TLS failed: the server says \"" + meaning + "\""));
  }
  throw ServerFailure(context_.no_certificate().empty()
                          ? "it rejects the client certificate: " + meaning
                          : context_.no_certificate() + ", and the server requires one");
}

std::string TlsConnection::AddCertificateHint(const std::string& failure) const {
  return certificate_requested_ && !context_.no_certificate().empty()
             ? failure + " (it asked for a client certificate; " + context_.no_certificate() + ")"
             : failure;
}

}  // namespace quelt
