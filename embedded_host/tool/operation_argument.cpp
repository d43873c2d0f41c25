#include "embedded_host/tool/operation_argument.h"

#include <algorithm>
#include <string_view>

#include "embedded_host/operation_names.h"
#include "embedded_host/tool/suggestions.h"

namespace quelt {

namespace {

std::string Refusal(const std::string& text) {
  if (std::find(kOperationNames.begin(), kOperationNames.end(), text) != kOperationNames.end()) {
    return {};
  }
  return "No platform operation is called \"" + text + "\"" +
         DidYouMean(text, {kOperationNames.begin(), kOperationNames.end()});
}

}  // namespace

CLI::Validator OperationName() { return CLI::Validator(Refusal, "", "operation"); }

std::string OperationNameLines() {
  std::string lines;
  for (const std::string_view name : kOperationNames) {
    lines += "\n  " + std::string(name);
  }
  return lines;
}

}  // namespace quelt
