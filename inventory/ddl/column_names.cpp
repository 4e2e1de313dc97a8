#include "inventory/ddl/column_names.h"

#include <algorithm>
#include <array>
#include <vector>

#include "inventory/ddl/statement.h"
#include "inventory/ddl/tokens.h"

namespace kelvane::inventory {
namespace {

using Type = Token::Type;

struct Source {
  std::string_view owner, table, alias;
};

/// Names that stand where columns may, and are something else.
bool isOfLanguage(std::string_view word) {
  static constexpr auto kWords = std::to_array<std::string_view>({"bottom",
                                                                  "committed",
                                                                  "cross",
                                                                  "current_bigdatetime",
                                                                  "current_bigtime",
                                                                  "current_date",
                                                                  "current_time",
                                                                  "first",
                                                                  "full",
                                                                  "inner",
                                                                  "last",
                                                                  "left",
                                                                  "natural",
                                                                  "outer",
                                                                  "parallel",
                                                                  "repeatable",
                                                                  "right",
                                                                  "serializable",
                                                                  "top",
                                                                  "uncommitted"});
  return std::ranges::binary_search(kWords, lowerCase(word));
}

/// The names in a text that can only be columns.
class ColumnNames {
 public:
  ColumnNames(std::string_view text, bool quotedIdentifier) {
    forEachToken(text, quotedIdentifier, [&](const Token& token) { tokens_.push_back(token); });
  }

  /// Calls visit(prefix, name) from a token on; what stands before a from may be an alias.
  template <class Visit>
  void forEach(std::size_t begin, bool isSelect, Visit visit) {
    bool isBeforeFrom = isSelect, isInFrom = false;
    for (std::size_t at = begin; at < tokens_.size(); ++at) {
      if (is(at, "from")) isBeforeFrom = false, isInFrom = true;
      if (is(at, "on") || is(at, "where") || is(at, "group") || is(at, "having")) isInFrom = false;
      if (is(at, "join")) isInFrom = true;
      if (is(at, "with")) return;
      if (isInFrom || !isName(at) || isSymbol(at - 1, '.')) continue;
      std::size_t last = at;
      while (isSymbol(last + 1, '.') && isName(last + 2)) last += 2;
      const bool isAlias = isBeforeFrom && isSymbol(last + 1, '=') && !isInCase(at);
      if (isSymbol(last + 1, '(') || isSymbol(last + 1, '.') || isAlias || isOther(at)) continue;
      visit(last == at ? std::string_view() : tokens_[last - 2].text, tokens_[last].text);
    }
  }

  std::size_t count(std::string_view word) const {
    std::size_t number = 0;
    for (std::size_t at = 0; at < tokens_.size(); ++at) number += is(at, word) ? 1 : 0;
    return number;
  }
  std::size_t find(std::string_view word) const {
    std::size_t at = 0;
    while (at < tokens_.size() && !is(at, word)) ++at;
    return at;
  }

  /// The tables and views behind from, if that is all there is.
  std::optional<std::vector<Source>> sources() const {
    std::vector<Source> found;
    bool isExpected = false, isInList = false;
    for (std::size_t at = find("from"); at < tokens_.size(); ++at) {
      if (is(at, "from") || is(at, "join")) {
        isExpected = true;
        isInList = isInList || is(at, "from");
      } else if (is(at, "where") || is(at, "group") || is(at, "having") || is(at, "with")) {
        break;
      } else if (is(at, "on")) {
        isInList = false;
      } else if (isInList && isSymbol(at, ',')) {
        isExpected = true;
      } else if (isExpected && isName(at)) {
        isExpected = false;
        Source source{{}, tokens_[at].text, {}};
        while (isSymbol(at + 1, '.') && isName(at + 2)) {
          // A name in another database.
          if (!source.owner.empty()) return std::nullopt;
          source.owner = source.table;
          source.table = tokens_[at += 2].text;
        }
        if (isSymbol(at + 1, '.')) return std::nullopt;
        const std::size_t alias = at + (is(at + 1, "as") ? 2 : 1);
        if (isName(alias) && !isOfLanguage(tokens_[alias].text)) source.alias = tokens_[alias].text;
        found.push_back(source);
      } else if (isSymbol(at, '(') || isSymbol(at, ')')) {
        // An index, or joins within joins.
        return std::nullopt;
      }
    }
    return found;
  }

