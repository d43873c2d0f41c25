// Suggestions for mistyped names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quelt {

/// The end of an error text, for example ". Did you mean fail or faults?", with the nearest names
/// first; "" if no name is similar. Ignores case.
std::string DidYouMean(std::string_view text, const std::vector<std::string_view>& names);

}  // namespace quelt
