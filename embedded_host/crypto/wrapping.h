// Wrapping of a disk's DEK under a KEK: AES-256-GCM, so that another KEK or an altered record is an
// error and not a wrong DEK.
//
// The record's own bytes carry what the cipher needs: the mark of this format at offset 0, the
// 16-byte tag at offset 9, the 12-byte nonce at offset 429. Authenticated with the DEK are the
// disk's UUID and every other byte of the record.
#pragma once

#include <string>

#include "embedded_host/crypto/secret_bytes.h"

namespace quelt {

/// A DEK as it stands in a record, with what unwrapping needs. Points into the record.
struct WrappedDek {
  static constexpr std::size_t kTagSize = 16;
  static constexpr std::size_t kNonceSize = 12;

  explicit WrappedDek(ENCR_Metadata& record)
      : dek(record.wrappedDek), tag(record.reserved1), nonce(record.reserved2) {}

  std::uint8_t* dek;
  std::uint8_t* tag;
  std::uint8_t* nonce;
};

/// Writes the ids into the record. Throws when one does not fit; ids are never cut.
void SetKeyArrangement(ENCR_Metadata& record, const std::string& kekId,
                       const std::string& clusterId);

/// A fresh random DEK; its halves differ, which XTS requires.
void MakeDek(Dek& dek);

/// Wraps `dek` into the record of the disk `uuid`, whose other fields are final.
void WrapDek(const HostCtl::Quelt::Uuid& uuid, const Kek& kek, const Dek& dek,
             ENCR_Metadata& record);

/// False when the record was not wrapped under `kek` for this disk, or was altered since.
bool UnwrapDek(const HostCtl::Quelt::Uuid& uuid, const Kek& kek, const ENCR_Metadata& record,
               Dek& dek);

}  // namespace quelt