 private:
  bool is(std::size_t at, std::string_view word) const {
    return at < tokens_.size() && tokens_[at].type == Type::name &&
           lowerCase(tokens_[at].text) == word;
  }
  bool isSymbol(std::size_t at, char symbol) const {
    return at < tokens_.size() && tokens_[at].type == Type::symbol &&
           tokens_[at].text.front() == symbol;
  }
  bool isName(std::size_t at) const {
    if (at >= tokens_.size()) return false;
    return tokens_[at].type == Type::quotedName ||
           (tokens_[at].type == Type::name && !needsQuotes(tokens_[at].text));
  }
  /// Whether a value ends there, so that an alias may follow.
  bool isValue(std::size_t at) const {
    if (at >= tokens_.size()) return false;
    return isName(at) || isSymbol(at, ')') || tokens_[at].type == Type::string || is(at, "end") ||
           is(at, "null") || is(at, "user") || isNumber(at);
  }
  bool isNumber(std::size_t at) const {
    const std::string_view text = tokens_[at].text;
    return tokens_[at].type == Type::name && !text.empty() &&
           ((text.front() >= '0' && text.front() <= '9') || text.front() == '@');
  }
  /// A type, a part of a date, an alias.
  bool isOther(std::size_t at) const {
    static constexpr std::array<std::string_view, 5> kWithWord{"convert", "dateadd", "datediff",
                                                               "datename", "datepart"};
    if (tokens_[at].type == Type::name && isOfLanguage(tokens_[at].text)) return true;
    if (at == 0) return false;
    if (is(at - 1, "as") || isValue(at - 1)) return true;
    return at > 1 && isSymbol(at - 1, '(') && tokens_[at - 2].type == Type::name &&
           std::ranges::find(kWithWord, lowerCase(tokens_[at - 2].text)) != kWithWord.end();
  }
  bool isInCase(std::size_t at) const {
    while (at > 0 && !is(at, "select") && !isSymbol(at, ',')) {
      if (is(at, "when") || is(at, "case")) return true;
      --at;
    }
    return false;
  }

  std::vector<Token> tokens_;
};

}  // namespace

std::optional<std::string> missingColumnIn(
    std::string_view expression, bool quotedIdentifier,
    const std::function<bool(std::string_view column)>& hasColumn) {
  std::optional<std::string> missing;
  ColumnNames names(expression, quotedIdentifier);
  names.forEach(0, false, [&](std::string_view, std::string_view name) {
    if (!missing && !hasColumn(name)) missing = std::string(name);
  });
  return missing;
}

std::optional<std::string> missingColumnOfView(std::string_view text, bool quotedIdentifier,
                                               const HasColumn& hasColumn) {
  ColumnNames names(text, quotedIdentifier);
  if (names.count("select") != 1) return std::nullopt;
  const auto sources = names.sources();
  if (!sources) return std::nullopt;
  std::optional<std::string> missing;
  names.forEach(names.find("select"), true, [&](std::string_view prefix, std::string_view name) {
    const Source* only = nullptr;
    for (const Source& one : *sources) {
      if (!prefix.empty() && prefix != one.alias && prefix != one.table) continue;
      if (hasColumn(one.owner, one.table, name).value_or(true)) return;
      only = &one;
    }
    if (missing || only == nullptr) return;
    missing = std::string(name);
    if (!prefix.empty() || sources->size() == 1) *missing += " of " + std::string(only->table);
  });
  return missing;
}

}  // namespace kelvane::inventory
