#include "compare/comparison.h"

namespace kelvane {
namespace {

using Options = cComparisonOptions;

constexpr ColumnKind columnKind(Boolean Options::*enabled, std::u16string_view treeType,
                                std::u16string_view missingLabel) {
  return {enabled, treeType, missingLabel, &Column::Name, &Column::Name, &Column::Name};
}

constexpr CodeKind kView{u"View", &Options::Views_Definition,
                         columnKind(&Options::Views_Columns, u"View\\Column", u"Column")};
constexpr CodeKind kStoredProc{
    u"StoredProc", &Options::StoredProcs_Definition,
    columnKind(&Options::StoredProcs_Columns, u"StoredProc\\Parameter", u"Parameter")};
constexpr CodeKind kFunction{
    u"Function", &Options::Functions_Definition,
    columnKind(&Options::Functions_Columns, u"Function\\Parameter", u"Parameter")};

}  // namespace

template <class Object, class... Values>
void Comparison::compareCode(const CodeKind& kind,
                             const Attributes<Column, Values...>& columnAttributes,
                             const Object& source, const Object& target) {
  compareOwner(kind.word, source, target);
  if (isOn(kind.definition) && !definitionEquals(source.Definition, target.Definition))
    addChanged({source.Name, kind.word, source.Name}, u"Definition", source.Definition,
               target.Definition);
  compareSubEntities(kind.columns, source.Name, source.Columns, target.Columns, columnAttributes);
}

void Comparison::compareDetails(const View& source, const View& target) {
  compareCode(kView, attributes::kViewColumn, source, target);
}

void Comparison::compareDetails(const StoredProc& source, const StoredProc& target) {
  compareCode(kStoredProc, attributes::kColumn, source, target);
}

void Comparison::compareDetails(const CodeFunction& source, const CodeFunction& target) {
  compareCode(kFunction, attributes::kColumn, source, target);
}

void Comparison::compareDetails(const UDDT& source, const UDDT& target) {
  constexpr std::u16string_view kWord = u"UDDT";
  compareOwner(kWord, source, target);
  if (!isOn(&Options::UDDTs_Definition)) return;
  compareAttributes(attributes::kUserType, source, target,
                    [&](std::u16string_view label, const Scalar& was, const Scalar& is) {
                      addChanged({source.Name, kWord, source.Name}, label, was, is);
                    });
}

}  // namespace kelvane
