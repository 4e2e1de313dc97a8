#include "cli/show_command.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "cli/listing.h"
#include "cli/object_search.h"
#include "cli/one_side.h"
#include "cli/overwriting.h"
#include "cli/reading.h"
#include "cli/switch_arguments.h"
#include "cli/text_table.h"
#include "model/collections.h"
#include "reader/browsing.h"
#include "report/json_writer.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kDescending = "--descending", kNumeric = "--numeric", kSort = "--sort",
                           kSource = "--source";

constexpr auto kOptions = std::to_array<Option>({
    {kDescending, "", "with --sort: largest first"},
    kListingFormat,
    {kNumeric, "", "with --sort: compare the numbers at the beginning of the values"},
    {kSort, "PROPERTY", "sort by Name or another property, such as \"Data Type\""},
    {kSource, "", "write only the definition of OBJECT, exactly as stored"},
});

struct Sorting {
  std::u16string property;
  Boolean ascending = True, numeric = False;
};

struct ShowRequest {
  OneSide side;
  std::optional<WantedObject> object;
  std::optional<Sorting> sorting;
  bool source = false;
  ListingFormat format = ListingFormat::text;
  std::optional<std::string> trace;
};

ShowRequest parseShow(const Arguments& arguments) {
  ShowRequest request{oneSide(arguments, "show", "OBJECT"),
                      {},
                      {},
                      arguments.has(kSource),
                      listingFormatOf(arguments),
                      arguments.value(kTrace)};
  refuseOverwriting(arguments, {&request.side.place, 1}, {.written = {kTrace}});
  if (request.side.further) request.object = wantedObject(*request.side.further);
  if (const auto property = arguments.value(kSort))
    request.sorting = {toUtf16(*property), Boolean(!arguments.has(kDescending)),
                       Boolean(arguments.has(kNumeric))};
  for (const std::string_view option : {kSort, kSource}) {
    if (arguments.isGiven(option) && !request.object)
      throw UsageError(std::string(option) + " needs an OBJECT");
  }
  for (const std::string_view option : {kDescending, kNumeric}) {
    if (arguments.isGiven(option) && !request.sorting)
      throw UsageError(std::string(option) + " needs " + std::string(kSort));
  }
  if (request.source && (request.sorting || arguments.has(kListingFormat.name)))
    throw UsageError("--source writes plain text; it cannot be combined with --sort or --format");
  return request;
}

// What has to be read to answer: the lists of names, one kind, or, where any kind may be meant,
// all.
cComparisonOptions neededSwitches(const std::optional<WantedObject>& object) {
  cComparisonOptions switches;
  for (const Switch& one : kSwitches) {
    const std::u16string_view group = one.name.substr(0, one.name.find(u'_'));
    bool needed = group == one.name;
    if (object && object->word == kTriggerWord) {
      needed = one.name == u"Tables" || one.name == u"Tables_Triggers";
    } else if (object) {
      const ObjectKind* const kind = objectKindOf(object->word);
      needed = kind == nullptr || kind->group == group;
    }
    switches.*one.value = Boolean(needed);
  }
  return switches;
}

// An entity by all of its properties, where its collection sorts by its name alone.
struct SortedEntity {
  std::shared_ptr<cEntity> entity;
  std::u16string propertyText(std::u16string_view property) const {
    return entity->Properties->Item(property)->Value;
  }
};
class SortedEntities : public KeyedCollection<SortedEntity> {
 public:
  void add(std::shared_ptr<cEntity> entity) {
    append(std::make_shared<SortedEntity>(std::move(entity)), std::nullopt);
  }
};

bool isCalled(std::u16string_view property, std::u16string_view name) {
  return equalText(property, name, CaseMode::ignore);
}

bool hasProperty(const cEntity& entity, std::u16string_view property) {
  for (const auto& pair : *entity.Properties) {
    if (isCalled(property, pair->Name)) return true;
  }
  return false;
}

// False, and nothing done, when the items have no such property.
bool sort(cKeyPairs& pairs, const Sorting& by) {
  if (!isCalled(by.property, u"Name") && !isCalled(by.property, u"Value")) return false;
  pairs.Sort(by.property, by.ascending, by.numeric);
  return true;
}

