#include "inventory/name_pattern.h"

namespace kelvane::inventory {

bool matchesPattern(std::u16string_view text, std::u16string_view pattern) {
  std::size_t at = 0, in = 0, star = pattern.npos, resumed = 0;
  while (at < text.size()) {
    if (in < pattern.size() && pattern[in] == u'*') {
      star = in++;
      resumed = at;
    } else if (in < pattern.size() && (pattern[in] == u'?' || pattern[in] == text[at])) {
      ++in;
      ++at;
    } else if (star != pattern.npos) {
      in = star + 1;
      at = ++resumed;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of(u'*', in) == pattern.npos;
}

}  // namespace kelvane::inventory
