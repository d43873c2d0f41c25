// The names of all platform operations, for faults and the journal.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace quelt {

/// Every operation of platform/, without namespace and class.
inline constexpr std::array kOperationNames = std::to_array<std::string_view>({
    // QueltConfigStore
    "GetHardwareSku",
    "GetIloAuth",
    "SetIloAuth",
    "GetPerfsvcHostConfigStore",
    "SetPerfsvcHostConfigStore",
    "SetClusterTimeMachineConfigStore",
    // QueltUtil
    "AddKeyToKeyCache",
    "RemoveKeyFromKeyCache",
    "RetrieveKeyFromKeyCache",
    "LookupKeyInKeyCache",
    "GetEncMetadataForDisk",
    "QueltUuidToString",
    "Decrypt2kBlock",
    "FormatCertString",
    "AddKmsCertToTrustStore",
    "CheckCloudKmsStatus",
    "KeyIdForKek",
    "GetKmsPasswordFromConfigStore",
    "BuildQueltIPAddress",
    "IsQueltCSDFeatureEnabled",
    "IsQueltMetadataNodeFeatureEnabled",
    "GetUnicastModeForCluster",
    "IsObjectAccessible",
    "GetCapacityAndFSOverheadFromNorim",
    // The cluster plug-in
    "GetQueltPlugin",
    "GetHostSystem",
    "GetZelNicConfigs",
    "ShallowRekeyDisks",
    "GetOqtaMaxDiskVersion",
    "AddUnicastAgentEntry",
    "RemoveUnicastAgentEntry",
    "SetUnicastAgentInConfigStore",
    "GetClusterConfig",
    "UpgradeDiskGroupFormatVersion",
    "GetClusterId",
    "SetHostEncryptionEnabled",
    "GetKmsInfoList",
    "GetConfiguredKekId",
    "GetConfiguredHostKeyId",
    "PersistKekId",
    "PersistHostKeyId",
    "QueryKmsStatus",
    "GetT1DiskInfoMap",
    "GetUnicastAgentList",
    "GetUnwrappedDekForDisk",
    // The object layer
    "ObjUtil_Create",
    "ObjUtil_Delete",
    "ObjLib_Init",
    "ObjLib_GetURIPrefix",
    "ObjLib_GetExtParams",
    "DDBGet",
});

/// One of kOperationNames. Constructed from a literal, which is checked at compile time.
class OperationId {
 public:
  consteval OperationId(const char* name) : index_(IndexOf(name)) {}

  std::size_t index() const { return index_; }
  std::string_view name() const { return kOperationNames[index_]; }

 private:
  static consteval std::size_t IndexOf(std::string_view name) {
    for (std::size_t i = 0; i < kOperationNames.size(); ++i) {
      if (kOperationNames[i] == name) {
        return i;
      }
    }
    throw "no such platform operation";
  }

  std::size_t index_;
};

}  // namespace quelt
