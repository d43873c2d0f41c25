// JSON as the tool prints it.
#pragma once

#include <string>

#include "embedded_host/tool/table.h"

namespace quelt {

/// Invalid UTF-8 is replaced. Control characters are escaped, also those that JSON permits.
template <typename Json>
std::string JsonText(const Json& value, int indent = -1) {
  return EscapeControls(value.dump(indent, ' ', false, Json::error_handler_t::replace), "\\u00");
}

}  // namespace quelt
