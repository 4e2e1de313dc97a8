// Which objects use which, and the order in which they can be created.
//
// Lifetime: plain values; names are copied. Threading: none of their own.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "inventory/ddl/used_names.h"
#include "inventory/kinds.h"

namespace kelvane::inventory {

/// For each number, whether it is among `from` or the edges lead to it from there.
std::vector<bool> reachable(const std::vector<std::vector<std::size_t>>& edges,
                            std::vector<std::size_t> from);

class UseGraph {
 public:
  /// `database`: what texts may call the database that they are in; none where it is not known.
  UseGraph(std::string_view database, bool ignoresCase)
      : database_(database), ignoresCase_(ignoresCase) {}

  /// Objects are numbered as they are added, and come in that order where nothing else decides.
  std::size_t add(Kind kind, std::string_view owner, std::string_view name);
  /// Another name, where no object has it.
  void addName(std::size_t at, std::string_view owner, std::string_view name) {
    named_.try_emplace(key(owner, name), at);
  }
  void addUse(std::size_t user, std::size_t used) {
    if (user != used) used_[user].push_back(used);
  }
  void removeUse(std::size_t user, std::size_t used) { std::erase(used_[user], used); }
  /// Calls visit(object) for each one that the text of an object of `owner` names as a table, a
  /// view or a function.
  template <class Visit>
  void forEachUsed(std::string_view owner, std::string_view text, bool quotedIdentifier,
                   Visit visit) const {
    forEachObject(text, quotedIdentifier, [&](const UsedObject& used) {
      if (const std::size_t at = find(owner, used); at != kNone) visit(at);
    });
  }
  void addUses(std::size_t user, std::string_view owner, std::string_view text,
               bool quotedIdentifier) {
    forEachUsed(owner, text, quotedIdentifier, [&](std::size_t used) { addUse(user, used); });
  }

  /// For each object the number of its circle: those that use one another have the same.
  std::vector<std::size_t> circles() const;
  /// What is used comes first. In a circle it is as it comes.
  std::vector<std::size_t> order() const;
  /// All that some objects use, and they themselves.
  std::vector<bool> closure(const std::vector<std::size_t>& of) const {
    return reachable(used_, of);
  }

 private:
  static constexpr std::size_t kNone = std::string::npos;
  std::size_t find(std::string_view owner, const UsedObject& used) const;
  std::string key(std::string_view owner, std::string_view name) const;

  std::string database_;
  bool ignoresCase_;
  std::vector<Kind> kinds_;
  std::vector<std::vector<std::size_t>> used_;
  std::unordered_map<std::string, std::size_t> named_;
};

}  // namespace kelvane::inventory
