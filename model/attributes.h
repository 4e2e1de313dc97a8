// The attributes of the schema's records: what each is called wherever a person reads it, and where
// it stands in its record. Whoever walks the attributes of a record walks a list from here.
//
// Lifetime and threading: constants.
//
// Every attribute is stated once; where two users need different orders, there are two orders over
// the same attributes.
#pragma once

#include <string_view>
#include <tuple>

#include "model/schema.h"

namespace kelvane {

template <class Record, class Value>
struct Attribute {
  std::u16string_view label;
  Value Record::*value;
};
template <class Record, class Value>
Attribute(std::u16string_view, Value Record::*) -> Attribute<Record, Value>;

// A list of attributes of one record.
template <class Record, class... Values>
using Attributes = std::tuple<Attribute<Record, Values>...>;

namespace attributes {

namespace column {
inline constexpr Attribute kDataType{u"Data Type", &Column::DataType};
inline constexpr Attribute kDefault{u"Default", &Column::Default};
inline constexpr Attribute kScale{u"Scale", &Column::iScale};
inline constexpr Attribute kLength{u"Length", &Column::Length};
inline constexpr Attribute kNullable{u"Nullable", &Column::Nullable};
inline constexpr Attribute kOrdinalPosition{u"Ordinal Position", &Column::OrdinalPosition};
inline constexpr Attribute kPrecision{u"Precision", &Column::Precision};
}  // namespace column

// Columns of tables, and parameters.
inline constexpr std::tuple kColumn{column::kDataType, column::kDefault,  column::kScale,
                                    column::kLength,   column::kNullable, column::kOrdinalPosition,
                                    column::kPrecision};
// Columns of views are reported in an order of their own.
inline constexpr std::tuple kViewColumn{
    column::kDefault,   column::kDataType, column::kLength,         column::kScale,
    column::kPrecision, column::kNullable, column::kOrdinalPosition};

namespace indexes {
inline constexpr Attribute kName{u"Name", &index::Name};
inline constexpr Attribute kDescription{u"Description", &index::IndexDescription};
}  // namespace indexes
inline constexpr std::tuple kIndex{indexes::kDescription, indexes::kName};
inline constexpr std::tuple kIndexProperties{indexes::kName, indexes::kDescription};

inline constexpr std::tuple kPrimaryKey{Attribute{u"Name", &PrimaryKey::Name},
                                        Attribute{u"Attributes", &PrimaryKey::Attributes}};

namespace foreign_key {
inline constexpr Attribute kName{u"Name", &Key::Name};
inline constexpr Attribute kKeySequence{u"Key Sequence", &Key::KeySequence};
inline constexpr Attribute kTable{u"References Table", &Key::fk_ReferencesTable};
inline constexpr Attribute kPrimaryKey{u"References Primary Key", &Key::fk_ReferencesPK};
inline constexpr Attribute kColumn{u"References Column", &Key::fk_ReferencesColumn};
}  // namespace foreign_key
inline constexpr std::tuple kForeignKey{foreign_key::kName, foreign_key::kKeySequence,
                                        foreign_key::kTable, foreign_key::kPrimaryKey,
                                        foreign_key::kColumn};
inline constexpr std::tuple kForeignKeyProperties{foreign_key::kName, foreign_key::kKeySequence,
                                                  foreign_key::kTable, foreign_key::kColumn,
                                                  foreign_key::kPrimaryKey};

inline constexpr std::tuple kTriggerProperties{Attribute{u"Is Insert", &Trigger::Is_Insert},
                                               Attribute{u"Is Update", &Trigger::Is_Update},
                                               Attribute{u"Is Delete", &Trigger::Is_Delete}};

namespace table {
inline constexpr Attribute kRowCount{u"Row Count", &Misc::RowCount};
inline constexpr Attribute kMaxWidth{u"Max Width", &Misc::MaxWidth};
}  // namespace table
inline constexpr std::tuple kTableProperties{table::kRowCount, table::kMaxWidth};

inline constexpr std::tuple kUserType{
    Attribute{u"Base Type", &UDDT::BaseType},   Attribute{u"Bound Default", &UDDT::BoundDefault},
    Attribute{u"Bound Rule", &UDDT::BoundRule}, Attribute{u"Scale", &UDDT::iScale},
    Attribute{u"Length", &UDDT::Length},        Attribute{u"Nullable", &UDDT::Nullable},
    Attribute{u"Precision", &UDDT::Precision}};

inline constexpr std::tuple kSystemPermission{
    Attribute{u"CREATE DEFAULT", &Permission::Create_Default},
    Attribute{u"CREATE PROCEDURE", &Permission::Create_Procedure},
    Attribute{u"CREATE RULE", &Permission::Create_Rule},
    Attribute{u"CREATE TABLE", &Permission::Create_Table},
    Attribute{u"CREATE VIEW", &Permission::Create_View}};

namespace object_permission {
inline constexpr Attribute kDelete{u"Delete", &PermissionEntity::Delete};
inline constexpr Attribute kExecute{u"Execute", &PermissionEntity::Execute};
inline constexpr Attribute kInsert{u"Insert", &PermissionEntity::Insert};
inline constexpr Attribute kReferences{u"References", &PermissionEntity::References};
inline constexpr Attribute kSelect{u"Select", &PermissionEntity::Select};
inline constexpr Attribute kUpdate{u"Update", &PermissionEntity::Update};
}  // namespace object_permission
inline constexpr std::tuple kObjectPermission{
    object_permission::kDelete,     object_permission::kExecute, object_permission::kInsert,
    object_permission::kReferences, object_permission::kSelect,  object_permission::kUpdate};
inline constexpr std::tuple kObjectPermissionProperties{
    Attribute{u"Owner", &PermissionEntity::EntityOwner},
    Attribute{u"Grantor", &PermissionEntity::Grantor},
    object_permission::kInsert,
    object_permission::kUpdate,
    object_permission::kDelete,
    object_permission::kSelect,
    object_permission::kExecute,
    object_permission::kReferences};

}  // namespace attributes
}  // namespace kelvane