bool sort(cEntities& entities, const Sorting& by) {
  if (isCalled(by.property, u"Name")) {
    entities.Sort(by.property, by.ascending, by.numeric);
    return true;
  }
  if (entities.Count() == 0) return false;
  if (!hasProperty(*entities.Item(1), by.property)) return false;
  SortedEntities sorted;
  for (const auto& entity : entities) sorted.add(entity);
  sorted.Sort(by.property, by.ascending, by.numeric);
  entities.Clear();
  for (const auto& one : sorted) entities.Add(one->entity);
  return true;
}

struct SubEntities {
  const SubKind* kind;
  std::shared_ptr<cEntities> entities;
};

// An object as the browsing members give it.
struct ShownObject {
  FoundObject found;
  std::shared_ptr<cKeyPairs> properties;
  std::vector<SubEntities> consistsOf;
};

ShownObject browse(const Schema& schema, FoundObject found) {
  Host& host = Host::standard();
  const ObjectKind& kind = *found.kind;
  const browsing::Selector object{.index = found.index};
  if (found.trigger > 0) {
    const auto triggers = browsing::GetSubEntityList(schema, host, kind.id, ID_TRIGGER, object);
    auto properties = triggers->Item(found.trigger)->Properties;
    return {std::move(found), std::move(properties), {}};
  }
  ShownObject shown{
      std::move(found), browsing::GetEntityPropertyList(schema, host, kind.id, object), {}};
  for (const SubKind& part : kind.consistsOf)
    shown.consistsOf.push_back(
        {&part, browsing::GetSubEntityList(schema, host, kind.id, part.id, object)});
  return shown;
}

void sort(ShownObject& shown, const Sorting& by) {
  bool found = sort(*shown.properties, by);
  for (const SubEntities& part : shown.consistsOf) found = sort(*part.entities, by) || found;
  if (found) return;
  std::vector<std::string> known{"Name", "Value"};
  for (const SubEntities& part : shown.consistsOf) {
    if (part.entities->Count() == 0) continue;
    for (const auto& pair : *part.entities->Item(1)->Properties) {
      const std::string name = toUtf8(pair->Name);
      if (std::ranges::find(known, name) == known.end()) known.push_back(name);
    }
  }
  std::string names;
  for (const std::string& name : known) names += (names.empty() ? "" : ", ") + name;
  throw CommandError({"no part of " + shown.found.shown() + " has a property '" +
                      toUtf8(by.property) + "'; known properties: " + names});
}

// The size of a definition comes with an advice to who browses with a mouse.
std::u16string shownProperty(const cKeyPair& pair) {
  constexpr std::u16string_view kSize = u" bytes of SQL code (double-click to view)";
  if (pair.Name != u"Definition" || !pair.Value.ends_with(kSize)) return shownCell(pair.Value);
  const std::u16string size = pair.Value.substr(0, pair.Value.size() - kSize.size());
  return size + (size == u"1" ? u" character" : u" characters");
}

void writeText(const ShownObject& shown, std::ostream& out) {
  out << shown.found.word() << ' ' << toUtf8(shownCell(shown.found.name.fullName)) << '\n';
  TextTable properties;
  for (const auto& pair : *shown.properties) properties.add({pair->Name, shownProperty(*pair)});
  properties.write(out, 2);
  for (const SubEntities& part : shown.consistsOf) {
    out << '\n' << part.kind->title << " (" << part.entities->Count() << ")\n";
    TextTable table;
    for (const auto& entity : *part.entities) {
      std::vector<std::u16string> head{std::u16string(part.kind->named)};
      std::vector<std::u16string> cells{shownCell(entity->Name)};
      for (const auto& pair : *entity->Properties) {
        head.push_back(pair->Name);
        cells.push_back(shownProperty(*pair));
      }
      if (entity == part.entities->Item(1) && head.size() > 1) table.add(std::move(head));
      table.add(std::move(cells));
    }
    table.write(out, 2);
  }
}

void writeProperties(const cKeyPairs& properties, JsonWriter& writer) {
  writer.key("properties");
  writer.beginObject();
  for (const auto& pair : properties) writer.member(toUtf8(pair->Name), pair->Value);
  writer.endObject();
}

