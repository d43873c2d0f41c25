// Error codes of the configuration store, and the store's message for each.
//
// A message is a printf-style format: the store replaces "%s" and "%d" by details.
//
// Thread safety: constant data only; any thread may read it, with or without the GIL.
// Ownership: the messages live as long as the module stays loaded; nobody frees them.
#pragma once

#include <array>

namespace IruConfigStore {

// The values are the store's own. The store does not use the codes in the gaps.
enum CSErrorCodes : int {
  // Database access.
  kDatabaseOpenFailed = 1001,
  kDatabaseConnectFailed = 1002,
  kDatabaseDisconnectFailed = 1003,
  kReadFailed = 1004,
  kWriteFailed = 1005,
  kUpdateFailed = 1006,
  kDatabaseDeleteFailed = 1007,
  kPrepareCallFailed = 1008,
  kStepCallFailed = 1009,
  kIntegrityCheckFailed = 1010,
  kTransactionStartFailed = 1011,
  kTransactionCommitFailed = 1012,
  kTransactionRollbackFailed = 1013,
  kTransactionCancelFailed = 1014,
  kTableCreateFailed = 1015,
  kTriggerCreateFailed = 1016,
  kBindFailed = 1017,
  kInvalidDatabaseType = 1018,

  // Keys and values. The store uses 1030 for a bad type and for a bad key.
  kInvalidTypeOrKey = 1030,
  kKeyNotFound = 1031,
  kInvalidValue = 1032,
  kValueGetFailed = 1033,
  kValueSetFailed = 1034,
  kValueCodingFailed = 1035,

  // Configuration objects.
  kConfigObjectNotFound = 1036,
  kSchemaObjectNotFound = 1037,
  kFilterSpecNotFound = 1038,
  kSubObjectFilterNotFound = 1039,
  kConfigObjectEmpty = 1040,
  kFilterSpecEmpty = 1041,
  kConfigObjectExists = 1042,
  kFilterSpecExists = 1043,
  kNonSingletonFilteringUnsupported = 1044,
  kNotSingleton = 1045,
  kNotNonSingleton = 1046,
  kNonSingletonCallOnSingleton = 1047,
  kInstanceIdMissing = 1048,
  kInstanceIdForbidden = 1049,

  // Operations.
  kExternalContextDuringBoot = 1050,
  kSetOperationFailed = 1051,
  kGetOperationFailed = 1052,
  kUpdateOperationFailed = 1053,
  kDeleteOperationFailed = 1054,
  kImportOperationFailed = 1055,
  kExportOperationFailed = 1056,
  kUpgradeOperationFailed = 1057,
  kSetDesiredFailed = 1058,
  kSetBootStatusFailed = 1059,
  kSetPartialBootStatusFailed = 1060,

  // JSON and validation. The store uses 1084 for the default and for the cached configuration.
  kJsonStringParseFailed = 1080,
  kJsonFileParseFailed = 1081,
  kInvalidJson = 1082,
  kValidationError = 1083,
  kDefaultOrCachedConfigInvalid = 1084,
  kVitalConfigInvalid = 1086,
  kUserConfigInvalid = 1087,
  kPartialConfigInvalid = 1088,
  kSetInvalid = 1089,
  kUpdateInvalid = 1090,
  kApplyJsonFileInvalid = 1091,
  kAutoConfigInvalid = 1092,

  // Process and environment.
  kInvalidArgument = 1100,
  kMemoryReserveFailed = 1101,
  kForkExecFailed = 1102,
  kChildWaitFailed = 1103,
  kChildExitedWithError = 1104,
  kInternalError = 1105,
};

}  // namespace IruConfigStore

namespace pyquelt {

struct ConfigStoreErrorRow {
  IruConfigStore::CSErrorCodes code;
  const char* message;
};

// The store's messages in its own order. If a code has two rows, use the first one.
// Constant-initialized, so that load-time data of any other file can be built from it.
extern const std::array<ConfigStoreErrorRow, 69> kConfigStoreErrorRows;

}  // namespace pyquelt
