// A disk's encryption metadata, its wrapped and unwrapped DEK, and decryption of one block.
#include <string.h>  // explicit_bzero, strnlen

#include <bit>
#include <cstdint>
#include <string>

#include "crypto/functions.h"
#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/result_dict.h"
#include "platform/encryption.h"
#include "platform/exception.h"
#include "platform/quelt_util.h"
#include "platform/secret_bytes.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using HostCtl::Quelt::HostSystem;
using ZelCtl::Quelt::QueltUtil;

static_assert(std::endian::native == std::endian::little, "metadata integers are little-endian");
static_assert(sizeof(unsigned long) == 8, "results hold 64-bit integers as unsigned long");

namespace {

/// A disk's encryption records, zero until they are read; wiped at the end of the scope.
struct DiskRecords {
  HostCtl::Quelt::Uuid uuid{};
  ENCR_Metadata metadata{};
  ENCR_Metadata_AWS aws{};

  DiskRecords() = default;
  DiskRecords(const DiskRecords&) = delete;
  DiskRecords& operator=(const DiskRecords&) = delete;
  ~DiskRecords() {
    explicit_bzero(&metadata, sizeof metadata);
    explicit_bzero(&aws, sizeof aws);
  }

  // Not done by the constructor: if the host fails after writing a part, the destructor must run.
  void Read(const char* diskName) {
    QueltUtil::GetEncMetadataForDisk(diskName, uuid, metadata, aws);
  }
  bool Has(std::uint8_t flag) const { return (metadata.flags & flag) != 0; }
};

/// The text of a field: up to its first NUL, or the whole field.
template <std::size_t Size>
std::string FieldText(const char (&field)[Size]) {
  return std::string(field, strnlen(field, Size));
}

struct EncInfo {
  bool encrypted = false;
  bool useAwsKms = false;
  bool dekInCache = false;
  std::string kekId;
  std::string clusterId;
  unsigned long dekGenerationId = 0;
};

EncInfo ReadEncInfo(const char* diskName) {
  DiskRecords records;
  records.Read(diskName);
  EncInfo info;
  info.encrypted = records.Has(ENCR_FLAG_ENCRYPTED);
  info.useAwsKms = records.Has(ENCR_FLAG_AWS_KMS);
  info.clusterId = FieldText(records.metadata.clusterId);
  info.kekId = FieldText(records.metadata.kekId);
  info.dekGenerationId = records.metadata.dekGenerationId;
  info.dekInCache =
      QueltUtil::LookupKeyInKeyCache(QueltUtil::QueltUuidToString(records.uuid).c_str());
  return info;
}

PyObject* NewEncInfoDict(const EncInfo& info) {
  constexpr char kItemFailure[] = "PyDict_SetItemString failed with key:";
  ResultDict dict({"PyDict_New result failed!", kItemFailure, kItemFailure, true});
  dict.Set<"encrypted">(info.encrypted);
  dict.Set<"useAwsKms">(info.useAwsKms);
  dict.Set<"dekInCache">(info.dekInCache);
  dict.Set<"kekId">(info.kekId);
  dict.Set<"clusterId">(info.clusterId);
  dict.Set<"dekGenerationId">(info.dekGenerationId);
  return dict.Release();
}

}  // namespace

PyObject* PyGetEncInfoForDisk(const char* diskName) {
  EncInfo info;
  return CallPlatform(
      OnStdException(PyExc_ValueError), [&] { info = ReadEncInfo(diskName); },
      [&] { return NewEncInfoDict(info); });
}

PyObject* PyGetWrappedDekFromDisk(const char* diskName) {
  quelt::SecretBytes<ENCR_AWS_DEK_MAX> wrapped;
  std::size_t length = ENCR_DEK_SIZE;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        DiskRecords records;
        records.Read(diskName);
        const std::uint8_t* from = records.metadata.wrappedDek;
        if (records.Has(ENCR_FLAG_AWS_KMS)) {
          from = records.aws.wrappedDek;
          length = records.aws.wrappedDekLength;
        }
        if (length > wrapped.size()) {
          throw QueltCtlException("Wrapped DEK is too long");
        }
        memcpy(wrapped.data(), from, length);
      },
      [&] { return NewBytes(wrapped.data(), length); });
}

PyObject* PyGetDekFromDisk(const char* diskName) {
  quelt::SecretBytes<ENCR_DEK_SIZE> dek;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        WithHostSystem(
            [&](HostSystem& system) { system.GetUnwrappedDekForDisk(diskName, dek.data()); });
      },
      [&] { return NewBytes(dek.data(), ENCR_DEK_SIZE); });
}

PyObject* PyDecrypt2kBlock(ByteView dek, unsigned long long position, ByteView block) {
  if (block.size != Py_ssize_t{ENCR_BLOCK_SIZE}) {
    return Raise(PyExc_RuntimeError, "buffer has wrong length");
  }
  if (dek.size != Py_ssize_t{ENCR_DEK_SIZE}) {
    return Raise(PyExc_RuntimeError, "DEK has wrong length");
  }
  quelt::SecretBytes<ENCR_BLOCK_SIZE> output;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { QueltUtil::Decrypt2kBlock(dek.data, position, block.data, output.data()); },
      [&] { return NewBytes(output.data(), ENCR_BLOCK_SIZE); });
}

}  // namespace pyquelt