void writeJson(const ShownObject& shown, const std::string& side,
               const std::vector<std::string>& gaps, std::ostream& out) {
  JsonWriter writer(out);
  writer.beginObject();
  writer.member("side", std::string_view(side));
  writer.member("complete", gaps.empty());
  writer.member("gaps", gaps);
  writer.member("kind", shown.found.word());
  writer.member("name", shown.found.name.fullName);
  writeProperties(*shown.properties, writer);
  for (const SubEntities& part : shown.consistsOf) {
    writer.key(part.kind->member);
    writer.beginArray();
    for (const auto& entity : *part.entities) {
      writer.beginObject();
      writer.member("name", entity->Name);
      writeProperties(*entity->Properties, writer);
      writer.endObject();
    }
    writer.endArray();
  }
  writer.endObject();
}

// Triggers of different tables may have one name, by which the browsing member takes the first.
std::u16string definitionOf(const Schema& schema, const FoundObject& found) {
  if (found.trigger > 0) return schema.Tables[found.index].Triggers[found.trigger].Definition;
  if (found.kind->sourceType.empty())
    throw CommandError({found.shown() + " has no definition; views, procedures, functions and "
                                        "triggers have one"});
  return browsing::GetObjectSource(schema, found.name.fullName,
                                   std::u16string(found.kind->sourceType));
}

void writeSource(const Schema& schema, const FoundObject& found, std::vector<std::string>& gaps,
                 std::ostream& out) {
  const std::u16string source = definitionOf(schema, found);
  if (source.empty()) gaps.push_back(found.shown() + ": the server has no text for it");
  out << toUtf8(source);
}

ObjectListing listingOf(const Schema& schema, const std::string& side,
                        std::vector<std::string> gaps) {
  ObjectListing listing{side, std::move(gaps), {}};
  for (const ObjectKind& kind : kObjectKinds) {
    auto& names = listing.kinds.emplace_back(ObjectListing::Kind{&kind, {}}).names;
    kind.forEach(schema, [&](const ObjectName& name) { names.push_back(name.fullName); });
  }
  return listing;
}

void writeText(const ObjectListing& listing, std::ostream& out) {
  for (const auto& [kind, names] : listing.kinds) {
    out << kind->title << " (" << names.size() << ")\n";
    for (const std::u16string& name : names) out << "  " << toUtf8(shownCell(name)) << '\n';
  }
}

// What could not be read, and what a snapshot was taken without.
std::vector<std::string> gapsOf(const Readings& readings, const cComparisonOptions& needed) {
  const SideReading& side = readings.sides[0];
  std::vector<std::string> gaps = side.gaps;
  if (!side.complete) gaps.push_back("not everything could be loaded");
  std::string lacking;
  for (const Switch& one : kSwitches) {
    if (needed.*one.value && !(readings.switches.*one.value))
      lacking += (lacking.empty() ? "" : ", ") + toUtf8(one.name);
  }
  if (!lacking.empty()) gaps.push_back("the snapshot was taken without " + lacking);
  return gaps;
}

}  // namespace

std::vector<OptionFamily> showOptions() {
  return {oneSideOptions(), {"What is shown", kOptions}, readingOptions()};
}

ExitStatus runShow(const Arguments& arguments, const Console& console, const OpenSide& open) {
  const ShowRequest request = parseShow(arguments);
  const cComparisonOptions needed = neededSwitches(request.object);
  const Readings readings =
      readPlaces({{"side", request.side.place}}, needed, request.trace, console, open);
  const SideReading& side = readings.sides[0];
  std::vector<std::string> gaps = gapsOf(readings, needed);
  const bool json = request.format == ListingFormat::json;
  if (!request.object) {
    const ObjectListing listing = listingOf(side.schema, request.side.shown, gaps);
    json ? writeJson(listing, console.out) : writeText(listing, console.out);
    return tellGaps(gaps, console);
  }
  try {
    FoundObject found = findObject(side.schema, *request.object,
                                   side.caseSensitive ? CaseMode::exact : CaseMode::ignore);
    if (request.source) {
      writeSource(side.schema, found, gaps, console.out);
    } else {
      ShownObject shown = browse(side.schema, std::move(found));
      if (request.sorting) sort(shown, *request.sorting);
      json ? writeJson(shown, request.side.shown, gaps, console.out)
           : writeText(shown, console.out);
    }
  } catch (const CommandError&) {
    // What was not read may be why.
    tellGaps(gaps, console);
    throw;
  }
  return tellGaps(gaps, console);
}

}  // namespace kelvane::cli
