#include "inventory/ddl/used_names.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>

#include "inventory/ddl/tokens.h"
#include "model/text.h"

namespace kelvane::inventory {
namespace {

std::string folded(std::string_view name, bool ignoresCase) {
  return ignoresCase ? toUtf8(foldCase(toUtf16(name))) : std::string(name);
}

/// Finds names where a statement names an object: behind `from`, `update`, ..., and before `(`.
class ObjectNames {
 public:
  explicit ObjectNames(const std::function<void(const UsedObject&)>& visit) : visit_(visit) {}

  void add(const Token& token) {
    if (token.type == Token::Type::string) return finish(false);
    if (token.type != Token::Type::symbol) {
      if (!isBehindPoint_) finish(false);
      path_.push_back(token.text);
      isBehindPoint_ = false;
      isQuoted_ = token.type == Token::Type::quotedName;
      return;
    }
    switch (token.text.front()) {
      case '.':
        // other..t
        if (isBehindPoint_) path_.emplace_back();
        isBehindPoint_ = !path_.empty();
        return;
      case '(':
        finish(true);
        isInList_.push_back(false);
        return;
      case ')':
        finish(false);
        if (isInList_.size() > 1) isInList_.pop_back();
        return;
      case ',':
        finish(false);
        isExpected_ = isInList_.back();
        return;
      default:
        return finish(false);
    }
  }
  void finish(bool isCall) {
    if (path_.empty()) return;
    if (path_.size() > 1 || isQuoted_ || !isKeyword(path_.front())) {
      if (isExpected_ || isCall) report(isCall && !isExpected_);
      isExpected_ = false;
    }
    path_.clear();
    isBehindPoint_ = isQuoted_ = false;
  }

 private:
  bool isKeyword(std::string_view word) {
    static constexpr std::array<std::string_view, 8> kBefore{"delete", "insert", "into",   "join",
                                                             "on",     "table",  "update", "using"};
    static constexpr std::array<std::string_view, 18> kEnding{
        "as", "begin", "else",  "end",    "exec",   "execute", "for",   "group",  "having",
        "if", "order", "print", "return", "select", "set",     "union", "values", "where"};
    const std::string lower = lowerCase(word);
    if (lower == "from") {
      isInList_.back() = isExpected_ = true;
    } else if (std::ranges::find(kBefore, lower) != kBefore.end()) {
      isExpected_ = true;
    } else if (std::ranges::find(kEnding, lower) != kEnding.end()) {
      isInList_.back() = isExpected_ = false;
    } else {
      return false;
    }
    isBehindOn_ = lower == "on";
    return true;
  }
  void report(bool isCall) {
    UsedObject object{{}, {}, path_.back(), isCall, isBehindOn_};
    if (path_.size() > 1) object.owner = path_[path_.size() - 2];
    if (path_.size() > 2) object.database = path_[path_.size() - 3];
    visit_(object);
  }

  const std::function<void(const UsedObject&)>& visit_;
  std::vector<std::string_view> path_;
  std::vector<bool> isInList_{false};  ///< for each parenthesis that is open
  bool isBehindPoint_ = false, isQuoted_ = false, isExpected_ = false, isBehindOn_ = false;
};

class Sorting {
 public:
  Sorting(const std::vector<NamedText>& texts, bool ignoresCase) : used_(texts.size()) {
    std::unordered_map<std::string, std::vector<std::size_t>> named;
    for (std::size_t at = 0; at < texts.size(); ++at)
      named[folded(texts[at].name, ignoresCase)].push_back(at);
    for (std::size_t at = 0; at < texts.size(); ++at) {
      std::vector<std::size_t>& used = used_[at];
      forEachName(texts[at].text, texts[at].quotedIdentifier, [&](std::string_view name) {
        const auto found = named.find(folded(name, ignoresCase));
        if (found == named.end() || folded(texts[at].name, ignoresCase) == found->first) return;
        used.insert(used.end(), found->second.begin(), found->second.end());
      });
      std::ranges::sort(used);
      used.erase(std::unique(used.begin(), used.end()), used.end());
    }
  }

