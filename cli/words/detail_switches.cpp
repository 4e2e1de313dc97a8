#include "cli/words/detail_switches.h"

#include <array>

namespace kelvane::cli {
namespace {

using Switches = cComparisonOptions;

struct DetailSwitch {
  Boolean Switches::*enabled;
  void (*empty)(Schema& schema);
};

// Empties `Member` of every element of `Items` of every object of `Objects`.
template <auto Objects, auto Items, auto Member>
constexpr void (*kEmpties)(Schema&) = [](Schema& schema) {
  auto& objects = schema.*Objects;
  for (std::int32_t object = 1; object <= objects.count(); ++object) {
    objects.edit(object, [](auto& one) {
      auto& items = one.*Items;
      for (std::int32_t item = 1; item <= items.count(); ++item)
        items.edit(item, [](auto& element) { element.*Member = {}; });
    });
  }
};

template <auto Objects, auto Items>
constexpr std::array<DetailSwitch, 7> columnSwitches(
    const std::array<Boolean Switches::*, 7>& enabled) {
  return {{{enabled[0], kEmpties<Objects, Items, &Column::DataType>},
           {enabled[1], kEmpties<Objects, Items, &Column::Default>},
           {enabled[2], kEmpties<Objects, Items, &Column::iScale>},
           {enabled[3], kEmpties<Objects, Items, &Column::Length>},
           {enabled[4], kEmpties<Objects, Items, &Column::Nullable>},
           {enabled[5], kEmpties<Objects, Items, &Column::OrdinalPosition>},
           {enabled[6], kEmpties<Objects, Items, &Column::Precision>}}};
}

#define KELVANE_COLUMN_SWITCHES(Kind, Record)                                           \
  columnSwitches<&Schema::Kind, &Record::Columns>(                                      \
      {&Switches::Kind##_Columns_DataTypes, &Switches::Kind##_Columns_Defaults,         \
       &Switches::Kind##_Columns_Scales, &Switches::Kind##_Columns_Lengths,             \
       &Switches::Kind##_Columns_Nullables, &Switches::Kind##_Columns_OrdinalPositions, \
       &Switches::Kind##_Columns_Precisions})
constexpr std::array kColumnSwitches{KELVANE_COLUMN_SWITCHES(Tables, Table),
                                     KELVANE_COLUMN_SWITCHES(Views, View),
                                     KELVANE_COLUMN_SWITCHES(StoredProcs, StoredProc),
                                     KELVANE_COLUMN_SWITCHES(Functions, CodeFunction)};
#undef KELVANE_COLUMN_SWITCHES

constexpr std::array kKeySwitches{
    DetailSwitch{&Switches::Tables_PrimaryKeys_Names,
                 kEmpties<&Schema::Tables, &Table::PrimaryKey, &PrimaryKey::Name>},
    DetailSwitch{&Switches::Tables_PrimaryKeys_Attributes,
                 kEmpties<&Schema::Tables, &Table::PrimaryKey, &PrimaryKey::Attributes>},
    DetailSwitch{&Switches::Tables_ForeignKeys_Names,
                 kEmpties<&Schema::Tables, &Table::ForeignKey, &Key::Name>},
    DetailSwitch{&Switches::Tables_ForeignKeys_PKRefs,
                 kEmpties<&Schema::Tables, &Table::ForeignKey, &Key::fk_ReferencesPK>},
    DetailSwitch{&Switches::Tables_Indexes_Names,
                 kEmpties<&Schema::Tables, &Table::Indexes, &index::Name>},
    DetailSwitch{&Switches::Tables_Indexes_Descriptions,
                 kEmpties<&Schema::Tables, &Table::Indexes, &index::IndexDescription>}};

}  // namespace

void leaveOutDetails(Schema& schema, const cComparisonOptions& switches) {
  const auto apply = [&](const DetailSwitch& one) {
    if (!(switches.*one.enabled)) one.empty(schema);
  };
  for (const auto& ofKind : kColumnSwitches) {
    for (const DetailSwitch& one : ofKind) apply(one);
  }
  for (const DetailSwitch& one : kKeySwitches) apply(one);
}

}  // namespace kelvane::cli
