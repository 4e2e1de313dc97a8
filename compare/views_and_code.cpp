#include "compare/comparison.h"

namespace kelvane {
namespace {

using Options = cComparisonOptions;

// Columns of views and parameters of procedures and functions.
using ColumnKind = SubEntityKind<Column, MatchedBy<&Column::Name>>;

constexpr ColumnKind columnKind(Boolean Options::*enabled, std::u16string_view treeType,
                                std::u16string_view missingLabel) {
  return {enabled, {}, treeType, missingLabel, &Column::Name, &Column::Name, &Column::Name};
}

// What is particular to the objects that have a definition and columns.
struct CodeKind {
  std::u16string_view word;
  Boolean Options::*definition;
};

constexpr CodeKind kView{u"View", &Options::Views_Definition};
constexpr CodeKind kStoredProc{u"StoredProc", &Options::StoredProcs_Definition};
constexpr CodeKind kFunction{u"Function", &Options::Functions_Definition};

constexpr ColumnKind kViewColumns = columnKind(&Options::Views_Columns, u"View\\Column", u"Column");
constexpr ColumnKind kStoredProcParameters =
    columnKind(&Options::StoredProcs_Columns, u"StoredProc\\Parameter", u"Parameter");
constexpr ColumnKind kFunctionParameters =
    columnKind(&Options::Functions_Columns, u"Function\\Parameter", u"Parameter");

}  // namespace

template <const auto& kKind, const auto& kColumns, const auto& kAttributes, class Object>
void Comparison::compareCode(const Object& source, const Object& target) {
  compareOwner(kKind.word, source, target);
  if (isOn(kKind.definition) && !definitionEquals(source.Definition, target.Definition))
    addChanged({source.Name, kKind.word, source.Name}, u"Definition", source.Definition,
               target.Definition);
  compareSubEntities<kColumns, kAttributes>(source.Name, source.Columns, target.Columns);
}

void Comparison::compareDetails(const View& source, const View& target) {
  compareCode<kView, kViewColumns, attributes::kViewColumn>(source, target);
}

void Comparison::compareDetails(const StoredProc& source, const StoredProc& target) {
  compareCode<kStoredProc, kStoredProcParameters, attributes::kColumn>(source, target);
}

void Comparison::compareDetails(const CodeFunction& source, const CodeFunction& target) {
  compareCode<kFunction, kFunctionParameters, attributes::kColumn>(source, target);
}

void Comparison::compareDetails(const UDDT& source, const UDDT& target) {
  constexpr std::u16string_view kWord = u"UDDT";
  compareOwner(kWord, source, target);
  if (!isOn(&Options::UDDTs_Definition)) return;
  compareAttributes<attributes::kUserType>(
      source, target, [&](std::u16string_view label, const Scalar& was, const Scalar& is) {
        addChanged({source.Name, kWord, source.Name}, label, was, is);
      });
}

}  // namespace kelvane