  /// Without recursion: views may stand on one another in any number.
  std::vector<std::size_t> sorted() {
    std::vector<std::size_t> order;
    std::vector<bool> isSeen(used_.size(), false);
    std::vector<std::pair<std::size_t, std::size_t>> path;  // a text, and which of those it uses
    for (std::size_t first = 0; first < used_.size(); ++first) {
      if (isSeen[first]) continue;
      isSeen[first] = true;
      path.emplace_back(first, 0);
      while (!path.empty()) {
        auto& [at, next] = path.back();
        if (next == used_[at].size()) {
          order.push_back(at);
          path.pop_back();
          continue;
        }
        const std::size_t used = used_[at][next++];
        if (isSeen[used]) continue;
        isSeen[used] = true;
        path.emplace_back(used, 0);
      }
    }
    return order;
  }

 private:
  std::vector<std::vector<std::size_t>> used_;
};

}  // namespace

void forEachName(std::string_view text, bool quotedIdentifier,
                 const std::function<void(std::string_view)>& visit) {
  forEachToken(text, quotedIdentifier, [&](const Token& token) {
    if (token.type == Token::Type::name || token.type == Token::Type::quotedName) visit(token.text);
  });
}

void forEachObject(std::string_view text, bool quotedIdentifier,
                   const std::function<void(const UsedObject&)>& visit) {
  ObjectNames names(visit);
  forEachToken(text, quotedIdentifier, [&](const Token& token) { names.add(token); });
  names.finish(false);
}

std::optional<UsedObject> createdObject(std::string_view text, bool quotedIdentifier) {
  static constexpr std::array<std::string_view, 14> kBefore{
      "access", "and",       "create",  "default", "function", "or",      "precomputed",
      "proc",   "procedure", "replace", "result",  "rule",     "trigger", "view"};
  std::vector<std::string_view> path;
  bool isFirst = true, isNamed = false, isBehindPoint = false;
  forEachToken(text, quotedIdentifier, [&](const Token& token) {
    const std::string word = lowerCase(token.text);
    if (std::exchange(isFirst, false)) return word == "create";
    if (token.type == Token::Type::symbol) {
      if (path.empty() || token.text != ".") return false;
      if (isBehindPoint) path.emplace_back();
      return isBehindPoint = true;
    }
    if (token.type == Token::Type::string) return false;
    const bool isWord = token.type == Token::Type::name && path.empty() && !isNamed &&
                        std::ranges::find(kBefore, word) != kBefore.end();
    if (isWord || (word == "set" && path.empty())) {
      isNamed = word == "default" || word == "function" || word == "proc" || word == "procedure" ||
                word == "rule" || word == "trigger" || word == "view" || word == "set";
      return true;
    }
    if (!isNamed || (!path.empty() && !isBehindPoint)) return false;
    path.push_back(token.text);
    isBehindPoint = false;
    return true;
  });
  if (path.empty()) return std::nullopt;
  UsedObject object{{}, {}, path.back()};
  if (path.size() > 1) object.owner = path[path.size() - 2];
  return object;
}

void forEachDeclaration(
    std::string_view text, bool quotedIdentifier,
    const std::function<void(std::string_view variable, std::string_view type)>& visit) {
  std::string_view variable, type;
  bool isBehindPoint = false;
  const auto finish = [&] {
    if (!variable.empty() && !type.empty()) visit(variable, type);
    variable = type = {};
  };
  forEachToken(text, quotedIdentifier, [&](const Token& token) {
    const bool isName = token.type == Token::Type::name || token.type == Token::Type::quotedName;
    const bool follows = isName && !variable.empty() && (type.empty() || isBehindPoint);
    isBehindPoint = token.type == Token::Type::symbol && token.text == "." && !type.empty();
    if (isBehindPoint) return;
    if (isName && token.text.starts_with('@')) {
      finish();
      variable = token.text;
    } else if (!follows) {
      finish();
    } else if (lowerCase(token.text) != "as") {
      type = token.text;
    }
  });
  finish();
}

std::vector<std::size_t> inOrderOfUse(const std::vector<NamedText>& texts, bool ignoresCase) {
  return Sorting(texts, ignoresCase).sorted();
}

}  // namespace kelvane::inventory
