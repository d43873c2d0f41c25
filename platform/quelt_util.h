// The host library's kernel-control utilities.
//
// All operations are static and safe to call from any thread, with or without the GIL. An operation
// reports failure by throwing a std::exception; a bool result is an answer, not a failure. Texts
// are UTF-8 by convention; no operation checks it.
#pragma once

#include <string>

#include "platform/encryption.h"
#include "platform/network.h"
#include "platform/object_library.h"

namespace ZelCtl::Quelt {

class __attribute__((visibility("default"))) QueltUtil {
 public:
  // Key cache. A key id is a NUL-terminated text; key material is bytes with a length.

  /// Caches the `length` bytes at `key` under `id`, replacing a key that is there. `attribute` is a
  /// second text of the entry.
  static void AddKeyToKeyCache(const char* id, const char* attribute, const char* key, int length);
  /// Removes the key. Fails for an unknown id.
  static void RemoveKeyFromKeyCache(const char* id);
  /// Copies the key to `buffer`, which has `capacity` bytes, and sets `length` to the key's length
  /// in bytes. Fails for an unknown id and for a key that is longer than the buffer.
  static void RetrieveKeyFromKeyCache(const char* id, unsigned char* buffer, unsigned int capacity,
                                      unsigned int& length);
  /// Whether there is a key under `id`.
  static bool LookupKeyInKeyCache(const char* id);

  // Disk encryption.

  /// Fills the three records with the UUID and the encryption metadata of the named disk. Fails for
  /// an unknown disk.
  static void GetEncMetadataForDisk(const std::string& disk, HostCtl::Quelt::Uuid& uuid,
                                    ENCR_Metadata& metadata, ENCR_Metadata_AWS& aws);
  /// The key id under which the key cache has the DEK of the disk with this UUID.
  static std::string QueltUuidToString(const HostCtl::Quelt::Uuid& uuid);
  /// Decrypts the 2048 bytes at `block` with the 64 bytes at `dek` and writes 2048 bytes to
  /// `output`. `position` is the block's number on the disk, in blocks of 2048 bytes.
  static void Decrypt2kBlock(const unsigned char* dek, unsigned long position,
                             const unsigned char* block, unsigned char* output);

  // Key management servers.

  /// The certificate text in normal form. Fails when the text is not a certificate.
  static std::string FormatCertString(const std::string& certificate);
  /// Adds a certificate to the host's trust store. `flag` is false.
  static void AddKmsCertToTrustStore(const std::string& certificate, bool flag);
  /// Whether the cloud key management service that `text` names is usable. If not, writes why to
  /// `error`.
  static bool CheckCloudKmsStatus(const std::string& text, std::string& error);
  /// The key id of a password in the configuration store, for the KEK id `first` and the KMIP
  /// cluster id `second`. Returns quickly: it is called with the GIL held.
  static std::string KeyIdForKek(const std::string& first, const std::string& second);
  /// Writes the password that the configuration store has under `keyId` to `password`. False if it
  /// has none.
  static bool GetKmsPasswordFromConfigStore(const std::string& keyId, std::string& password);

  // Cluster and network. The first three return quickly: they are called with the GIL held.

  /// Writes the address that `text` represents, IPv4 or IPv6, to `address`. False if `text` is not
  /// an address.
  static bool BuildQueltIPAddress(const std::string& text, HostCtl::Quelt::QueltIpAddress& address);
  /// Whether remote nodes can be unicast agents.
  static bool IsQueltCSDFeatureEnabled();
  /// Whether metadata nodes exist. The answer may change at any time.
  static bool IsQueltMetadataNodeFeatureEnabled();
  /// Sets `mode`: whether the cluster runs in unicast mode.
  static void GetUnicastModeForCluster(bool& mode, std::string clusterId);

  // Objects and capacity.

  /// Sets `*accessible` to non-zero when this host can access the object `uuid`, else to 0.
  /// `cluster` is zero. Returns a kernel status: 0 is success.
  static int IsObjectAccessible(QUELTUUID cluster, QUELTUUID uuid, char* accessible);
  /// Sets nine figures of the host, in bytes. `host` is zero: this host.
  static void GetCapacityAndFSOverheadFromNorim(
      QUELTUUID host, unsigned long* physicalCapacity, unsigned long* physicalUsed,
      unsigned long* logicalCapacity, unsigned long* logicalUsed, unsigned long* dedupMetadataSize,
      unsigned long* logicalFSOverhead, unsigned long* blkAttrOverhead,
      unsigned long* transientSpace, unsigned long* physicalTransientSpace);
};

}  // namespace ZelCtl::Quelt
