// The text of a statement, with names quoted where they need it.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/records.h"

namespace kelvane::inventory {

/// Whether a name cannot stand in a statement as it is.
bool needsQuotes(std::string_view name);
/// 'it''s'
std::string literal(std::string_view text);
/// A name for an argument of a system procedure: 'dbo.my table', 'dbo."a.b"'. Before 15 names with
/// dots cannot be arguments.
std::string argument(const std::vector<std::string>& parts);
/// The id of an object, null where there is none: object_id('dbo.t'). That takes no quoted names
/// everywhere; an object that needs some is looked up.
std::string idOf(const std::string& owner, const std::string& name);

/// What a name that needs it stands in: double quotes need quoted_identifier, with which a text in
/// double quotes would be a name.
enum class Quotes : std::uint8_t { doubled, brackets };

class Statement {
 public:
  explicit Statement(std::string_view text = {}, Quotes quotes = Quotes::doubled)
      : quotes_(quotes), text_(text) {}

  Statement& operator<<(std::string_view text) {
    text_ += text;
    return *this;
  }
  Statement& name(std::string_view name);
  Statement& name(const QualifiedName& name);
  Statement& name(const DatabaseObjectName& name);
  /// (a, b)
  Statement& names(const std::vector<std::string>& names);

  const std::string& text() const { return text_; }
  /// Whether it needs quoted_identifier.
  bool needsQuotedIdentifier() const { return hasQuotes_ && quotes_ == Quotes::doubled; }

 private:
  Quotes quotes_;
  bool hasQuotes_ = false;
  std::string text_;
};

}  // namespace kelvane::inventory
