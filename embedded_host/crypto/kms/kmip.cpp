#include "embedded_host/crypto/kms/kmip.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <vector>

#include "embedded_host/crypto/kms/server_failure.h"

namespace quelt {

namespace {

// Tags (section 9.1.3.1 of the standard).
enum class Tag : std::uint32_t {
  kBatchCount = 0x42000D,
  kBatchItem = 0x42000F,
  kOperation = 0x42005C,
  kProtocolVersion = 0x420069,
  kProtocolVersionMajor = 0x42006A,
  kProtocolVersionMinor = 0x42006B,
  kRequestHeader = 0x420077,
  kRequestMessage = 0x420078,
  kRequestPayload = 0x420079,
  kResponseHeader = 0x42007A,
  kResponseMessage = 0x42007B,
  kResponsePayload = 0x42007C,
  kResultMessage = 0x42007D,
  kResultReason = 0x42007E,
  kResultStatus = 0x42007F,
  kTimeStamp = 0x420092,
  kUniqueBatchItemId = 0x420093,
};

// Item types (section 9.1.1.2).
enum class Type : std::uint8_t {
  kStructure = 1,
  kInteger = 2,
  kLongInteger = 3,
  kBigInteger = 4,
  kEnumeration = 5,
  kBoolean = 6,
  kTextString = 7,
  kByteString = 8,
  kDateTime = 9,
  kInterval = 10,
};

constexpr std::uint32_t kDiscoverVersions = 0x1E;
constexpr std::uint32_t kSuccess = 0;
constexpr std::uint32_t kOperationNotSupported = 5;

/// The texts of Result Reason from 1 on (section 9.1.3.2.28).
constexpr std::array kResultReasons = {
    "Item Not Found",        "Response Too Large",      "Authentication Not Successful",
    "Invalid Message",       "Operation Not Supported", "Missing Data",
    "Invalid Field",         "Feature Not Supported",   "Operation Canceled By Requester",
    "Cryptographic Failure", "Illegal Operation",       "Permission Denied"};

/// A tag, a type and a length.
constexpr std::size_t kItemHeader = 8;
/// The largest response that is read; one that lists ten versions has 600 bytes.
constexpr std::size_t kMaxResponseBytes = 65536;
constexpr int kMaxNesting = 16;
constexpr std::size_t kMaxMessageBytes = 200;

/// The id of the request's only batch item. A server of a line-based protocol reads it as the end
/// of a line and answers at once; otherwise it would wait for one until the check times out.
constexpr std::string_view kBatchItemId = "\r\n\r\n";

[[noreturn]] void ThrowNotKmip(const std::string& why) {
  throw ServerFailure("it is not a KMIP server: " + why);
}

[[noreturn]] void ThrowMalformed() { ThrowNotKmip("its response is malformed"); }

// --- encoding -----------------------------------------------------------------------------------

std::size_t Padded(std::size_t length) { return (length + 7) / 8 * 8; }

std::string BigEndian(std::uint32_t value, int bytes) {
  std::string text;
  while (bytes-- > 0) {
    text += static_cast<char>(value >> 8 * bytes);
  }
  return text;
}

std::string Item(Tag tag, Type type, std::string_view value) {
  std::string item = BigEndian(static_cast<std::uint32_t>(tag), 3);
  item += static_cast<char>(type);
  item += BigEndian(static_cast<std::uint32_t>(value.size()), 4);
  item += value;
  item.resize(kItemHeader + Padded(value.size()));
  return item;
}

std::string Number(Tag tag, Type type, std::uint32_t value) {
  return Item(tag, type, BigEndian(value, 4));
}

std::string Structure(Tag tag, std::initializer_list<std::string> items) {
  std::string value;
  for (const std::string& item : items) {
    value += item;
  }
  return Item(tag, Type::kStructure, value);
}

// --- decoding -----------------------------------------------------------------------------------

std::uint32_t ReadBigEndian(std::string_view bytes) {
  std::uint32_t value = 0;
  for (const char byte : bytes) {
    value = value << 8 | static_cast<unsigned char>(byte);
  }
  return value;
}

bool FitsType(Type type, std::size_t length) {
  switch (type) {
    case Type::kStructure:
    case Type::kBigInteger:
      return length % 8 == 0;
    case Type::kInteger:
    case Type::kEnumeration:
    case Type::kInterval:
      return length == 4;
    case Type::kLongInteger:
    case Type::kBoolean:
    case Type::kDateTime:
      return length == 8;
    case Type::kTextString:
    case Type::kByteString:
      return true;
  }
  return false;
}

struct DecodedItem {
  Tag tag;
  Type type;
  std::string_view value;
};

/// The items of a structure. The constructor rejects malformed items, nested ones included.
class Items {
 public:
  explicit Items(std::string_view encoded, int level = 0) {
    while (!encoded.empty()) {
      items_.push_back(TakeFirst(encoded));
      if (items_.back().type == Type::kStructure) {
        if (level == kMaxNesting) {
          ThrowMalformed();
        }
        Items(items_.back().value, level + 1);  // only to check the nested items
      }
    }
  }

