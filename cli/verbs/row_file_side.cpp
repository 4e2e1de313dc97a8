#include "cli/verbs/row_file_side.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <utility>

#include "cli/verbs/row_file_names.h"
#include "cli/words/row_file_paths.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using inventory::Column;
using inventory::Database;
using inventory::DataType;
using inventory::QualifiedName;
using inventory::Table;

constexpr std::string_view kText = "text", kJson = "JSON", kTimestamp = "timestamp";

std::string shownName(const QualifiedName& name) {
  return name.owner == "dbo" ? name.name : name.owner + "." + name.name;
}

bool isJson(const RowFile& file) { return file.form.format == rows::RowFormat::jsonLines; }

Column untypedColumn(const RowFile& file, std::string name) {
  Column column{.name = std::move(name)};
  column.type.type.name = isJson(file) ? kJson : kText;
  column.type.nullable = true;
  return column;
}

// What the file says itself, or numbers.
std::vector<std::string> ownNames(const RowFile& file) {
  if (!file.head.names.empty() || isJson(file)) return file.head.names;
  std::vector<std::string> names;
  for (std::size_t at = 1; at <= file.head.fields; ++at)
    names.push_back("column" + std::to_string(at));
  return names;
}

class FileRows final : public RowSide {
 public:
  FileRows(std::vector<RowFile> files, const Database& other, bool isTyped)
      : files_(std::move(files)),
        isTyped_(isTyped),
        mode_(other.server.ignoresCase ? CaseMode::ignore : CaseMode::exact) {
    database_.server.ignoresCase = other.server.ignoresCase;
    database_.server.embedded = true;
    database_.types = other.types;
    std::map<std::u16string, const Table*> tables;
    for (const Table& table : other.tables) tables.emplace(comparable(table.name), &table);
    columns_.resize(files_.size());
    for (std::size_t at = 0; at < files_.size(); ++at) {
      const auto found = tables.find(comparable(files_[at].name));
      addTable(at, found == tables.end() ? nullptr : found->second);
    }
  }

  const Database& database() const override { return database_; }
  std::string faultOf(const Table& table) const override {
    return files_[static_cast<std::size_t>(&table - database_.tables.data())].fault;
  }
  void prepare(const rows::Select& select) override {
    if (!select.condition.empty())
      throw std::runtime_error("files do not answer a condition of rows");
  }
  rows::OpenRows rowsOf(const rows::TablePlan& plan, std::size_t side, const RowWish&) override {
    const auto& wanted = side == 0 ? plan.sourceColumns : plan.targetColumns;
    const auto table = std::ranges::find(database_.tables, plan.names[side], &Table::name);
    const auto at = static_cast<std::size_t>(table - database_.tables.begin());
    std::vector<std::size_t> places;
    for (const Column* column : wanted) {
      const auto place = std::ranges::find(columns_[at], column->name, &rows::FileColumn::name);
      places.push_back(static_cast<std::size_t>(place - columns_[at].begin()));
    }
    return [this, at, places] {
      return rows::openRowFile(files_[at].path, files_[at].form, columns_[at], places);
    };
  }
  bool comesInOrder() const override { return false; }
  void cancel() noexcept override {}
  bool isOver() const override { return false; }

 private:
  std::u16string comparable(const QualifiedName& name) const {
    const std::u16string text = toUtf16(name.owner) + u'.' + toUtf16(name.name);
    return mode_ == CaseMode::ignore ? foldCase(text) : text;
  }
  bool isSame(const std::string& one, const std::string& other) const {
    return equalText(toUtf16(one), toUtf16(other), mode_);
  }
  bool isTimestamp(const Column& column) const {
    return rows::storedType(database_, column.type.type).name == kTimestamp;
  }

  void addTable(std::size_t at, const Table* other) {
    const RowFile& file = files_[at];
    Table& table = database_.tables.emplace_back();
    table.name = file.name;
    for (Column& column : columnsOf(file, other)) {
      columns_[at].push_back({column.name, valueType(column)});
      table.columns.push_back(std::move(column));
    }
    if (other == nullptr) return;
    if (isTyped_) {
      table.keys = other->keys;
      table.indexes = other->indexes;
    }
    // They differ from server to server, so that nobody misses them.
    for (const Column& column : other->columns) {
      const bool isThere = std::ranges::any_of(
          table.columns, [&](const Column& own) { return isSame(own.name, column.name); });
      if (!isThere && isTimestamp(column)) table.columns.push_back(column);
    }
  }

