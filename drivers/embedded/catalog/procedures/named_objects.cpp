#include "drivers/embedded/catalog/procedures/named_objects.h"

#include <algorithm>
#include <limits>
#include <tuple>

#include "drivers/embedded/catalog/pattern.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/catalog/utf8.h"

namespace kelvane::embedded {

namespace {

/// Visits the objects whose name fits a pattern, in order of name. The fixed text up to the next
/// wildcard is sought among the sorted names, so that a name which merely holds a `_` costs a few
/// steps.
class PatternScan {
 public:
  PatternScan(SystemRecords& records, std::string_view pattern)
      : records_(records), pattern_(pattern) {}

  template <class Visit>
  void each(Visit&& visit) {
    std::string from = literalFrom(0);
    int fromUid = std::numeric_limits<int>::min();
    const std::span<const Slot> slots = records_.objectsByName();
    auto next = slots.begin();
    for (;;) {
      next = std::upper_bound(next, slots.end(), std::tie(from, fromUid),
                              [this](const auto& key, Slot slot) {
                                const SysObject& row = records_.objects[slot];
                                return key < std::tie(row.name, row.uid);
                              });
      if (next == slots.end()) return;
      const SysObject& row = records_.objects[*next];
      const ObjectInfo object = {row.id, row.uid, row.type, row.name, {}};
      if (matchesLike(object.name, pattern_)) {
        visit(object);
        from = object.name;
        fromUid = object.uid;
      } else {
        const std::optional<std::string> candidate = nextCandidate(object.name);
        if (!candidate) return;
        const bool advances = *candidate > object.name;
        from = advances ? *candidate : object.name;
        fromUid = advances ? std::numeric_limits<int>::min() : object.uid;
      }
    }
  }

 private:
  static bool isWildcard(char c) { return c == '_' || c == '%' || c == '['; }

  std::string literalFrom(std::size_t at) const {
    std::size_t end = at;
    while (end < pattern_.size() && !isWildcard(pattern_[end])) ++end;
    return std::string(pattern_.substr(at, end - at));
  }

  /// The least text after `name` that the pattern may fit; `name` itself where stepping on is the
  /// best that can be done, none past the last.
  std::optional<std::string> nextCandidate(std::string_view name) const {
    std::size_t n = 0;
    std::size_t p = 0;
    // Before the last single-character wildcard passed, in the name and in the pattern.
    std::optional<std::pair<std::size_t, std::size_t>> wildcard;
    while (p < pattern_.size() && n < name.size()) {
      if (pattern_[p] == '%' || pattern_[p] == '[') return std::string(name);
      if (pattern_[p] == '_') {
        wildcard = {n, p};
        n += characterAt(name, n).size();
        ++p;
      } else if (name[n] == pattern_[p]) {
        ++n;
        ++p;
      } else {
        break;
      }
    }
    const bool isBefore =
        p < pattern_.size() && (n >= name.size() || static_cast<unsigned char>(name[n]) <
                                                        static_cast<unsigned char>(pattern_[p]));
    if (isBefore) {
      const std::string literal = literalFrom(p);
      return literal.empty() ? std::string(name) : concat(name.substr(0, n), literal);
    }
    if (!wildcard) return std::nullopt;
    std::string next(name.substr(0, wildcard->first));
    const std::string_view character = characterAt(name, wildcard->first);
    // Beyond ASCII the next character is left to the index: it is the next name.
    if (character.size() > 1 || character[0] == '\x7F') return std::string(name);
    next += static_cast<char>(character[0] + 1);
    return next + literalFrom(wildcard->second + 1);
  }

  SystemRecords& records_;
  std::string_view pattern_;
};

bool hasWildcard(std::string_view text) {
  return text.find_first_of("%_") != std::string_view::npos;
}

}  // namespace

bool isTableOrView(std::string_view type) {
  return type == object_type::kTable || type == object_type::kView ||
         type == object_type::kSystemTable;
}

bool isRoutine(std::string_view type) {
  return type == object_type::kProcedure || type == object_type::kFunction;
}

std::vector<NamedObject> objectsLike(ProcedureRun& run, const std::string& name,
                                     const std::optional<std::string>& owner,
                                     const AcceptType& accept) {
  const std::string qualified = owner ? concat(*owner, ".", name) : name;
  std::vector<NamedObject> found;
  if (!hasWildcard(qualified)) {
    if (const auto object = run.catalog().findObject(qualified, run.caller())) {
      if (accept(object->type)) {
        found.push_back({run.catalog().userName(object->uid).value_or(""), *object});
      }
      return found;
    }
  }
  PatternScan(run.catalog().records(), name).each([&](const ObjectInfo& object) {
    std::string objectOwner = run.catalog().userName(object.uid).value_or("");
    if (accept(object.type) && matchesLike(objectOwner, owner.value_or("%"))) {
      found.push_back({std::move(objectOwner), object});
    }
  });
  std::ranges::stable_sort(found, {}, &NamedObject::owner);
  return found;
}

void requireCurrentDatabase(const ProcedureRun& run, const std::optional<std::string>& database) {
  if (database && !database->empty() && *database != run.caller().database) {
    run.fail(message::qualifierNotCurrent);
  }
}

std::optional<NamedObject> tableNamed(ProcedureRun& run, const std::string& name,
                                      const std::optional<std::string>& owner) {
  const bool hasOwner = owner && !owner->empty() && *owner != "%";
  const auto object =
      run.catalog().findObject(hasOwner ? concat(*owner, ".", name) : name, run.caller());
  if (!object || !isTableOrView(object->type)) return std::nullopt;
  return NamedObject{run.catalog().userName(object->uid).value_or(""), *object};
}

}  // namespace kelvane::embedded
