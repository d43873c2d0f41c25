#include "embedded_host/kms/certificate.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "embedded_host/scenario/node.h"  // HexText
#include "embedded_host/store/pool.h"
#include "platform/exception.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view kEnd = "-----END CERTIFICATE-----";

/// What stands between the two lines, without blanks and line breaks.
std::string Base64Body(const std::string& text) {
  const std::size_t begin = text.find(kBegin);
  const std::size_t end = begin == std::string::npos ? begin : text.find(kEnd, begin);
  if (end == std::string::npos) {
    throw QueltCtlException("The text holds no certificate");
  }
  if (text.find(kBegin, begin + kBegin.size()) != std::string::npos) {
    throw QueltCtlException("The text holds more than one certificate");
  }
  std::string body(text, begin + kBegin.size(), end - begin - kBegin.size());
  std::erase_if(body, [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); });
  return body;
}

/// Empty when `base64` is not in that form.
std::vector<unsigned char> Decoded(const std::string& base64) {
  std::vector<unsigned char> bytes(base64.size());
  const auto* const from = reinterpret_cast<const unsigned char*>(base64.data());
  const int length = EVP_DecodeBlock(bytes.data(), from, static_cast<int>(base64.size()));
  const auto padding =
      std::count(base64.end() - std::min<std::ptrdiff_t>(2, std::ssize(base64)), base64.end(), '=');
  bytes.resize(length < padding ? 0 : static_cast<std::size_t>(length - padding));
  return bytes;
}

}  // namespace

Certificate ReadCertificate(const std::string& text) {
  const ForksWait forksWait;
  PrepareOpenssl();
  const std::vector<unsigned char> der = Decoded(Base64Body(text));
  const unsigned char* position = der.data();
  Certificate certificate(d2i_X509(nullptr, &position, static_cast<long>(der.size())));
  if (certificate == nullptr || position != der.data() + der.size() ||
      X509_get0_pubkey(certificate.get()) == nullptr) {
    ERR_clear_error();
    throw QueltCtlException("The text's certificate cannot be read");
  }
  return certificate;
}

std::string PemText(const X509& certificate) {
  const std::unique_ptr<BIO, FreedBy<BIO_free_all>> memory(BIO_new(BIO_s_mem()));
  if (memory == nullptr || PEM_write_bio_X509(memory.get(), &certificate) != 1) {
    ThrowOpensslFailure("The certificate cannot be written");
  }
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return std::string(text, static_cast<std::size_t>(length));
}

std::string Fingerprint(const X509& certificate) {
  const ForksWait forksWait;
  std::array<unsigned char, 32> digest{};
  if (X509_digest(&certificate, EVP_sha256(), digest.data(), nullptr) != 1) {
    ThrowOpensslFailure("The certificate has no fingerprint");
  }
  return HexText(digest.data(), digest.size());
}

}  // namespace quelt
