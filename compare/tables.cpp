#include "compare/comparison.h"

namespace kelvane {
namespace {

using Options = cComparisonOptions;

constexpr SubEntityKind<Column, MatchedBy<&Column::Name>> kColumns{
    .enabled = &Options::Tables_Columns,
    .treeType = u"Table\\Column",
    .missingLabel = u"Column",
    .entity = &Column::Name,
    .sourcePath = &Column::Name,
    .targetPath = &Column::Name};

// Keys and indexes are the same ones when they are over the same columns, whatever their names. The
// path of an index names it by its name, but by its columns when it is on the target only.
constexpr SubEntityKind<index, MatchedBy<&index::IndexKeys>> kIndexes{
    .enabled = &Options::Tables_Indexes,
    .treeType = u"Table\\Index",
    .missingLabel = u"Index",
    .entity = &index::IndexKeys,
    .sourcePath = &index::Name,
    .targetPath = &index::IndexKeys};

constexpr SubEntityKind<Trigger, MatchedBy<&Trigger::Name>> kTriggers{
    .enabled = &Options::Tables_Triggers,
    .treeType = u"Table\\Trigger",
    .missingLabel = u"Trigger",
    .entity = &Trigger::Name,
    .sourcePath = &Trigger::Name,
    .targetPath = &Trigger::Name};

constexpr SubEntityKind<PrimaryKey, MatchedBy<&PrimaryKey::Columns>> kPrimaryKeys{
    .enabled = &Options::Tables_PrimaryKeys,
    .treeType = u"Table\\PrimaryKey",
    .missingLabel = u"Primary Key",
    .entity = &PrimaryKey::Columns,
    .sourcePath = &PrimaryKey::Columns,
    .targetPath = &PrimaryKey::Columns};

constexpr SubEntityKind<Key, MatchedBy<&Key::ColumnName>> kForeignKeys{
    .enabled = &Options::Tables_ForeignKeys,
    .treeType = u"Table\\ForeignKey",
    .missingLabel = u"Foreign Key",
    .entity = &Key::ColumnName,
    .sourcePath = &Key::ColumnName,
    .targetPath = &Key::ColumnName};

}  // namespace

void Comparison::compareDetails(const Table& source, const Table& target) {
  const auto report = [&](std::u16string_view label, const Scalar& was, const Scalar& is) {
    addChanged({source.Name, u"Table", source.Name}, label, was, is);
  };
  if (isOn(&Options::Tables_RowCount))
    compareAttribute(attributes::table::kRowCount, source.Miscallaneous, target.Miscallaneous,
                     report);
  if (isOn(&Options::Tables_MaxWidth))
    compareAttribute(attributes::table::kMaxWidth, source.Miscallaneous, target.Miscallaneous,
                     report);

  compareSubEntities(kColumns, source.Name, source.Columns, target.Columns, attributes::kColumn);
  compareSubEntities(kIndexes, source.Name, source.Indexes, target.Indexes, attributes::kIndex);
  matchSubEntities(kTriggers, source.Name, source.Triggers, target.Triggers,
                   [this](const Trigger& was, const Trigger& is, const auto& reportTrigger) {
                     if (!definitionEquals(was.Definition, is.Definition))
                       reportTrigger(u"Definition", was.Definition, is.Definition);
                     if (was.Is_Delete != is.Is_Delete)
                       reportTrigger(u"On Delete", was.Is_Delete, is.Is_Delete);
                     // Hosts expect these two with the source's definition beside the target's
                     // flag.
                     if (was.Is_Insert != is.Is_Insert)
                       reportTrigger(u"On Insert", was.Definition, is.Is_Insert);
                     if (was.Is_Update != is.Is_Update)
                       reportTrigger(u"On Update", was.Definition, is.Is_Update);
                   });
  compareSubEntities(kPrimaryKeys, source.Name, source.PrimaryKey, target.PrimaryKey,
                     attributes::kPrimaryKey);
  compareSubEntities(kForeignKeys, source.Name, source.ForeignKey, target.ForeignKey,
                     attributes::kForeignKey);
}

}  // namespace kelvane
