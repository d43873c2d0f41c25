// Wrapping of a disk's DEK with a KEK: AES-256-GCM, so that another KEK or an altered record causes
// an error instead of a wrong DEK.
//
// The record's reserved bytes store the cipher's parameters: the format's magic number at offset 0,
// the 16-byte tag at offset 9, the 12-byte nonce at offset 429. The disk's UUID and all other bytes
// of the record are authenticated together with the DEK.
#pragma once

#include <string>

#include "embedded_host/crypto/secret_bytes.h"

namespace quelt {

/// The fields of a record that store the wrapped DEK. Points into the record.
struct WrappedDek {
  static constexpr std::size_t kTagSize = 16;
  static constexpr std::size_t kNonceSize = 12;

  explicit WrappedDek(ENCR_Metadata& record)
      : dek(record.wrappedDek), tag(record.reserved1), nonce(record.reserved2) {}

  std::uint8_t* dek;
  std::uint8_t* tag;
  std::uint8_t* nonce;
};

/// Writes the ids into the record. Throws QueltCtlException when one does not fit; ids are never
/// truncated.
void SetKeyIds(ENCR_Metadata& record, const std::string& kekId, const std::string& clusterId);

/// Fills `dek` with random bytes. Its halves differ, as XTS requires.
void GenerateDek(Dek& dek);

/// Wraps `dek` into the record of the disk `uuid`. Set the record's other fields before: they are
/// authenticated.
void WrapDek(const HostCtl::Quelt::Uuid& uuid, const Kek& kek, const Dek& dek,
             ENCR_Metadata& record);

/// False when the record was not wrapped with `kek` for this disk, or was altered since.
bool UnwrapDek(const HostCtl::Quelt::Uuid& uuid, const Kek& kek, const ENCR_Metadata& record,
               Dek& dek);

}  // namespace quelt
