// The categories of objects and how one is read: its list, then its objects in turn, with the
// events that hosts know.
//
// Lifetime and threading: templates without state, on the reader's context and its thread.
#pragma once

#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/text.h"
#include "reader/fetch_context.h"

namespace kelvane::reader {

// What is the same of a category whoever reads it. `announcedAs` is the object type of the start
// event of its list: only tables and functions announce their own.
template <class Record>
struct Category {
  enumEntityType kind;
  Array<Record> Schema::*objects;
  Boolean cAppliesTo::*all;
  std::shared_ptr<NameList> cAppliesTo::*chosen;
  std::u16string_view listProcedure;
  std::u16string_view listText;
  enumObjectType announcedAs;
  std::u16string_view procedure;
  std::u16string_view startText;
  enumObjectType objectType;
  std::u16string_view objectText;
};

inline constexpr Category<Table> kTables{entity_TABLE,
                                         &Schema::Tables,
                                         &cAppliesTo::AllTables,
                                         &cAppliesTo::SomeTables,
                                         u"PopulateTableList",
                                         u"Getting List Of Tables",
                                         OBJECT_TABLE,
                                         u"ProcessTables",
                                         u"Retrieving Table Data",
                                         OBJECT_TABLE,
                                         u"Retrieving properties for Table "};
inline constexpr Category<View> kViews{entity_VIEW,
                                       &Schema::Views,
                                       &cAppliesTo::AllViews,
                                       &cAppliesTo::SomeViews,
                                       u"PopulateViewList",
                                       u"Getting List Of Views",
                                       OBJECT_IRRELEVANT,
                                       u"ProcessViews",
                                       u"Retrieving View Data",
                                       OBJECT_VIEW,
                                       u"Retrieving properties for View "};
inline constexpr Category<StoredProc> kStoredProcs{entity_STOREDPROC,
                                                   &Schema::StoredProcs,
                                                   &cAppliesTo::AllStoredProcs,
                                                   &cAppliesTo::SomeStoredProcs,
                                                   u"PopulateStoredProcList",
                                                   u"Getting List Of Stored Procedures",
                                                   OBJECT_IRRELEVANT,
                                                   u"ProcessStoredProcs",
                                                   u"Retrieving Stored Procedure Data",
                                                   OBJECT_STOREDPROC,
                                                   u"Retrieving properties for Stored Procedure "};
inline constexpr Category<CodeFunction> kFunctions{entity_FUNCTION,
                                                   &Schema::Functions,
                                                   &cAppliesTo::AllFunctions,
                                                   &cAppliesTo::SomeFunctions,
                                                   u"PopulateFunctionList",
                                                   u"Getting List Of Functions",
                                                   OBJECT_FUNCTION,
                                                   u"ProcessFunctions",
                                                   u"Retrieving Function Data",
                                                   OBJECT_FUNCTION,
                                                   u"Retrieving properties for Function "};
inline constexpr Category<UDDT> kUDDTs{entity_UDDT,
                                       &Schema::UDDTs,
                                       &cAppliesTo::AllUDDTs,
                                       &cAppliesTo::SomeUDDTs,
                                       u"PopulateUDDTList",
                                       u"Getting List Of UDDTs",
                                       OBJECT_IRRELEVANT,
                                       u"ProcessUDDTs",
                                       u"Retrieving UDDT Data",
                                       OBJECT_UDDT,
                                       u"Retrieving properties for UDDT "};
inline constexpr Category<User> kUsers{entity_USER,
                                       &Schema::Users,
                                       &cAppliesTo::AllUsers,
                                       &cAppliesTo::SomeUsers,
                                       u"PopulateUserList",
                                       u"Getting List Of Users",
                                       OBJECT_IRRELEVANT,
                                       u"ProcessUsers",
                                       u"Retrieving User Data",
                                       OBJECT_USER,
                                       u"Retrieving properties for User "};
inline constexpr Category<Group> kGroups{entity_GROUP,
                                         &Schema::Groups,
                                         &cAppliesTo::AllGroups,
                                         &cAppliesTo::SomeGroups,
                                         u"PopulateGroupList",
                                         u"Getting List Of Groups",
                                         OBJECT_IRRELEVANT,
                                         u"ProcessGroups",
                                         u"Retrieving Group Data",
                                         OBJECT_GROUP,
                                         u"Retrieving properties for Group "};

template <class Record>
void keepFiltered(const ListFilter& filter, enumEntityType kind, Array<Record>& objects) {
  Array<Record> kept;
  for (const Record& object : std::as_const(objects))
    if (filter(kind, object.Name, object.FullName)) kept.append(object);
  objects.swap(kept);
}

// Lists a category. fill(objects) answers how many objects there are, none where nothing was
// answered.
template <class Record, class Fill>
Status list(FetchContext& context, const Category<Record>& category, Fill&& fill) {
  const Status status = context.trapped(category.listProcedure, [&]() -> Status {
    context.events->StartProcessing(std::u16string(category.listText), False, category.announcedAs);
    KindExtent& extent = context.extent[category.kind];
    extent = {};
    ++context.listings[category.kind];
    Array<Record>& objects = context.schema.*category.objects;
    const std::optional<Status> count = fill(objects);
    if (!count) return 0;
    if (*count > 0 && context.listFilter) keepFiltered(context.listFilter, category.kind, objects);
    extent.listed = true;
    return *count;
  });
  const bool ended = context.trapped(category.listProcedure, false, [&] {
    context.events->EndProcessing(OBJECT_IRRELEVANT);
    return true;
  });
  return ended ? status : kFailed;
}

// The names that the host chose. Throws RuntimeError(notSet) where it gave no list.
inline std::shared_ptr<NameList> chosenNames(const FetchContext& context,
                                             std::shared_ptr<NameList> cAppliesTo::*names) {
  const auto& list = context.scope().*names;
  if (!list)
    throw RuntimeError(ErrorNumber::notSet, u"The list of chosen names is not set",
                       u"Kelvane.reader");
  return list;
}

// Calls visit(name, owner) for each chosen name, until the reader is cancelled. An entry that is
// not "name" or "owner.name" leaves name and owner of the entry before it in force, and an owner
// stays for later entries without one. Names of users are taken as they are.
template <class Record, class Visit>
void forEachChosen(const FetchContext& context, const Category<Record>& category, Visit&& visit) {
  std::u16string name, owner;
  const std::shared_ptr<NameList> entries = chosenNames(context, category.chosen);
  const std::int32_t count = entries->Count();
  for (std::int32_t position = 1; position <= count; ++position) {
    const std::u16string entry = entries->Item(position);
    const auto pieces = split(entry, u'.');
    if (category.kind == entity_USER) {
      name = entry;
    } else if (pieces.size() == 1) {
      name = pieces[0];
    } else if (pieces.size() == 2) {
      owner = pieces[0];
      name = pieces[1];
    }
    visit(name, owner);
    if (context.cancelled) return;
  }
}

inline std::int16_t percent(std::int32_t position, std::int32_t count) {
  // nearbyint rounds halves to the even neighbour: 1 of 8 is 12.
  return static_cast<std::int16_t>(std::nearbyint(static_cast<double>(position) / count * 100.0));
}

inline void keepExtent(FetchContext& context, enumEntityType kind, std::int32_t position,
                       bool isWhole) {
  std::vector<bool>& complete = context.extent[kind].complete;
  const auto count = static_cast<std::size_t>(position);
  if (complete.size() < count) complete.resize(count);
  complete[count - 1] = isWhole;
}

// Reads a category: listAll() answers a status, addChosen() adds the objects of the scope, and
// readDetails(position) is false after a failure.
template <class Record, class ListAll, class AddChosen, class ReadDetails>
bool process(FetchContext& context, const Category<Record>& category, ListAll&& listAll,
             AddChosen&& addChosen, ReadDetails&& readDetails) {
  return context.trapped(category.procedure, false, [&] {
    if (context.scope().*category.all) {
      if (listAll() == kFailed) return false;
    } else {
      context.allRead = true;
      addChosen();
      context.extent[category.kind].listed = context.allRead;
      ++context.listings[category.kind];
    }
    const std::uint32_t listing = context.listings[category.kind];
    context.events->StartProcessing(std::u16string(category.startText), True, category.objectType);
    const Array<Record>& objects = context.schema.*category.objects;
    const std::int32_t count = objects.count();
    for (std::int32_t position = 1; position <= count; ++position) {
      context.host->DoEvents();
      if (context.cancelled) break;
      context.events->Processing(std::u16string(category.objectText) + objects[position].Name,
                                 percent(position, count), OBJECT_IRRELEVANT);
      context.host->DoEvents();
      context.allRead = true;
      if (!readDetails(position)) return false;
      // A handler's own call empties objects of the kind that it lists, or reads them twice.
      const bool isUndisturbed = context.listings[category.kind] == listing;
      keepExtent(context, category.kind, position, context.allRead && isUndisturbed);
    }
    context.events->EndProcessing(category.objectType);
    return true;
  });
}

}  // namespace kelvane::reader
