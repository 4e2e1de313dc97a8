// Columns of tables and views, and parameters of procedures and functions, from the catalog
// procedures.
#include "reader/column_sources.h"
#include "reader/procedures.h"

namespace kelvane::reader {
namespace {

template <class Record>
void readColumn(FetchContext& context, const ColumnSource& source, const Record& object,
                const ado::Recordset& row, Column& column) {
  const auto value = [&](const ColumnSource::Attribute& attribute) {
    return row.Fields(attribute.ordinal).Value();
  };
  const auto enabled = [&](const ColumnSource::Attribute& attribute) -> bool {
    return context.options().*attribute.enabled;
  };
  column.Name = row.Fields(kNameOrdinal).Value().toText();
  if (enabled(source.length)) column.Length = ado::NullToLong(value(source.length));
  if (enabled(source.dataType)) column.DataType = ado::NullToString(value(source.dataType));
  if (enabled(source.precision)) column.Precision = ado::NullToLong(value(source.precision));
  if (enabled(source.scale)) column.iScale = ado::NullToShort(value(source.scale));
  if (enabled(source.nullable)) column.Nullable = value(source.nullable).toBoolean();
  if (enabled(source.defaultText)) {
    column.Default = source.defaultText.ordinal == kSeparateQuery
                         ? RetrieveColumnDefault(context, object.Owner, object.Name, column.Name)
                         : ado::NullToString(value(source.defaultText));
  }
  if (enabled(source.ordinalPosition))
    column.OrdinalPosition = ado::NullToLong(value(source.ordinalPosition));
}

template <class Record>
Status readColumns(FetchContext& context, const ColumnSource& source, Record& object) {
  return context.trapped(source.procedure, [&]() -> Status {
    const auto rows =
        context.GetRecordset(std::u16string(source.call) + object.Name + u"," + object.Owner);
    if (!rows) return 0;
    if (rows->RecordCount() > 0) {
      object.Columns.recreate(rows->RecordCount());
      for (std::int32_t position = 1; !rows->EndOfRows(); ++position, rows->MoveNext()) {
        object.Columns.edit(
            position, [&](Column& column) { readColumn(context, source, object, *rows, column); });
      }
    }
    return rows->RecordCount();
  });
}

}  // namespace

Status PopulateTableColumns(FetchContext& context, Table& table) {
  return readColumns(context, kTableColumns, table);
}

Status PopulateViewColumns(FetchContext& context, View& view) {
  return readColumns(context, kViewColumns, view);
}

Status PopulateStoredProcColumns(FetchContext& context, StoredProc& procedure) {
  return readColumns(context, kProcedureParameters, procedure);
}

Status PopulateFunctionColumns(FetchContext& context, CodeFunction& function) {
  return readColumns(context, kFunctionParameters, function);
}

}  // namespace kelvane::reader
