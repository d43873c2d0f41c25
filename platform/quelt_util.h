// The host library's kernel-control utilities.
//
// All operations are static and safe to call from any thread, with or without the interpreter lock.
// Unless an operation says that it answers false, it reports failure by throwing a std::exception.
#pragma once

#include <string>

#include "platform/encryption.h"
#include "platform/network.h"
#include "platform/object_library.h"

namespace ZelCtl::Quelt {

class __attribute__((visibility("default"))) QueltUtil {
 public:
  // Key cache. A key id is a NUL-terminated UTF-8 text; key material is bytes with a length.

  /// Puts `length` bytes at `key` under `id`. `attribute` is a second text of the entry.
  static void AddKeyToKeyCache(const char* id, const char* attribute, const char* key, int length);
  static void RemoveKeyFromKeyCache(const char* id);
  /// Copies the key to `buffer` and sets `length` (bytes), at most `capacity`.
  static void RetrieveKeyFromKeyCache(const char* id, unsigned char* buffer, unsigned int capacity,
                                      unsigned int& length);
  /// True when a key stands under `id`.
  static bool LookupKeyInKeyCache(const char* id);

  // Disk encryption.

  /// Fills all three records for the named disk.
  static void GetEncMetadataForDisk(const std::string& disk, HostCtl::Quelt::Uuid& uuid,
                                    ENCR_Metadata& metadata, ENCR_Metadata_AWS& aws);
  /// The text under which the key cache holds the DEK of the disk with this UUID.
  static std::string QueltUuidToString(const HostCtl::Quelt::Uuid& uuid);
  /// Decrypts the 2048 bytes at `block`, standing at block position `position`, with the 64-byte
  /// `dek`, into the 2048 bytes at `output`.
  static void Decrypt2kBlock(const unsigned char* dek, unsigned long position,
                             const unsigned char* block, unsigned char* output);

  // Key management servers.

  /// The certificate text in normal form; throws when the text is no certificate.
  static std::string FormatCertString(const std::string& certificate);
  /// Adds a certificate to the host's trust store.
  static void AddKmsCertToTrustStore(const std::string& certificate, bool flag);
  /// True when the cloud key management service named by `text` is good; else `error` says why.
  static bool CheckCloudKmsStatus(const std::string& text, std::string& error);
  /// The key id under which the password of a KEK is kept.
  static std::string KeyIdForKek(const std::string& first, const std::string& second);
  /// True: `password` holds the password under `keyId`. False: there is none.
  static bool GetKmsPasswordFromConfigStore(const std::string& keyId, std::string& password);

  // Cluster and network.

  /// True: `address` holds the IPv4 or IPv6 address that `text` writes. False: it writes none.
  static bool BuildQueltIPAddress(const std::string& text, HostCtl::Quelt::QueltIpAddress& address);
  static bool IsQueltCSDFeatureEnabled();
  static bool IsQueltMetadataNodeFeatureEnabled();
  /// Sets `mode` to true when the cluster runs in unicast mode.
  static void GetUnicastModeForCluster(bool& mode, std::string clusterId);

  // Objects and capacity.

  /// 0, and `*accessible` non-zero when this host can reach the object `uuid`; else a status.
  static int IsObjectAccessible(QUELTUUID cluster, QUELTUUID uuid, char* accessible);
  /// Sets nine figures of the host, in bytes.
  static void GetCapacityAndFSOverheadFromNorim(
      QUELTUUID host, unsigned long* physicalCapacity, unsigned long* physicalUsed,
      unsigned long* logicalCapacity, unsigned long* logicalUsed, unsigned long* dedupMetadataSize,
      unsigned long* logicalFSOverhead, unsigned long* blkAttrOverhead,
      unsigned long* transientSpace, unsigned long* physicalTransientSpace);
};

}  // namespace ZelCtl::Quelt
