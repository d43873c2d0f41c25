// The scenario key "disks": disks with their encryption records. Loaded after "keys", whose KEKs
// wrap the DEKs.
#include <algorithm>
#include <cstring>

#include "embedded_host/crypto/disk.h"
#include "embedded_host/crypto/key_cache.h"
#include "embedded_host/crypto/sections.h"
#include "embedded_host/crypto/wrapping.h"
#include "embedded_host/text/hexadecimal.h"
#include "embedded_host/text/uuid_text.h"

namespace quelt {

using nlohmann::json;

namespace {

constexpr std::string_view kKeys[] = {"disks"};

/// A text that fits into a field of the record, including its terminating NUL.
std::string FieldText(const Node& disk, const char* key, std::size_t fieldSize) {
  std::string text = disk.TextOr(key, "");
  if (text.size() >= fieldSize || text.find('\0') != std::string::npos) {
    disk.At(key).Fail("a text of at most " + std::to_string(fieldSize - 1) +
                      " bytes, none of them zero");
  }
  return text;
}

void CopyHex(const Node& member, std::uint8_t* to, std::size_t size) {
  const std::vector<std::uint8_t> bytes = member.Hex(size);
  std::copy(bytes.begin(), bytes.end(), to);
}

/// Reads an unwrapped DEK and wraps it with the disk's KEK.
void WrapPlainDek(Connection& db, const Node& node, Disk& disk) {
  Kek kek;
  if (CopyKey(db, disk.KekId(), kek) != Kek::size()) {
    node.At("kekId").Fail("the id of a key of 32 bytes among \"keys\"");
  }
  Dek dek;
  CopyHex(node.At("dek"), dek.data(), Dek::size());
  if (std::memcmp(dek.data(), dek.data() + Dek::size() / 2, Dek::size() / 2) == 0) {
    node.At("dek").Fail("two halves that differ");
  }
  WrapDek(disk.uuid, kek, dek, disk.metadata);
}

/// Reads a wrapped DEK, in the parts that a record stores.
void CopyWrappedDek(const Node& wrapped, ENCR_Metadata& metadata) {
  wrapped.AllowOnly({"mark", "dek", "nonce", "tag"});
  const WrappedDek record(metadata);
  CopyHex(wrapped.At("mark"), metadata.reserved0, sizeof metadata.reserved0);
  CopyHex(wrapped.At("dek"), record.dek, ENCR_DEK_SIZE);
  CopyHex(wrapped.At("nonce"), record.nonce, WrappedDek::kNonceSize);
  CopyHex(wrapped.At("tag"), record.tag, WrappedDek::kTagSize);
}

void SetCloudDek(const Node& aws, Disk& disk) {
  aws.AllowOnly({"wrappedDek"});
  const std::vector<std::uint8_t> wrapped = aws.At("wrappedDek").Hex(0, ENCR_AWS_DEK_MAX);
  disk.metadata.flags |= ENCR_FLAG_AWS_KMS;
  disk.aws.wrappedDekLength = static_cast<std::uint16_t>(wrapped.size());
  std::copy(wrapped.begin(), wrapped.end(), disk.aws.wrappedDek);
}

void SetDek(Connection& db, const Node& node, Disk& disk) {
  const auto dek = node.Find("dek");
  const auto wrapped = node.Find("wrapped");
  const auto aws = node.Find("aws");
  if (dek && (wrapped || aws || !disk.Has(ENCR_FLAG_ENCRYPTED))) {
    dek->Fail("no DEK beside \"wrapped\" or \"aws\", and none for a disk that is not encrypted");
  }
  if (disk.Has(ENCR_FLAG_ENCRYPTED) && !dek && !wrapped && !aws) {
    node.Fail("a member \"dek\", \"wrapped\" or \"aws\", since the disk is encrypted");
  }
  if (aws) {
    SetCloudDek(*aws, disk);
  }
  if (wrapped) {
    CopyWrappedDek(*wrapped, disk.metadata);
  }
  if (dek) {
    WrapPlainDek(db, node, disk);
  }
}

void LoadDisk(Connection& db, const Node& node) {
  node.AllowOnly({"name", "uuid", "encrypted", "dek", "wrapped", "kekId", "clusterId",
                  "dekGenerationId", "aws"});
  Disk disk;
  disk.name = node.At("name").Text();
  const auto uuid = ReadUuid(node.At("uuid").Text());
  if (!uuid) {
    node.At("uuid").Fail("hexadecimal groups 8-4-4-4-12");
  }
  disk.uuid.bytes = *uuid;
  disk.metadata.flags = node.BooleanOr("encrypted", false) ? ENCR_FLAG_ENCRYPTED : 0;
  disk.metadata.dekGenerationId =
      static_cast<std::uint32_t>(node.IntegerOr("dekGenerationId", 0, 0, 4294967295));
  SetKeyIds(disk.metadata, FieldText(node, "kekId", sizeof disk.metadata.kekId),
            FieldText(node, "clusterId", sizeof disk.metadata.clusterId));
  SetDek(db, node, disk);
  if (!AddDisk(db, disk)) {
    node.Fail("a name and a UUID that no other disk has");
  }
}

void Load(Connection& db, const Node& root) {
  if (const auto disks = root.Find("disks")) {
    for (const Node& disk : disks->Items()) {
      LoadDisk(db, disk);
    }
  }
}

json DumpDisk(Disk disk) {
  ENCR_Metadata& metadata = disk.metadata;
  json dumped = {{"name", disk.name},
                 {"uuid", UuidText(disk.uuid.bytes)},
                 {"encrypted", disk.Has(ENCR_FLAG_ENCRYPTED)},
                 {"kekId", disk.KekId()},
                 {"clusterId", std::string(metadata.clusterId)},
                 {"dekGenerationId", std::uint32_t{metadata.dekGenerationId}}};
  const WrappedDek wrapped(metadata);
  const std::uint8_t* const mark = metadata.reserved0;
  if (std::any_of(mark, mark + sizeof metadata.reserved0, [](auto byte) { return byte != 0; })) {
    dumped["wrapped"] = {{"mark", HexText(mark, sizeof metadata.reserved0)},
                         {"dek", HexText(wrapped.dek, ENCR_DEK_SIZE)},
                         {"nonce", HexText(wrapped.nonce, WrappedDek::kNonceSize)},
                         {"tag", HexText(wrapped.tag, WrappedDek::kTagSize)}};
  }
  if (disk.Has(ENCR_FLAG_AWS_KMS)) {
    dumped["aws"] = {{"wrappedDek", HexText(disk.aws.wrappedDek, disk.aws.wrappedDekLength)}};
  }
  return dumped;
}

void Dump(Connection& db, bool, json& document) {
  for (const Disk& disk : AllDisks(db)) {
    document["disks"].push_back(DumpDisk(disk));
  }
}

}  // namespace

const Section kDisksSection = {kKeys, Load, Dump};

}  // namespace quelt
