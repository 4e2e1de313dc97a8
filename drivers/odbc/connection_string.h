// Connection strings, "DSN=prod;UID=sa", and what the machine's configuration adds to them.
//
// Lifetime: owns its text. Threading: plain values; several may be read at the same time, but the
// configuration is read by one thread at a time.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace kelvane::odbc {

// What drivers call the same attribute.
inline constexpr std::array<std::u16string_view, 4> kUserKeywords{u"UID", u"User", u"UserName",
                                                                  u"LogonID"};
inline constexpr std::array<std::u16string_view, 2> kPasswordKeywords{u"PWD", u"Password"};
inline constexpr std::array<std::u16string_view, 2> kDatabaseKeywords{u"Database", u"DB"};

class ConnectionString {
 public:
  explicit ConnectionString(std::u16string text) : text_(std::move(text)) {}

  const std::u16string& text() const { return text_; }

  /// The value of the first attribute with one of these keywords, in any case; without the blanks
  /// and braces around it.
  std::optional<std::u16string> find(std::span<const std::u16string_view> keywords) const;
  /// The same in what odbc.ini says about the data source that the string names. Drivers differ in
  /// what they read there; FreeTDS's takes neither user nor password from it.
  std::optional<std::u16string> findInDataSource(
      std::span<const std::u16string_view> keywords) const;

  /// Whether its driver is that of FreeTDS, which has rules of its own for connection strings.
  bool isForFreeTds() const;

  /// Adds an attribute, written as the driver reads it. Raises ado::Failure, without the value in
  /// its text, for one that the driver cannot be told.
  void add(std::u16string_view keyword, std::u16string_view value);

 private:
  std::u16string text_;
};

}  // namespace kelvane::odbc
