#include "inventory/publish/publish.h"

#include <algorithm>

#include "inventory/publish/publishing.h"
#include "model/text.h"

namespace kelvane::inventory {
namespace {

constexpr std::size_t kPiece = 255;  // what a row of syscomments holds

bool continuesLetter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

template <class Record>
Record named(const QualifiedName& name) {
  Record record;
  record.Owner = toUtf16(name.owner);
  record.Name = toUtf16(name.name);
  record.FullName = fullName(record.Owner, record.Name);
  return record;
}

void publishViews(const Publishing& publishing, Array<kelvane::View>& views) {
  for (const View* view : publishing.listed(publishing.database.views)) {
    if (view->precomputed) continue;
    auto published = named<kelvane::View>(view->name);
    if (publishing.options.Views_Columns) {
      for (const ViewColumn& column : view->columns)
        published.Columns.append(publishing.column(reader::kViewColumns, column.name, column.type,
                                                   {}, published.Columns.count() + 1));
    }
    if (publishing.options.Views_Definition) published.Definition = toUtf16(view->definition.text);
    views.append(std::move(published));
  }
}

/// The text of a group of procedures stands behind the column with their numbers, which is what the
/// published statement reads: the number of each row.
std::string numbersOf(const Publishing& publishing, const Procedure& procedure) {
  std::string numbers;
  for (std::string_view text = procedure.definition.text; !text.empty();) {
    numbers += std::to_string(procedure.number);
    text.remove_prefix(publishing.firstPiece(text).size());
  }
  return numbers;
}

void addParameters(const Publishing& publishing, const Procedure& procedure,
                   Array<kelvane::Column>& columns) {
  constexpr std::size_t kTypeNameWidth = 30;  // of a char
  for (const Parameter& parameter : procedure.parameters) {
    kelvane::Column column = publishing.column(reader::kProcedureParameters, parameter.name,
                                               {parameter.type, true}, {}, columns.count() + 1);
    if (publishing.options.StoredProcs_Columns_DataTypes)
      column.DataType.resize(std::max(column.DataType.size(), kTypeNameWidth), u' ');
    columns.append(std::move(column));
  }
}

void publishProcedures(const Publishing& publishing, Array<kelvane::StoredProc>& procedures) {
  const auto listed = publishing.listed(publishing.database.procedures);
  for (auto first = listed.begin(); first != listed.end();) {
    const QualifiedName& name = (*first)->name;
    const auto last =
        std::find_if(first, listed.end(), [&](const Procedure* one) { return one->name != name; });
    const bool isGroup = last - first > 1;
    // Those that a library holds are of another kind, which is not listed.
    if ((*first)->language != "library") {
      auto published = named<kelvane::StoredProc>(name);
      std::string definition;
      for (; first != last; ++first) {
        if (publishing.options.StoredProcs_Columns && (*first)->number == 1)
          addParameters(publishing, **first, published.Columns);
        definition += isGroup ? numbersOf(publishing, **first) : (*first)->definition.text;
      }
      if (publishing.options.StoredProcs_Definition) published.Definition = toUtf16(definition);
      procedures.append(std::move(published));
    }
    first = last;
  }
}

void publishTypes(const Publishing& publishing, Array<UDDT>& types) {
  for (const UserType* type : publishing.listed(publishing.database.types)) {
    auto published = named<UDDT>(type->name);
    if (publishing.options.UDDTs_Definition) {
      const DescribedType base = describeBase(type->base, publishing.database.server.ncharSize);
      published.BaseType = toUtf16(base.name);
      published.Length = base.length;
      published.Precision = base.precision;
      published.iScale = base.scale;
      published.Nullable = type->base.nullable;
      published.BoundRule = toUtf16(type->rule.name);
      published.BoundDefault = toUtf16(type->defaultValue.name);
    }
    types.append(std::move(published));
  }
}

}  // namespace

Publishing::Publishing(const Database& whole, const cComparisonOptions& switches)
    : database(whole), options(switches) {
  const auto addAll = [](auto& byName, const auto& records) {
    for (const auto& record : records)
      byName.try_emplace({record.name.owner, record.name.name}, &record);
  };
  addAll(tables_, database.tables);
  addAll(defaults_, database.defaults);
  addAll(types_, database.types);
}

DescribedType Publishing::described(const DataType& type) const {
  const std::int32_t ncharSize = database.server.ncharSize;
  if (!type.owner.isDefault()) {
    if (const UserType* own = found(types_, {*type.owner, type.name}))
      return describeBased(own->base, ncharSize);
  }
  return describe(type, ncharSize);
}

std::string_view Publishing::firstPiece(std::string_view text) const {
  // With letters of several bytes a row holds bytes, and only whole letters.
  const bool countsBytes = database.server.characterSet == "utf8";
  std::size_t letters = 0, end = 0;
  while (end < text.size()) {
    std::size_t next = end + 1;
    while (next < text.size() && continuesLetter(text[next])) ++next;
    if ((countsBytes ? next : ++letters) > kPiece) break;
    end = next;
  }
  return text.substr(0, end);
}

kelvane::Column Publishing::column(const reader::ColumnSource& source, std::string_view name,
                                   const ColumnType& type, const std::string& defaultText,
                                   std::int32_t position) const {
  const auto wanted = [this](const reader::ColumnSource::Attribute& attribute) -> bool {
    return options.*attribute.enabled;
  };
  DescribedType shown = described(type.type);
  kelvane::Column column;
  column.Name = toUtf16(name);
  if (wanted(source.length)) column.Length = shown.length;
  if (wanted(source.dataType)) column.DataType = toUtf16(shown.name);
  if (wanted(source.precision)) column.Precision = shown.precision;
  if (wanted(source.scale)) column.iScale = shown.scale;
  if (wanted(source.nullable)) column.Nullable = type.nullable;
  if (wanted(source.defaultText)) column.Default = toUtf16(defaultText);
  if (wanted(source.ordinalPosition)) column.OrdinalPosition = position;
  return column;
}

bool Publishing::precedes(std::string_view a, std::string_view b) const {
  if (!database.server.ignoresCase) return a < b;
  return compareText(toUtf16(a), toUtf16(b), CaseMode::ignore) < 0;
}

bool Publishing::precedes(const QualifiedName& a, const QualifiedName& b) const {
  if (precedes(a.owner, b.owner)) return true;
  return !precedes(b.owner, a.owner) && precedes(a.name, b.name);
}

std::u16string fullName(const std::u16string& owner, const std::u16string& name) {
  return owner + u"." + name;
}

std::u16string joined(const std::vector<std::string>& names, std::string_view separator) {
  std::string list;
  for (const std::string& name : names) {
    if (&name != &names.front()) list += separator;
    list += name;
  }
  return toUtf16(list);
}

Schema publish(const Database& database, const cComparisonOptions& options) {
  const Publishing publishing(database, options);
  Schema schema;
  if (options.Tables) publishTables(publishing, schema.Tables);
  if (options.Views) publishViews(publishing, schema.Views);
  if (options.StoredProcs) publishProcedures(publishing, schema.StoredProcs);
  // Functions are listed under letters that no release gives to any.
  if (options.UDDTs) publishTypes(publishing, schema.UDDTs);
  if (options.Users) publishUsers(publishing, schema.Users);
  if (options.Groups) publishGroups(publishing, schema.Groups);
  return schema;
}

}  // namespace kelvane::inventory
