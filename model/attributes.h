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

inline constexpr std::tuple kIndex{Attribute{u"Description", &index::IndexDescription},
                                   Attribute{u"Name", &index::Name}};

inline constexpr std::tuple kPrimaryKey{Attribute{u"Name", &PrimaryKey::Name},
                                        Attribute{u"Attributes", &PrimaryKey::Attributes}};

inline constexpr std::tuple kForeignKey{Attribute{u"Name", &Key::Name},
                                        Attribute{u"Key Sequence", &Key::KeySequence},
                                        Attribute{u"References Table", &Key::fk_ReferencesTable},
                                        Attribute{u"References Primary Key", &Key::fk_ReferencesPK},
                                        Attribute{u"References Column", &Key::fk_ReferencesColumn}};

namespace table {
inline constexpr Attribute kRowCount{u"Row Count", &Misc::RowCount};
inline constexpr Attribute kMaxWidth{u"Max Width", &Misc::MaxWidth};
}  // namespace table

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

inline constexpr std::tuple kObjectPermission{
    Attribute{u"Delete", &PermissionEntity::Delete},
    Attribute{u"Execute", &PermissionEntity::Execute},
    Attribute{u"Insert", &PermissionEntity::Insert},
    Attribute{u"References", &PermissionEntity::References},
    Attribute{u"Select", &PermissionEntity::Select},
    Attribute{u"Update", &PermissionEntity::Update}};

}  // namespace attributes
}  // namespace kelvane
