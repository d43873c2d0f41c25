// Records of the encryption operations: a disk's encryption metadata and key management servers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace HostCtl::Quelt {

/// A 16-byte identifier.
struct Uuid {
  std::array<std::uint8_t, 16> bytes{};
};

/// One configured key management server. An empty text or -1 means "not set".
struct KmsServerInfo {
  std::string name;
  std::string kmipClusterId;
  std::string userName;
  std::string password;  ///< never read by the module
  std::string address;
  std::string protocol;
  std::string proxyAddress;
  std::int32_t port = -1;
  std::int32_t proxyPort = -1;
  std::int32_t reconnect = -1;
  std::int32_t nbio = -1;
  std::int32_t timeout = -1;  ///< seconds
};

}  // namespace HostCtl::Quelt

/// Bit of ENCR_Metadata::flags: the disk is encrypted.
inline constexpr std::uint8_t ENCR_FLAG_ENCRYPTED = 1;
/// Bit of ENCR_Metadata::flags: the DEK is protected by the AWS key management service.
inline constexpr std::uint8_t ENCR_FLAG_AWS_KMS = 2;

/// Length of an unwrapped DEK, and of the wrapped DEK in ENCR_Metadata, in bytes.
inline constexpr std::size_t ENCR_DEK_SIZE = 64;
/// Largest DEK wrapped by the AWS key management service, in bytes.
inline constexpr std::size_t ENCR_AWS_DEK_MAX = 300;
/// Length of one encrypted block, in bytes.
inline constexpr std::size_t ENCR_BLOCK_SIZE = 2048;

#pragma pack(push, 1)

/// A disk's encryption metadata in its on-disk format: packed, integers little-endian, texts
/// NUL-terminated within their field. Reserved bytes belong to the host library.
struct ENCR_Metadata {
  std::uint8_t reserved0[8];
  std::uint8_t flags;
  std::uint8_t reserved1[16];
  std::uint8_t wrappedDek[ENCR_DEK_SIZE];
  char kekId[80];
  char clusterId[256];
  std::uint32_t dekGenerationId;
  std::uint8_t reserved2[83];
};

/// The part of a disk's encryption metadata that the AWS key management service needs.
struct ENCR_Metadata_AWS {
  std::uint8_t reserved0[192];
  std::uint16_t wrappedDekLength;  ///< bytes, at most ENCR_AWS_DEK_MAX
  std::uint8_t wrappedDek[ENCR_AWS_DEK_MAX];
  std::uint8_t reserved1[18];
};

#pragma pack(pop)

static_assert(sizeof(HostCtl::Quelt::Uuid) == 16);
static_assert(sizeof(ENCR_Metadata) == 512);
static_assert(offsetof(ENCR_Metadata, flags) == 8);
static_assert(offsetof(ENCR_Metadata, wrappedDek) == 25);
static_assert(offsetof(ENCR_Metadata, kekId) == 89);
static_assert(offsetof(ENCR_Metadata, clusterId) == 169);
static_assert(offsetof(ENCR_Metadata, dekGenerationId) == 425);
static_assert(sizeof(ENCR_Metadata_AWS) == 512);
static_assert(offsetof(ENCR_Metadata_AWS, wrappedDekLength) == 192);
static_assert(offsetof(ENCR_Metadata_AWS, wrappedDek) == 194);
