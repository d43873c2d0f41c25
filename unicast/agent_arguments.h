// The arguments of the functions that change the unicast membership. GIL held.
//
// Texts are borrowed from the call's arguments.
#pragma once

#include <cstdint>

#include "module/keyword_arguments.h"
#include "platform/network.h"
#include "platform/unicast.h"

namespace pyquelt {

inline constexpr std::int32_t kDefaultUnicastPort = 12321;
inline constexpr char kDefaultUnicastUuid[] = "00000000-0000-0000-0000-000000000000";

/// The agent that a change applies to, converted for the platform.
struct AgentTarget {
  std::int32_t nodeType = static_cast<std::int32_t>(HostCtl::Quelt::UnicastNodeType::kWitness);
  HostCtl::Quelt::QueltIpAddress address;
  std::int32_t port = kDefaultUnicastPort;
};

/// The arguments of AddUnicastAgent and SetUnicastInfoInConfigStore.
struct AgentArguments {
  const char* addr = nullptr;
  const char* uuid = kDefaultUnicastUuid;
  const char* type = "witness";
  bool isSupportUnicast = false;
  const char* interface = nullptr;
  const char* hostname = nullptr;
  const char* thumbprint = nullptr;
  const char* subClusterUuid = nullptr;
  AgentTarget target;

  /// False with an error set.
  bool Parse(KeywordArguments& arguments);
};

/// The arguments of RemoveUnicastAgent.
struct RemovalArguments {
  const char* addr = nullptr;
  const char* uuid = kDefaultUnicastUuid;
  const char* type = "node";
  bool replaceWitness = false;
  AgentTarget target;

  /// False with an error set.
  bool Parse(KeywordArguments& arguments);
};

}  // namespace pyquelt
