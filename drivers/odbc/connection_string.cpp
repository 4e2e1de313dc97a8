#include "drivers/odbc/connection_string.h"

#include <algorithm>
#include <odbcinst.h>

#include "drivers/odbc/connection.h"
#include "drivers/odbc/handles.h"
#include "model/text.h"

namespace kelvane::odbc {
namespace {

std::u16string_view trimmed(std::u16string_view text) {
  const std::size_t first = text.find_first_not_of(u" \t");
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(u" \t") - first + 1);
}

bool equal(std::u16string_view a, std::u16string_view b) {
  return equalText(a, b, CaseMode::ignore);
}

std::u16string valueOf(std::u16string_view written) {
  written = trimmed(written);
  if (written.size() < 2 || written.front() != u'{' || written.back() != u'}')
    return std::u16string(written);
  return replaceAll(written.substr(1, written.size() - 2), u"}}", u"}");
}

// Of the file odbc.ini or odbcinst.ini; none when it is not there or empty.
std::optional<std::u16string> configured(const char* file, std::u16string_view section,
                                         std::u16string_view keyword) {
  constexpr int kCapacity = 4096;
  std::string value(kCapacity, '\0');
  const int length = SQLGetPrivateProfileString(toUtf8(section).c_str(), toUtf8(keyword).c_str(),
                                                "", value.data(), kCapacity, file);
  if (length <= 0) return std::nullopt;
  return toUtf16(std::string_view(value).substr(0, value.find('\0')));
}

bool namesFreeTds(std::u16string_view driver) {
  const std::u16string folded = foldCase(driver);
  return folded.find(u"freetds") != folded.npos || folded.find(u"tdsodbc") != folded.npos;
}

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

std::optional<std::u16string> ConnectionString::find(
    std::span<const std::u16string_view> keywords) const {
  const std::u16string_view text = text_;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(endOfAttribute(text, begin), text.size());
    const std::u16string_view attribute = text.substr(begin, end - begin);
    const std::size_t equals = attribute.find(u'=');
    for (const std::u16string_view keyword : keywords) {
      if (equals != attribute.npos && equal(trimmed(attribute.substr(0, equals)), keyword))
        return valueOf(attribute.substr(equals + 1));
    }
    begin = end + 1;
  }
  return std::nullopt;
}

std::optional<std::u16string> ConnectionString::findInDataSource(
    std::span<const std::u16string_view> keywords) const {
  constexpr std::array<std::u16string_view, 1> kDataSource{u"DSN"};
  const auto source = find(kDataSource);
  if (!source) return std::nullopt;
  for (const std::u16string_view keyword : keywords) {
    if (auto value = configured("odbc.ini", *source, keyword)) return value;
  }
  return std::nullopt;
}

bool ConnectionString::isForFreeTds() const {
  constexpr std::array<std::u16string_view, 1> kDriver{u"Driver"};
  auto driver = find(kDriver);
  if (!driver) driver = findInDataSource(kDriver);
  return driver && (namesFreeTds(*driver) ||
                    namesFreeTds(configured("odbcinst.ini", *driver, u"Driver").value_or(u"")));
}

void ConnectionString::add(std::u16string_view keyword, std::u16string_view value) {
  // Plain where that is possible: drivers agree on nothing else.
  const bool needsBraces =
      value.find(u';') != value.npos || value.starts_with(u'{') || trimmed(value) != value;
  std::u16string written(value);
  if (needsBraces && isForFreeTds()) {
    // For FreeTDS the value goes on to a brace before a semicolon, whatever stands in between.
    if (value.find(u"};") != value.npos)
      throw ado::Failure(kProviderError,
                         u"FreeTDS does not accept '};' in " + std::u16string(keyword), u"ODBC");
    written = u"{" + written + u"}";
  } else if (needsBraces) {
    written = u"{" + replaceAll(value, u"}", u"}}") + u"}";
  }
  if (!text_.empty() && !text_.ends_with(u';')) text_ += u';';
  text_.append(keyword).append(u"=").append(written).append(u";");
}

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
