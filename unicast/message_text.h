// The texts of messages about unicast agents, and how they show values. Only after a failure.
#pragma once

#include <string>

#include "module/interpreter.h"
#include "platform/unicast.h"
#include "unicast/agent_arguments.h"

namespace pyquelt {

/// One agent of a listing: " uuid: ..." to " subClusterUuid: ...". `showsNodeType`: the
/// metadata-node feature is on.
std::string AgentDescription(const HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo& agent,
                             bool showsNodeType);

/// "Failed to <verb> unicast agent (...): ", for `verb` "add" or "update".
std::string ChangeFailureText(const char* verb, const AgentArguments& agent);

/// "Failed to remove unicast agent (...): ".
std::string RemovalFailureText(const RemovalArguments& removal);

/// Writes the int `number` in decimal as int itself formats it. Formatting takes quadratic time, so
/// the number of bits replaces more than 4,300 digits, or more than a lower limit of the
/// interpreter. False with an error set. GIL held.
bool IntegerText(PyObject* number, std::string& text);

}  // namespace pyquelt
