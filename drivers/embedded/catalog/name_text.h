// Names of objects that come as texts: arguments of procedures and functions.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvane::embedded {

/// The parts of `[[db.]owner.]name`. With `quotes` a part may stand in double quotes, within which
/// a dot is a letter and a doubled quote is one.
std::vector<std::string> nameParts(std::string_view text, bool quotes);

/// The texts before and behind the last dot that separates two parts; the first is empty when there
/// is none. Both as written.
std::pair<std::string_view, std::string_view> splitAtLastDot(std::string_view text, bool quotes);

/// The last part.
std::string lastName(std::string_view text, bool quotes);

}  // namespace kelvane::embedded
