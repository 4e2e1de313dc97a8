// Columns of tables and views, and parameters of procedures and functions, from the catalog
// procedures.
#include "reader/procedures.h"

namespace kelvane::reader {
namespace {

// Where a kind's column attributes stand in the catalog procedure's result (0-based), and their
// switches.
struct ColumnSource {
  struct Attribute {
    std::int32_t ordinal;
    Boolean cComparisonOptions::*enabled;
  };
  std::u16string_view procedure;
  std::u16string_view call;
  Attribute length, dataType, precision, scale, nullable, defaultText, ordinalPosition;
};

constexpr std::int32_t kNameOrdinal = 3;
constexpr std::int32_t kSeparateQuery = -1;

using Options = cComparisonOptions;

constexpr ColumnSource kTableColumns = {
    u"PopulateTableColumns",
    u"exec sp_columns ",
    {7, &Options::Tables_Columns_Lengths},
    {5, &Options::Tables_Columns_DataTypes},
    {6, &Options::Tables_Columns_Precisions},
    {8, &Options::Tables_Columns_Scales},
    {10, &Options::Tables_Columns_Nullables},
    {kSeparateQuery, &Options::Tables_Columns_Defaults},
    {18, &Options::Tables_Columns_OrdinalPositions},
};

constexpr ColumnSource kViewColumns = {
    u"PopulateViewColumns",
    u"exec sp_columns ",
    {7, &Options::Views_Columns_Lengths},
    {5, &Options::Views_Columns_DataTypes},
    {6, &Options::Views_Columns_Precisions},
    {8, &Options::Views_Columns_Scales},
    {10, &Options::Views_Columns_Nullables},
    {14, &Options::Views_Columns_Defaults},
    {18, &Options::Views_Columns_OrdinalPositions},
};

constexpr ColumnSource kProcedureParameters = {
    u"PopulateStoredProcColumns",
    u"exec sp_sproc_columns ",
    {8, &Options::StoredProcs_Columns_Lengths},
    {6, &Options::StoredProcs_Columns_DataTypes},
    {7, &Options::StoredProcs_Columns_Precisions},
    {9, &Options::StoredProcs_Columns_Scales},
    {11, &Options::StoredProcs_Columns_Nullables},
    {15, &Options::StoredProcs_Columns_Defaults},
    {19, &Options::StoredProcs_Columns_OrdinalPositions},
};

// Default and position are taken two places before those of a procedure, from the result of the
// same call: the contract with hosts places them there.
constexpr ColumnSource kFunctionParameters = {
    u"PopulateFunctionColumns",
    u"exec sp_sproc_columns ",
    {8, &Options::Functions_Columns_Lengths},
    {6, &Options::Functions_Columns_DataTypes},
    {7, &Options::Functions_Columns_Precisions},
    {9, &Options::Functions_Columns_Scales},
    {11, &Options::Functions_Columns_Nullables},
    {13, &Options::Functions_Columns_Defaults},
    {17, &Options::Functions_Columns_OrdinalPositions},
};

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
