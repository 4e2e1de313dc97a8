#include <array>

#include "drivers/odbc/connection.h"
#include "model/text.h"

namespace kelvane::odbc {
namespace {

// Parts of the keywords whose values nobody may see, folded.
constexpr std::array<std::u16string_view, 5> kSecretWords{u"pwd", u"pass", u"secret", u"token",
                                                          u"credential"};

bool isSecret(std::u16string_view keyword) {
  const std::u16string folded = foldCase(keyword);
  for (const std::u16string_view word : kSecretWords) {
    if (folded.find(word) != std::u16string::npos) return true;
  }
  return false;
}

// Where the attribute that starts at `begin` ends: at a semicolon, but not at one in the braces of
// its value, in which a doubled closing brace stands for one.
std::size_t endOfAttribute(std::u16string_view text, std::size_t begin) {
  std::size_t at = text.find_first_of(u"=;", begin);
  if (at == std::u16string_view::npos || text[at] == u';') return at;
  at = text.find_first_not_of(u" \t", at + 1);
  if (at == std::u16string_view::npos || text[at] != u'{') return text.find(u';', at);
  for (++at; (at = text.find(u'}', at)) != std::u16string_view::npos; at += 2) {
    if (text.substr(at + 1, 1) != u"}") return text.find(u';', at);
  }
  return at;
}

}  // namespace

std::u16string masked(std::u16string_view connectionString) {
  std::u16string shown;
  bool afterSecret = false;
  for (std::size_t begin = 0; begin < connectionString.size();) {
    const std::size_t end = endOfAttribute(connectionString, begin);
    const std::u16string_view attribute = connectionString.substr(begin, end - begin);
    const std::size_t equals = attribute.find(u'=');
    if (equals == std::u16string_view::npos) {
      // What has no keyword may be the rest of a secret with a semicolon and no braces.
      shown += afterSecret && !attribute.empty() ? u"***" : attribute;
    } else {
      afterSecret = isSecret(attribute.substr(0, equals));
      shown += afterSecret ? std::u16string(attribute.substr(0, equals + 1)) + u"***"
                           : std::u16string(attribute);
    }
    if (end == std::u16string_view::npos) break;
    shown += u';';
    begin = end + 1;
  }
  return shown;
}

}  // namespace kelvane::odbc
