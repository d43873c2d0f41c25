// A disk's encryption metadata, its wrapped and unwrapped DEK, and decryption of one block.
#include <string.h>  // strnlen

#include <bit>
#include <cstdint>
#include <string>

#include "crypto/functions.h"
#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/result_helpers.h"
#include "module/secret_area.h"
#include "platform/encryption.h"
#include "platform/exception.h"
#include "platform/quelt_util.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using HostCtl::Quelt::HostSystem;
using ZelCtl::Quelt::QueltUtil;

static_assert(std::endian::native == std::endian::little, "metadata integers are little-endian");
static_assert(sizeof(unsigned long) == 8, "results hold 64-bit integers as unsigned long");

namespace {

/// What the host reports about one disk, zero-filled first; wiped at the end of the call, also when
/// the host fails after it wrote them: what is made before a constructor delegates is destroyed.
struct DiskRecords {
  HostCtl::Quelt::Uuid uuid{};
  ENCR_Metadata metadata{};
  ENCR_Metadata_AWS aws{};

  DiskRecords() = default;
  explicit DiskRecords(const char* disk) : DiskRecords() {
    QueltUtil::GetEncMetadataForDisk(disk, uuid, metadata, aws);
  }
  DiskRecords(const DiskRecords&) = delete;
  DiskRecords& operator=(const DiskRecords&) = delete;
  ~DiskRecords() {
    Wipe(&metadata, sizeof metadata);
    Wipe(&aws, sizeof aws);
  }
  bool Has(std::uint8_t flag) const { return (metadata.flags & flag) != 0; }
};

/// A text field: up to its NUL, never past its end.
template <std::size_t Size>
std::string FieldText(const char (&field)[Size]) {
  return std::string(field, strnlen(field, Size));
}

bool ParseDiskName(PyObject* args, const char** disk) {
  if (!PyArg_ParseTuple(args, "s", disk)) {
    Raise(PyExc_RuntimeError, "Unable to parse input disk name");
    return false;
  }
  return true;
}

struct EncInfo {
  bool encrypted = false;
  bool useAwsKms = false;
  bool dekInCache = false;
  std::string kekId;
  std::string clusterId;
  unsigned long dekGenerationId = 0;
};

EncInfo ReadEncInfo(const char* disk) {
  const DiskRecords records(disk);
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
  // A plain pointer: PySetDictItem gives the dictionary back itself when it fails.
  PyObject* const dict = PyDict_New();
  if (dict == nullptr) {
    return Raise(PyExc_RuntimeError, "PyDict_New result failed!");
  }
  const bool filled =
      PySetDictItem(dict, "encrypted", PyBool_FromLong(info.encrypted ? 1 : 0)) &&
      PySetDictItem(dict, "useAwsKms", PyBool_FromLong(info.useAwsKms ? 1 : 0)) &&
      PySetDictItem(dict, "dekInCache", PyBool_FromLong(info.dekInCache ? 1 : 0)) &&
      PySetDictItem(dict, "kekId", Py_BuildValue("s", info.kekId.c_str())) &&
      PySetDictItem(dict, "clusterId", Py_BuildValue("s", info.clusterId.c_str())) &&
      PySetDictItem(dict, "dekGenerationId", Py_BuildValue("k", info.dekGenerationId));
  return filled ? dict : nullptr;
}

}  // namespace

PyObject* PyGetEncInfoForDisk(PyObject*, PyObject* args) {
  const char* disk = nullptr;
  if (!ParseDiskName(args, &disk)) {
    return nullptr;
  }
  EncInfo info;
  return CallPlatform(
      OnStdException(PyExc_ValueError), [&] { info = ReadEncInfo(disk); },
      [&] { return NewEncInfoDict(info); });
}

PyObject* PyGetWrappedDekFromDisk(PyObject*, PyObject* args) {
  const char* disk = nullptr;
  if (!ParseDiskName(args, &disk)) {
    return nullptr;
  }
  SecretArea<ENCR_AWS_DEK_MAX> wrapped;
  std::size_t length = ENCR_DEK_SIZE;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        const DiskRecords records(disk);
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
      [&] { return PyBytes_FromStringAndSize(wrapped.chars(), static_cast<Py_ssize_t>(length)); });
}

PyObject* PyGetDekFromDisk(PyObject*, PyObject* args) {
  const char* disk = nullptr;
  if (!ParseDiskName(args, &disk)) {
    return nullptr;
  }
  SecretArea<ENCR_DEK_SIZE> dek;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        WithHostSystem(
            [&](HostSystem& system) { system.GetUnwrappedDekForDisk(disk, dek.data()); });
      },
      [&] { return PyBytes_FromStringAndSize(dek.chars(), ENCR_DEK_SIZE); });
}

PyObject* PyDecrypt2kBlock(PyObject*, PyObject* args) {
  // The views are plain values, given back by plain calls: no destructor may do it, see the frame.
  Py_buffer dek{};
  Py_buffer block{};
  unsigned long long position = 0;
  if (!PyArg_ParseTuple(args, "y*Ky*", &dek, &position, &block)) {
    return Raise(PyExc_RuntimeError, "Unable to parse input");
  }
  const auto releaseViews = [&] {
    PyBuffer_Release(&dek);
    PyBuffer_Release(&block);
  };
  const bool blockFits = block.len == Py_ssize_t{ENCR_BLOCK_SIZE};
  if (!blockFits || dek.len != Py_ssize_t{ENCR_DEK_SIZE}) {
    releaseViews();
    return Raise(PyExc_RuntimeError,
                 blockFits ? "DEK has wrong length" : "buffer has wrong length");
  }
  SecretArea<ENCR_BLOCK_SIZE> output;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        QueltUtil::Decrypt2kBlock(static_cast<const unsigned char*>(dek.buf), position,
                                  static_cast<const unsigned char*>(block.buf), output.data());
      },
      [&] {
        releaseViews();
        return PyBytes_FromStringAndSize(output.chars(), ENCR_BLOCK_SIZE);
      },
      releaseViews);
}

}  // namespace pyquelt