  /// The value of the item with this tag, if there is one. Throws if it has another type.
  std::optional<std::string_view> Find(Tag tag, Type type) const {
    const auto item = std::find_if(items_.begin(), items_.end(),
                                   [&](const auto& other) { return other.tag == tag; });
    if (item == items_.end()) {
      return std::nullopt;
    }
    if (item->type != type) {
      ThrowMalformed();
    }
    return item->value;
  }
  /// The value of the item with this tag. Throws if there is none.
  std::string_view At(Tag tag, Type type) const {
    const auto value = Find(tag, type);
    return value ? *value : (ThrowMalformed(), "");
  }
  Items StructureAt(Tag tag) const { return Items(At(tag, Type::kStructure)); }
  std::uint32_t NumberAt(Tag tag, Type type) const { return ReadBigEndian(At(tag, type)); }

 private:
  static DecodedItem TakeFirst(std::string_view& encoded) {
    if (encoded.size() < kItemHeader) {
      ThrowMalformed();
    }
    const auto tag = static_cast<Tag>(ReadBigEndian(encoded.substr(0, 3)));
    const auto type = static_cast<Type>(encoded[3]);
    const std::size_t length = ReadBigEndian(encoded.substr(4, 4));
    encoded.remove_prefix(kItemHeader);
    if (!FitsType(type, length) || Padded(length) > encoded.size()) {
      ThrowMalformed();
    }
    const std::string_view padding = encoded.substr(length, Padded(length) - length);
    if (padding.find_first_not_of('\0') != padding.npos) {
      ThrowMalformed();
    }
    const DecodedItem item{tag, type, encoded.substr(0, length)};
    encoded.remove_prefix(Padded(length));
    return item;
  }

  std::vector<DecodedItem> items_;
};

void RequireVersion(const Items& version) {
  version.At(Tag::kProtocolVersionMajor, Type::kInteger);
  version.At(Tag::kProtocolVersionMinor, Type::kInteger);
}

/// The server's message about a failure: its first bytes, with ? for unprintable characters.
std::string Printable(std::string_view message) {
  std::string printable(message.substr(0, kMaxMessageBytes));
  const auto isUnprintable = [](char c) { return c < ' ' || c > '~'; };
  std::replace_if(printable.begin(), printable.end(), isUnprintable, '?');
  return printable;
}

[[noreturn]] void ThrowRejected(std::uint32_t reason, std::string_view message) {
  std::string text = "it rejects the KMIP request: ";
  text += reason - 1 < kResultReasons.size() ? kResultReasons[reason - 1]
                                             : "Result Reason " + std::to_string(reason);
  throw ServerFailure(message.empty() ? text : text + " (" + Printable(message) + ")");
}

void RequireBatchItem(const Items& item) {
  const std::uint32_t status = item.NumberAt(Tag::kResultStatus, Type::kEnumeration);
  // A server that could not parse the request omits the operation in its response.
  const auto operation = item.Find(Tag::kOperation, Type::kEnumeration);
  const auto id = item.Find(Tag::kUniqueBatchItemId, Type::kByteString);
  if ((operation ? ReadBigEndian(*operation) != kDiscoverVersions : status == kSuccess) ||
      (id && *id != kBatchItemId)) {
    ThrowNotKmip("it responds to another request");
  }
  if (status == kSuccess) {
    item.StructureAt(Tag::kResponsePayload);
    return;
  }
  const std::uint32_t reason = item.NumberAt(Tag::kResultReason, Type::kEnumeration);
  // A server of KMIP 1.0 responds so: it does not have the operation.
  if (reason != kOperationNotSupported) {
    ThrowRejected(reason, item.Find(Tag::kResultMessage, Type::kTextString).value_or(""));
  }
}

}  // namespace

std::string DiscoverVersionsRequest() {
  const std::string version =
      Structure(Tag::kProtocolVersion, {Number(Tag::kProtocolVersionMajor, Type::kInteger, 1),
                                        Number(Tag::kProtocolVersionMinor, Type::kInteger, 1)});
  return Structure(
      Tag::kRequestMessage,
      {Structure(Tag::kRequestHeader, {version, Number(Tag::kBatchCount, Type::kInteger, 1)}),
       Structure(Tag::kBatchItem, {Number(Tag::kOperation, Type::kEnumeration, kDiscoverVersions),
                                   Item(Tag::kUniqueBatchItemId, Type::kByteString, kBatchItemId),
                                   Structure(Tag::kRequestPayload, {})})});
}

bool IsDiscoverVersionsResponse(std::string_view received) {
  static constexpr std::string_view kStart("\x42\x00\x7B\x01", 4);  // a Response Message structure
  if (!received.starts_with(kStart.substr(0, received.size()))) {
    ThrowNotKmip("it responds in another protocol");
  }
  if (received.size() < kItemHeader) {
    return false;
  }
  const std::size_t size = kItemHeader + ReadBigEndian(received.substr(4, 4));
  if (size > kMaxResponseBytes) {
    ThrowNotKmip("its response is too long");
  }
  if (received.size() < size) {
    return false;
  }
  if (received.size() > size) {
    ThrowMalformed();
  }
  const Items message = Items(received).StructureAt(Tag::kResponseMessage);
  const Items header = message.StructureAt(Tag::kResponseHeader);
  RequireVersion(header.StructureAt(Tag::kProtocolVersion));
  header.At(Tag::kTimeStamp, Type::kDateTime);
  if (header.NumberAt(Tag::kBatchCount, Type::kInteger) != 1) {
    ThrowNotKmip("it responds to another request");
  }
  RequireBatchItem(message.StructureAt(Tag::kBatchItem));
  return true;
}

}  // namespace quelt
