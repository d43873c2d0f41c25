// What a change of the membership is aimed at: a kind of node, an address and a port.
#pragma once

#include <cstdint>

#include "module/interpreter.h"
#include "platform/network.h"
#include "platform/unicast.h"

namespace pyquelt {

inline constexpr std::int32_t kDefaultUnicastPort = 12321;
inline constexpr char kDefaultUnicastUuid[] = "00000000-0000-0000-0000-000000000000";

struct UnicastAgentTarget {
  std::int32_t nodeType = static_cast<std::int32_t>(HostCtl::Quelt::UnicastNodeType::kWitness);
  HostCtl::Quelt::QueltIpAddress address;
  std::int32_t port = kDefaultUnicastPort;
};

/// Checks a type word, an address text and a port object (borrowed, may be null), in this order,
/// and fills `target`; a port that is no int leaves the target's own. False with a Python exception
/// set when one of them is refused. Lock held.
bool ParseUnicastAgentTarget(const char* type, const char* address, PyObject* port,
                             UnicastAgentTarget& target);

/// True for the object True alone, not for what is merely true. `object` is borrowed, may be null.
inline bool IsTrueItself(const PyObject* object) { return object == Py_True; }

}  // namespace pyquelt
