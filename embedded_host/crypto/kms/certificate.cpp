#include "embedded_host/crypto/kms/certificate.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "embedded_host/store/pool.h"
#include "embedded_host/text/hexadecimal.h"
#include "platform/exception.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

constexpr std::string_view kDashes = "-----";
constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view kEnd = "-----END CERTIFICATE-----";

[[noreturn]] void ThrowUnreadable(std::size_t position) {
  throw QueltCtlException("Certificate " + std::to_string(position) +
                          " of the text cannot be read");
}

/// The position of the next BEGIN or END line, even if it is damaged. A run of dashes without
/// adjacent text is a separator line and is skipped.
std::size_t FindMarker(std::string_view text, std::size_t from) {
  const auto isWord = [&](std::size_t at) {
    return at < text.size() && text[at] != '-' && static_cast<unsigned char>(text[at]) > ' ';
  };
  for (;;) {
    const std::size_t at = text.find(kDashes, from);
    if (at == text.npos) {
      return at;
    }
    from = std::min(text.find_first_not_of('-', at), text.size());
    if (isWord(at - 1) || isWord(from)) {
      return at;
    }
  }
}

/// The text between the BEGIN and END lines of each certificate, without blanks and line breaks.
std::vector<std::string> Base64Bodies(std::string_view text) {
  if (text.find(kBegin) == text.npos) {
    throw QueltCtlException("The text holds no certificate");
  }
  std::vector<std::string> bodies;
  std::size_t end = 0;
  for (std::size_t at; (at = FindMarker(text, end)) != text.npos; end += kEnd.size()) {
    const std::size_t begin = at + kBegin.size();
    end = text.substr(at).starts_with(kBegin) ? text.find(kDashes, begin) : text.npos;
    if (end == text.npos || !text.substr(end).starts_with(kEnd)) {
      ThrowUnreadable(bodies.size() + 1);
    }
    std::string& body = bodies.emplace_back(text.substr(begin, end - begin));
    std::erase_if(body, [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); });
  }
  return bodies;
}

/// Empty when `base64` is not valid Base64.
std::vector<unsigned char> DecodeBase64(const std::string& base64) {
  std::vector<unsigned char> bytes(base64.size());
  const auto* const from = reinterpret_cast<const unsigned char*>(base64.data());
  const int length = EVP_DecodeBlock(bytes.data(), from, static_cast<int>(base64.size()));
  const auto padding =
      std::count(base64.end() - std::min<std::ptrdiff_t>(2, std::ssize(base64)), base64.end(), '=');
  bytes.resize(length < padding ? 0 : static_cast<std::size_t>(length - padding));
  return bytes;
}

/// Null when `base64` is not the encoding of exactly one certificate.
Certificate ParseCertificate(const std::string& base64) {
  const std::vector<unsigned char> der = DecodeBase64(base64);
  const unsigned char* position = der.data();
  Certificate certificate(d2i_X509(nullptr, &position, static_cast<long>(der.size())));
  if (certificate == nullptr || position != der.data() + der.size() ||
      X509_get0_pubkey(certificate.get()) == nullptr) {
    ERR_clear_error();
    return nullptr;
  }
  return certificate;
}

}  // namespace

std::vector<Certificate> ReadCertificates(const std::string& text) {
  const ForkBlocker forkBlocker;
  PrepareOpenssl();
  std::vector<Certificate> certificates;
  for (const std::string& body : Base64Bodies(text)) {
    certificates.push_back(ParseCertificate(body));
    if (certificates.back() == nullptr) {
      ThrowUnreadable(certificates.size());
    }
  }
  return certificates;
}

std::string PemText(const X509& certificate) {
  const ForkBlocker forkBlocker;
  const std::unique_ptr<BIO, FreedBy<BIO_free_all>> memory(BIO_new(BIO_s_mem()));
  if (memory == nullptr || PEM_write_bio_X509(memory.get(), &certificate) != 1) {
    ThrowOpensslFailure("The certificate cannot be written");
  }
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return std::string(text, static_cast<std::size_t>(length));
}

std::string PemText(const std::vector<Certificate>& certificates) {
  std::string text;
  for (const Certificate& certificate : certificates) {
    text += PemText(*certificate);
  }
  return text;
}

std::string Fingerprint(const X509& certificate) {
  const ForkBlocker forkBlocker;
  std::array<unsigned char, 32> digest{};
  if (X509_digest(&certificate, EVP_sha256(), digest.data(), nullptr) != 1) {
    ThrowOpensslFailure("The fingerprint of the certificate cannot be computed");
  }
  return HexText(digest.data(), digest.size());
}

}  // namespace quelt
