#include "drivers/odbc/handles.h"

#include <algorithm>
#include <limits>

namespace kelvane::odbc {
namespace {

constexpr const char16_t* kOwnSource = u"ODBC";

// A driver that never says that there are no more.
constexpr SQLSMALLINT kMostRecords = 1000;

// "[vendor][component]text": each component that passed the text on has put its name before it.
std::size_t endOfComponents(std::u16string_view text) {
  std::size_t end = 0;
  while (text.substr(end, 1) == u"[") {
    const std::size_t close = text.find(u']', end);
    if (close == std::u16string_view::npos) break;
    end = close + 1;
  }
  return end;
}

ado::Error errorOf(std::u16string_view state, SQLINTEGER native, std::u16string_view text) {
  const std::size_t components = endOfComponents(text);
  std::u16string_view said = text.substr(components);
  said = said.substr(0, said.find_last_not_of(u"\r\n") + 1);  // npos + 1 is nothing
  return {kProviderError, std::u16string(said), static_cast<std::int32_t>(native),
          components == 0 ? kOwnSource : std::u16string(text.substr(0, components)),
          std::u16string(state)};
}

}  // namespace

ado::Error ownError(std::u16string_view state, std::u16string_view description) {
  return {kProviderError, std::u16string(description), 0, kOwnSource, std::u16string(state)};
}

ado::Error silentError() {
  return ownError(u"HY000", u"The ODBC driver failed without an error message");
}

std::vector<ado::Error> diagnostics(SQLSMALLINT type, SQLHANDLE handle) {
  std::vector<ado::Error> errors;
  std::u16string text(512, u'\0');
  std::u16string state(6, u'\0');
  for (SQLSMALLINT record = 1; record <= kMostRecords;) {
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    const auto capacity = static_cast<SQLSMALLINT>(text.size());
    if (!SQL_SUCCEEDED(SQLGetDiagRecW(type, handle, record, wide(state.data()), &native,
                                      wide(text.data()), capacity, &length)))
      break;
    constexpr SQLSMALLINT kLongest = std::numeric_limits<SQLSMALLINT>::max();
    if (length >= capacity && capacity < kLongest) {
      text.resize(static_cast<std::size_t>(length < kLongest ? length + 1 : kLongest));
      continue;
    }
    const auto kept = static_cast<std::size_t>(std::clamp<int>(length, 0, capacity - 1));
    errors.push_back(errorOf(std::u16string_view(state).substr(0, 5), native, {text.data(), kept}));
    ++record;
  }
  if (errors.empty()) errors.push_back(silentError());
  return errors;
}

}  // namespace kelvane::odbc