  // In the order of the file.
  std::vector<Column> columnsOf(const RowFile& file, const Table* other) const {
    std::vector<Column> columns;
    if (other != nullptr && file.head.names.empty() && !other->columns.empty()) {
      columns = other->columns;
      const auto filled = std::ranges::count_if(
          columns, [this](const Column& column) { return !isTimestamp(column); });
      if (std::cmp_equal(filled, file.head.fields))
        std::erase_if(columns, [this](const Column& column) { return isTimestamp(column); });
      for (Column& column : columns) column.type.type = typeIn(file, column);
      return columns;
    }
    for (std::string& name : ownNames(file)) {
      const Column* const same = other == nullptr ? nullptr : columnOf(*other, name);
      Column& column = columns.emplace_back(same ? *same : untypedColumn(file, name));
      column.name = std::move(name);
      column.type.type = typeIn(file, column);
      // Beside rows without names, which are texts.
      if (!isTyped_ && other != nullptr && other->columns.empty()) column.type.type.name = kText;
    }
    if (other == nullptr || !isJson(file)) return columns;
    for (const Column& column : other->columns) {
      if (std::ranges::none_of(columns,
                               [&](const Column& own) { return isSame(own.name, column.name); }))
        columns.push_back(column);
    }
    return columns;
  }
  const Column* columnOf(const Table& table, const std::string& name) const {
    const auto found = std::ranges::find_if(
        table.columns, [&](const Column& column) { return isSame(column.name, name); });
    return found == table.columns.end() ? nullptr : &*found;
  }

  // Values have the types of JSON only where both sides are JSON.
  DataType typeIn(const RowFile& file, const Column& column) const {
    DataType type = column.type.type;
    if (!isTyped_ && !isJson(file)) type.name = kText;
    return type;
  }
  rows::ValueType valueType(const Column& column) const {
    const DataType type = rows::storedType(database_, column.type.type);
    if (type.name == kJson) return rows::untypedJson();
    if (!isTyped_) return rows::untypedText();
    rows::ValueType result = rows::valueTypeOf(type);
    if (type.name == "binary" && !column.type.nullable)
      result.filledTo = static_cast<std::size_t>(type.length.value_or(1));
    return result;
  }

  std::vector<RowFile> files_;
  bool isTyped_;
  CaseMode mode_;
  Database database_;
  std::vector<std::vector<rows::FileColumn>> columns_;  // of each file
};

}  // namespace

std::vector<RowFile> rowFilesOf(const RowFilesPlace& place, const Database* other) {
  std::map<std::string, QualifiedName> known;
  if (other != nullptr) {
    std::vector<QualifiedName> tables;
    tables.reserve(other->tables.size());
    for (const Table& table : other->tables) tables.push_back(table.name);
    const std::vector<std::string> names = rowFileNames(tables);
    for (std::size_t at = 0; at < tables.size(); ++at) known.emplace(names[at], tables[at]);
  }
  std::vector<RowFile> files;
  std::map<std::string, std::string> before;  // by table
  for (const std::filesystem::path& path : rowFilesIn(place.path)) {
    RowFile file{.path = path.string(), .name = {}, .form = place.form, .head = {}};
    file.form.format = *rowFormatOf(path);
    const std::string stem = path.stem().string();
    const auto table = known.find(stem);
    file.name = table == known.end() ? tableOfFile(stem) : table->second;
    const auto [same, isNew] = before.emplace(shownName(file.name), file.path);
    if (!isNew)
      throw CommandError({"'" + same->second + "' and '" + file.path + "' both have the rows of " +
                          same->first + "; remove one of them"});
    try {
      file.head = rows::headOf(file.path, file.form);
    } catch (const rows::RowFileError& error) {
      file.fault = error.what();
    }
    files.push_back(std::move(file));
  }
  if (files.empty())
    throw CommandError({"'" + place.path + "' has no file of rows (.csv, .jsonl, .ndjson, .bcp)"});
  return files;
}

Database untypedDatabase(const std::vector<RowFile>& files) {
  Database database;
  for (const RowFile& file : files) {
    Table& table = database.tables.emplace_back();
    table.name = file.name;
    for (const std::string& name : file.head.names)
      table.columns.push_back(untypedColumn(file, name));
  }
  return database;
}

std::unique_ptr<RowSide> rowFileSide(std::vector<RowFile> files, const Database& other,
                                     bool isTyped) {
  return std::make_unique<FileRows>(std::move(files), other, isTyped);
}

}  // namespace kelvane::cli
