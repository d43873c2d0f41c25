// Formats JSON for output.
#pragma once

#include <string>

#include "embedded_host/tool/table.h"

namespace quelt {

/// Replaces invalid UTF-8 and escapes control characters, including those that JSON permits.
template <typename Json>
std::string JsonText(const Json& value, int indent = -1) {
  return EscapeControls(value.dump(indent, ' ', false, Json::error_handler_t::replace), "\\u00");
}

}  // namespace quelt
