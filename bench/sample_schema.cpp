#include "bench/sample_schema.h"

#include <iterator>
#include <string>

#include "model/text.h"

namespace kelvane::bench {
namespace {

constexpr std::u16string_view kSubjects[] = {u"customer", u"order",   u"invoice", u"shipment",
                                             u"product",  u"account", u"payment", u"contract"};
constexpr std::u16string_view kColumnNames[] = {u"id",
                                                u"customer_id",
                                                u"order_number",
                                                u"created_at",
                                                u"created_by",
                                                u"modified_at",
                                                u"modified_by",
                                                u"status",
                                                u"description",
                                                u"unit_price",
                                                u"quantity",
                                                u"total_amount",
                                                u"currency",
                                                u"exchange_rate",
                                                u"warehouse_id",
                                                u"shipping_date",
                                                u"delivery_date",
                                                u"tax_code",
                                                u"tax_amount",
                                                u"discount_rate",
                                                u"account_code",
                                                u"cost_center",
                                                u"external_ref",
                                                u"batch_number",
                                                u"is_active",
                                                u"sort_sequence",
                                                u"valid_from",
                                                u"valid_until",
                                                u"comment_text",
                                                u"row_version",
                                                u"region_code"};

struct Type {
  std::u16string_view name;
  std::int32_t length;
  std::int32_t precision;
};
constexpr Type kTypes[] = {{u"int", 4, 10},     {u"varchar", 40, 0}, {u"numeric", 9, 18},
                           {u"datetime", 8, 0}, {u"char", 10, 0},    {u"smallint", 2, 5}};

Column sampleColumn(std::size_t table, std::int32_t position) {
  const std::size_t number = table * 5 + static_cast<std::size_t>(position);
  const Type& type = kTypes[number % std::size(kTypes)];
  return {.Name = std::u16string(kColumnNames[number % std::size(kColumnNames)]),
          .DataType = std::u16string(type.name),
          .Length = type.length,
          .Precision = type.precision,
          .iScale = 0,
          .Nullable = position > 3,
          .Default = number % 7 == 0 ? u"0" : u"",
          .OrdinalPosition = position};
}

}  // namespace

Schema sampleSchema(std::int32_t tables, bool isTarget) {
  Schema schema;
  schema.Tables.reserve(tables);
  for (std::int32_t number = 1; number <= tables; ++number) {
    const auto at = static_cast<std::size_t>(number);
    Table table;
    table.Name =
        std::u16string(kSubjects[at % std::size(kSubjects)]) + u"_history_" + decimalText(number);
    table.Owner = at % 10 == 0 ? u"reporting" : u"dbo";
    table.FullName = table.Owner + u"." + table.Name;
    table.Columns.reserve(kColumnsATable);
    for (std::int32_t position = 1; position <= kColumnsATable; ++position) {
      Column column = sampleColumn(at, position);
      if (isTarget && number % 100 == 0 && position == 12) column.Length += 20;
      table.Columns.append(std::move(column));
    }
    const Table& made = table;
    table.PrimaryKey = {{u"pk_" + table.Name, made.Columns[1].Name, u"Clustered"}};
    table.Indexes = {{u"ix1_" + table.Name, made.Columns[2].Name, u"nonclustered"},
                     {u"ix2_" + table.Name, made.Columns[3].Name + u", " + made.Columns[4].Name,
                      u"nonclustered, unique"}};
    table.Miscallaneous = {number * 17, 250};
    schema.Tables.append(std::move(table));
  }
  return schema;
}

}  // namespace kelvane::bench
