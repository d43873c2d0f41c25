// Decryption of a disk's blocks: AES-256-XTS (IEEE 1619) with the disk's DEK. A block is one data
// unit; its position is the data unit number, encoded as a little-endian 128-bit integer.
#include <array>
#include <atomic>
#include <cstring>

#include "embedded_host/crypto/openssl.h"
#include "embedded_host/operation/operation.h"
#include "platform/quelt_util.h"

namespace quelt {

namespace {

constexpr std::array<unsigned char, ENCR_DEK_SIZE> kNoKey{};
using Tweak = std::array<unsigned char, 16>;

constinit Cipher cipher("AES-256-XTS");

/// Reuses cipher contexts: creating and initializing one costs more than decrypting a block.
/// Lock-free, so that the pool stays usable in the child of a fork at any moment; only the first
/// fetch of the cipher blocks, and forks wait for it.
class ContextPool {
 public:
  CipherContext Take() {
    for (std::atomic<EVP_CIPHER_CTX*>& slot : slots_) {
      if (slot.load(std::memory_order_relaxed) == nullptr) {
        continue;
      }
      if (EVP_CIPHER_CTX* const context = slot.exchange(nullptr, std::memory_order_acquire)) {
        return CipherContext(context);
      }
    }
    return NewContext();
  }

  void Return(CipherContext context) {
    for (std::atomic<EVP_CIPHER_CTX*>& slot : slots_) {
      EVP_CIPHER_CTX* expected = nullptr;
      if (slot.compare_exchange_strong(expected, context.get(), std::memory_order_release,
                                       std::memory_order_relaxed)) {
        static_cast<void>(context.release());  // the slot owns it
        return;
      }
    }
  }

 private:
  static CipherContext NewContext() {
    const EVP_CIPHER* const fetched = cipher.Get();
    CipherContext context = NewCipherContext();
    if (EVP_DecryptInit_ex2(context.get(), fetched, nullptr, nullptr, nullptr) != 1) {
      ThrowOpensslFailure("AES-256-XTS cannot be initialized");
    }
    return context;
  }

  std::array<std::atomic<EVP_CIPHER_CTX*>, 8> slots_{};
};

constinit ContextPool contexts;

Tweak MakeTweak(unsigned long position) {
  Tweak tweak{};
  for (std::size_t i = 0; i < sizeof position; ++i) {
    tweak[i] = static_cast<unsigned char>(position >> (8 * i));
  }
  return tweak;
}

bool Decrypt(EVP_CIPHER_CTX* context, const unsigned char* dek, const Tweak& tweak,
             const unsigned char* block, unsigned char* output) {
  int length = 0;
  return EVP_DecryptInit_ex2(context, nullptr, dek, tweak.data(), nullptr) == 1 &&
         EVP_DecryptUpdate(context, output, &length, block, ENCR_BLOCK_SIZE) == 1 &&
         length == int{ENCR_BLOCK_SIZE};
}

void DecryptBlock(const unsigned char* dek, unsigned long position, const unsigned char* block,
                  unsigned char* output) {
  CipherContext context = contexts.Take();
  const bool decrypted = Decrypt(context.get(), dek, MakeTweak(position), block, output);
  // A zero key overwrites the DEK and the key schedule derived from it. If that fails, the context
  // is freed, which wipes it too.
  if (!decrypted ||
      EVP_DecryptInit_ex2(context.get(), nullptr, kNoKey.data(), nullptr, nullptr) != 1) {
    ThrowOpensslFailure("The block cannot be decrypted");
  }
  contexts.Return(std::move(context));
}

}  // namespace

}  // namespace quelt

void ZelCtl::Quelt::QueltUtil::Decrypt2kBlock(const unsigned char* dek, unsigned long position,
                                              const unsigned char* block, unsigned char* output) {
  using quelt::Secret;
  quelt::Operation("Decrypt2kBlock", {{"dek", Secret(ENCR_DEK_SIZE)},
                                      {"position", std::uint64_t{position}},
                                      {"block", Secret(ENCR_BLOCK_SIZE)}})
      .Run([&] { quelt::DecryptBlock(dek, position, block, output); });
}
