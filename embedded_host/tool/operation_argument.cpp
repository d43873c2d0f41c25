#include "embedded_host/tool/operation_argument.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

#include "embedded_host/operation/operation_names.h"
#include "embedded_host/tool/suggestions.h"
#include "function_operations.inc"

namespace quelt {

namespace {

/// Lists the operations that a function of pyquelt performs; empty if there is no such function.
std::string OperationsOfFunction(const std::string& function) {
  const auto functions = nlohmann::json::parse(kFunctionOperationsText);
  std::string text;
  for (const std::string operation : functions.value(function, nlohmann::json::array())) {
    text += (text.empty() ? "" : ", ") + operation;
  }
  return text;
}

/// The error for an argument; empty if it is the name of an operation.
std::string CheckOperationName(const std::string& text) {
  if (std::find(kOperationNames.begin(), kOperationNames.end(), text) != kOperationNames.end()) {
    return {};
  }
  const std::string operations = OperationsOfFunction(text);
  if (!operations.empty()) {
    return "\"" + text + "\" is a function of pyquelt, which performs the operations " + operations;
  }
  return "Unknown platform operation \"" + text + "\"" +
         DidYouMean(text, {kOperationNames.begin(), kOperationNames.end()});
}

}  // namespace

CLI::Validator OperationName() { return CLI::Validator(CheckOperationName, "", "operation"); }

std::string OperationNameLines() {
  std::string lines;
  for (const std::string_view name : kOperationNames) {
    lines += "\n  " + std::string(name);
  }
  return lines;
}

}  // namespace quelt
