#include "cli/object_search.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "cli/console.h"
#include "inventory/near_names.h"

namespace kelvane::cli {
namespace {

constexpr std::size_t kMostNear = 3, kMostMeant = 10;

std::vector<FoundObject> candidates(const Schema& schema, std::string_view word) {
  std::vector<FoundObject> all;
  for (const ObjectKind& kind : kObjectKinds) {
    if (!word.empty() && word != kind.word) continue;
    kind.forEach(schema, [&, index = std::int32_t{0}](const ObjectName& name) mutable {
      all.push_back({&kind, ++index, 0, name});
    });
  }
  if (!word.empty() && word != kTriggerWord) return all;
  const ObjectKind* const tables = objectKindOf("table");
  for (std::int32_t table = 1; table <= schema.Tables.count(); ++table) {
    const Table& its = schema.Tables[table];
    for (std::int32_t trigger = 1; trigger <= its.Triggers.count(); ++trigger) {
      const std::u16string dotName = u"." + its.Triggers[trigger].Name;
      all.push_back({tables,
                     table,
                     trigger,
                     {dotName.substr(1), its.FullName + dotName},
                     its.Owner + dotName});
    }
  }
  return all;
}

std::string nearOnes(const std::vector<FoundObject>& all, std::u16string_view wanted) {
  const std::u16string name = foldCase(wanted);
  const std::size_t farthest = inventory::farthestMeant(name.size());
  std::vector<std::pair<std::size_t, const FoundObject*>> near;
  for (const FoundObject& one : all) {
    std::size_t best = farthest + 1;
    for (const std::u16string_view text : one.names()) {
      const std::size_t longer = std::max(text.size(), name.size());
      if (longer - std::min(text.size(), name.size()) <= farthest)
        best = std::min(best, inventory::distance(name, foldCase(text)));
    }
    if (best <= farthest) near.emplace_back(best, &one);
  }
  std::ranges::stable_sort(near, {}, &std::pair<std::size_t, const FoundObject*>::first);
  std::string text;
  for (const auto& [far, one] : std::span(near).first(std::min(near.size(), kMostNear)))
    text += (text.empty() ? "; did you mean " : ", ") + one->shown();
  return text.empty() ? text : text + "?";
}

std::string several(const std::vector<FoundObject>& meant, const std::string& name) {
  std::string text = "'" + name + "' is ambiguous: ";
  for (const FoundObject& one : std::span(meant).first(std::min(meant.size(), kMostMeant)))
    text += (&one == &meant.front() ? "" : ", ") + one.shown();
  const FoundObject& first = meant.front();
  return text + (meant.size() > kMostMeant ? " and others" : "") + "; write for example " +
         std::string(first.word()) + ":" + toUtf8(first.name.fullName);
}

}  // namespace

WantedObject wantedObject(const std::string& operand) {
  const std::size_t colon = operand.find(':');
  if (colon == operand.npos) return {{}, toUtf16(operand)};
  const std::string_view word = std::string_view(operand).substr(0, colon);
  const std::u16string name = toUtf16(std::string_view(operand).substr(colon + 1));
  if (word == kTriggerWord) return {kTriggerWord, name};
  if (const ObjectKind* kind = objectKindOf(word)) return {kind->word, name};
  return {{}, toUtf16(operand)};
}

FoundObject findObject(const Schema& schema, const WantedObject& wanted, CaseMode mode) {
  const std::vector<FoundObject> all = candidates(schema, wanted.word);
  std::vector<FoundObject> meant;
  for (const FoundObject& one : all) {
    if (std::ranges::any_of(one.names(), [&](std::u16string_view name) {
          return equalText(name, wanted.name, mode);
        }))
      meant.push_back(one);
  }
  const std::string name = toUtf8(wanted.name);
  if (meant.empty())
    throw CommandError({"there is no " + std::string(wanted.word.empty() ? "object" : wanted.word) +
                        " '" + name + "'" + nearOnes(all, wanted.name)});
  if (meant.size() > 1) throw CommandError({several(meant, name)});
  return meant.front();
}

}  // namespace kelvane::cli
