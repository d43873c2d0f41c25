// What a mistyped name may have been meant to be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quelt {

/// The end of a refusal: ". Did you mean fail or faults?", the nearest names first; "" when none of
/// the names is near. Case does not count.
std::string DidYouMean(std::string_view text, const std::vector<std::string_view>& names);

}  // namespace quelt
