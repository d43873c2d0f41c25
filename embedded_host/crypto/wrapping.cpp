#include "embedded_host/crypto/wrapping.h"

#include <openssl/rand.h>

#include <cstring>

#include "embedded_host/crypto/openssl.h"
#include "platform/exception.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using HostCtl::Quelt::Uuid;

namespace {

constexpr std::uint8_t kMagic[8] = {'Q', 'D', 'E', 'K', 'G', 'C', 'M', '1'};

static_assert(sizeof(ENCR_Metadata::reserved1) == WrappedDek::kTagSize);
static_assert(sizeof(ENCR_Metadata::reserved2) >= WrappedDek::kNonceSize);

template <std::size_t Size>
void SetField(char (&field)[Size], const char* what, const std::string& text) {
  if (text.size() >= Size || text.find('\0') != std::string::npos) {
    throw QueltCtlException(std::string(what) + " \"" + text + "\" does not fit a disk's record: " +
                            std::to_string(Size - 1) + " bytes, none of them zero");
  }
  std::memset(field, 0, Size);
  std::memcpy(field, text.data(), text.size());
}

constinit Cipher wrappingCipher("AES-256-GCM");

/// The data that is authenticated together with the DEK.
struct AssociatedData {
  Uuid uuid;
  ENCR_Metadata record;

  AssociatedData(const Uuid& disk, const ENCR_Metadata& metadata) : uuid(disk), record(metadata) {
    const WrappedDek wrapped(record);
    std::memset(wrapped.dek, 0, ENCR_DEK_SIZE);
    std::memset(wrapped.tag, 0, WrappedDek::kTagSize);
  }
  const unsigned char* bytes() const { return reinterpret_cast<const unsigned char*>(this); }
};
static_assert(sizeof(AssociatedData) == sizeof(Uuid) + sizeof(ENCR_Metadata));

void FillRandom(std::uint8_t* bytes, std::size_t size) {
  PrepareOpenssl();
  if (RAND_priv_bytes(bytes, static_cast<int>(size)) != 1) {
    ThrowOpensslFailure("Random numbers are not available");
  }
}

}  // namespace

void SetKeyIds(ENCR_Metadata& record, const std::string& kekId, const std::string& clusterId) {
  SetField(record.kekId, "KEK id", kekId);
  SetField(record.clusterId, "Cluster id", clusterId);
}

void GenerateDek(Dek& dek) {
  constexpr std::size_t kHalf = Dek::size() / 2;
  do {
    FillRandom(dek.data(), Dek::size());
  } while (std::memcmp(dek.data(), dek.data() + kHalf, kHalf) == 0);
}

void WrapDek(const Uuid& uuid, const Kek& kek, const Dek& dek, ENCR_Metadata& record) {
  const WrappedDek wrapped(record);
  std::memcpy(record.reserved0, kMagic, sizeof kMagic);
  FillRandom(wrapped.nonce, WrappedDek::kNonceSize);
  const AssociatedData associated(uuid, record);
  const CipherContext context = NewCipherContext();
  int length = 0;
  const bool done =
      EVP_EncryptInit_ex2(context.get(), wrappingCipher.Get(), kek.data(), wrapped.nonce,
                          nullptr) == 1 &&
      EVP_EncryptUpdate(context.get(), nullptr, &length, associated.bytes(), sizeof associated) ==
          1 &&
      EVP_EncryptUpdate(context.get(), wrapped.dek, &length, dek.data(), Dek::size()) == 1 &&
      EVP_EncryptFinal_ex(context.get(), wrapped.dek + length, &length) == 1 &&
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, WrappedDek::kTagSize,
                          wrapped.tag) == 1;
  if (!done) {
    ThrowOpensslFailure("The DEK cannot be wrapped");
  }
}

bool UnwrapDek(const Uuid& uuid, const Kek& kek, const ENCR_Metadata& record, Dek& dek) {
  ENCR_Metadata copy = record;
  const WrappedDek wrapped(copy);
  const AssociatedData associated(uuid, record);
  const CipherContext context = NewCipherContext();
  int length = 0;
  const bool started =
      EVP_DecryptInit_ex2(context.get(), wrappingCipher.Get(), kek.data(), wrapped.nonce,
                          nullptr) == 1 &&
      EVP_DecryptUpdate(context.get(), nullptr, &length, associated.bytes(), sizeof associated) ==
          1 &&
      EVP_DecryptUpdate(context.get(), dek.data(), &length, wrapped.dek, ENCR_DEK_SIZE) == 1 &&
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, WrappedDek::kTagSize,
                          wrapped.tag) == 1;
  if (!started) {
    ThrowOpensslFailure("The DEK cannot be unwrapped");
  }
  return EVP_DecryptFinal_ex(context.get(), dek.data() + length, &length) == 1;
}

}  // namespace quelt
