#include "inventory/browse/search.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "inventory/attributes.h"
#include "inventory/near_names.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::inventory {
namespace {

constexpr std::size_t kMostNear = 3, kMostMeant = 10;

struct Candidate {
  FoundObject object;
  std::vector<std::string> names;  ///< by which it may be asked for
};

std::string without(const std::string& owner, const std::string& name) {
  return owner.empty() ? name : name.substr(owner.size() + 1);
}

class Candidates {
 public:
  Candidates(const Database& database, std::optional<Kind> kind) : kind_(kind) {
    // Without its kind the name of the database never stands for it: a table may have the same.
    if (kind_ == Kind::database) {
      const std::string self = nameOfDatabase(database);
      all.push_back({{Kind::database, self, &database.settings}, {self, ""}});
    }
    forEachObjects([&](const auto& objects) {
      for (const auto& object : database.*objects.member) addObject(objects.kind, object);
    });
    // Every database has it, and so nobody declares it.
    static const Group kPublic{"public"};
    if (std::ranges::find(database.groups, kPublic) == database.groups.end())
      addObject(Kind::group, kPublic);
  }

  std::vector<Candidate> all;

 private:
  bool isAsked(Kind kind) const { return !kind_ || *kind_ == kind; }

  template <class Object>
  void addObject(Kind kind, const Object& object) {
    std::string owner;
    if constexpr (requires { object.name.owner; }) owner = object.name.owner;
    const std::string name = nameOf(object);
    if (isAsked(kind)) {
      all.push_back({{kind, name, &object}, {name, without(owner, name)}});
      if constexpr (std::is_same_v<Object, Procedure>) addFirstOfGroup(object, all.back().names);
    }
    forEachParts<Object>([&]<class Part>(const Parts<Object, Part>& parts) {
      if constexpr (std::is_constructible_v<FoundObject::Record, const Part*>) {
        if (!isAsked(parts.kind)) return;
        for (const Part& part : object.*parts.member)
          addPart(parts.kind, part, owner, std::string(rowOf(kind).singular) + ' ' + name, name);
      }
    });
  }

  static void addFirstOfGroup(const Procedure& procedure, std::vector<std::string>& names) {
    if (procedure.number != 1) return;
    const std::vector<std::string> plain = names;
    for (const std::string& name : plain) names.push_back(name + ";1");
  }

  void addPart(Kind kind, const Trigger& trigger, const std::string&, const std::string& of,
               const std::string& table) {
    const std::string& name = trigger.name.name;
    all.push_back(
        {{kind, nameOf(trigger), &trigger, of}, {name, nameOf(trigger), table + '.' + name}});
  }
  // Names of constraints are unique in a table only.
  void addPart(Kind kind, const Check& check, const std::string& owner, const std::string& of,
               const std::string& table) {
    const std::string& name = check.name.name;
    all.push_back(
        {{kind, table + '.' + name, &check, of}, {name, owner + '.' + name, table + '.' + name}});
  }

  std::optional<Kind> kind_;
};

std::string nearOnes(const std::vector<Candidate>& all, const std::string& wanted) {
  const std::u16string name = foldCase(toUtf16(wanted));
  const std::size_t farthest = farthestMeant(name.size());
  std::vector<std::pair<std::size_t, const FoundObject*>> near;
  for (const Candidate& one : all) {
    std::size_t best = farthest + 1;
    for (const std::string& asked : one.names) {
      const std::u16string text = toUtf16(asked);
      const std::size_t longer = std::max(text.size(), name.size());
      if (longer - std::min(text.size(), name.size()) <= farthest)
        best = std::min(best, distance(name, foldCase(text)));
    }
    if (best <= farthest) near.emplace_back(best, &one.object);
  }
  std::ranges::stable_sort(near, {}, &std::pair<std::size_t, const FoundObject*>::first);
  std::string text;
  for (const auto& [far, one] : std::span(near).first(std::min(near.size(), kMostNear)))
    text += (text.empty() ? "; did you mean " : ", ") + one->shown();
  return text.empty() ? text : text + "?";
}

std::string several(const std::vector<const FoundObject*>& meant, const std::string& name) {
  std::string text = "'" + name + "' is ambiguous: ";
  for (const FoundObject* one : std::span(meant).first(std::min(meant.size(), kMostMeant)))
    text += (one == meant.front() ? "" : ", ") + one->shown();
  const FoundObject& first = *meant.front();
  return text + (meant.size() > kMostMeant ? " and others" : "") + "; write for example " +
         wordOf(first.kind) + ':' + first.name;
}

}  // namespace

WantedObject wantedObject(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon != text.npos) {
    const std::string_view word = text.substr(0, colon);
    for (const KindRow& row : kKinds) {
      if (canBeFound(row.kind) && wordOf(row.kind) == word)
        return {row.kind, std::string(text.substr(colon + 1))};
    }
  }
  return {std::nullopt, std::string(text)};
}

std::string FoundObject::shown() const {
  const std::string word(rowOf(kind).singular);
  return name.empty() ? word : word + ' ' + name;
}

std::string nameOfDatabase(const Database& database) { return database.server.database; }

FoundObject findObject(const Database& database, const WantedObject& wanted) {
  const CaseMode mode = database.server.ignoresCase ? CaseMode::ignore : CaseMode::exact;
  const Candidates candidates(database, wanted.kind);
  const std::u16string name = toUtf16(wanted.name);
  std::vector<const FoundObject*> meant;
  for (const Candidate& one : candidates.all) {
    const bool isMeant = std::ranges::any_of(
        one.names, [&](const std::string& asked) { return equalText(toUtf16(asked), name, mode); });
    if (isMeant) meant.push_back(&one.object);
  }
  if (meant.empty())
    throw NotFound("there is no " +
                   std::string(wanted.kind ? rowOf(*wanted.kind).singular : "object") + " '" +
                   wanted.name + "'" +
                   (!wanted.kind && wanted.name == rowOf(Kind::database).singular
                        ? "; write 'database:' for the database itself"
                        : nearOnes(candidates.all, wanted.name)));
  if (meant.size() > 1) throw NotFound(several(meant, wanted.name));
  return *meant.front();
}

const Definition* definitionOf(const FoundObject::Record& record) {
  return std::visit(
      []<class Pointer>(Pointer pointer) {
        const Definition* definition = nullptr;
        using Record = std::remove_cvref_t<decltype(*pointer)>;
        forEachAttribute<Record>([&]<class Owner, class Value>(const Attribute<Owner, Value>& one) {
          if constexpr (std::is_same_v<Value, Definition>) definition = &(pointer->*one.member);
        });
        return definition;
      },
      record);
}

}  // namespace kelvane::inventory
