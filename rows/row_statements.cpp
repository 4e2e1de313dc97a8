#include "rows/row_statements.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "inventory/ddl/statement.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::rows {
namespace {

using namespace inventory;

constexpr std::string_view kOneRow = "set rowcount 1 ";

bool isTimestamp(const Database& database, const inventory::Column& column) {
  return storedType(database, column.type.type).name == "timestamp";
}

bool isComputed(const inventory::Column& column) { return !column.computed.isDefault(); }

/// What a value of a large type is looked at as.
std::string_view comparableType(std::string_view type) {
  if (type == "text") return "varchar(16000)";
  if (type == "unitext") return "univarchar(8000)";
  return type == "image" ? "varbinary(16000)" : "";
}

}  // namespace

StatementWriter::StatementWriter(const TablePlan& plan, StatementTarget target)
    : plan_(plan), target_(std::move(target)) {
  Statement name;
  name.name(target_.table.name);
  name_ = name.text();
  needsQuotedIdentifier_ = name.needsQuotedIdentifier();
  columns_.reserve(plan_.columns.size());
  for (std::size_t at = 0; at < plan_.columns.size(); ++at) {
    columns_.push_back(columnOf(at));
    if (columns_.back().quoted.starts_with('"')) needsQuotedIdentifier_ = true;
    if (columns_.back().isIdentity) insertsIdentity_ = true;
  }
  findWhyNoInserts();
}

StatementWriter::Column StatementWriter::columnOf(std::size_t at) const {
  const inventory::Column& declared = *plan_.targetColumns[at];
  const ComparedColumn& compared = plan_.columns[at];
  Statement quoted;
  quoted.name(declared.name);
  Column column;
  column.quoted = quoted.text();
  column.literal = {storedType(target_.database, declared.type.type), target_.characters,
                    target_.unit, target_.longestLiteral};
  column.isWritable = !isComputed(declared);
  column.isIdentity = declared.type.identity;
  column.isLinked = target_.linked.contains(declared.name);
  column.isPadded = compared.form == Form::padded;
  column.compareAs = comparableType(column.literal.type.name);
  // The values that were compared are rounded where the other side has a less exact type.
  const bool differs = !compared.types[0].empty();
  if (differs && compared.form == Form::single) column.compareAs = "real";
  if (differs && compared.form == Form::approximate) column.compareAs = "double precision";
  return column;
}

void StatementWriter::findWhyNoInserts() {
  for (const inventory::Column& column : target_.table.columns) {
    const bool isFilled =
        column.type.nullable || column.type.identity || isComputed(column) ||
        !column.defaultValue.isDefault() || isTimestamp(target_.database, column) ||
        std::ranges::find(plan_.targetColumns, &column) != plan_.targetColumns.end();
    if (isFilled) continue;
    whyNoInserts_ = "column " + column.name +
                    " must have a value and has no default, and the source has none for it";
    return;
  }
}

bool StatementWriter::isText(std::size_t column) const {
  const std::string& type = columns_[column].literal.type.name;
  return type.find("char") != std::string::npos || type.ends_with("sysname");
}

Literal StatementWriter::literalAt(std::size_t column, const Cell& cell) const {
  std::u16string storage;
  ado::Value value = valueOf(cell, storage);
  const auto* text = std::get_if<std::u16string_view>(&value);
  if (text != nullptr && text->empty() && columns_[column].isPadded)
    value = std::u16string_view(u" ");
  return literalOf(value, columns_[column].literal);
}

Literal StatementWriter::newValueAt(std::size_t at, const Cell& cell) const {
  if (cell.kind == CellKind::null && !plan_.targetColumns[at]->type.nullable)
    return {{}, "it must have a value"};
  return literalAt(at, cell);
}

StatementWriter::Condition StatementWriter::conditionOf(std::size_t at, const Cell& cell) const {
  const Column& column = columns_[at];
  if (cell.kind == CellKind::null) return {column.quoted + " is null"};
  Literal literal = literalAt(at, cell);
  if (!literal.isWritten())
    return {column.quoted + " is not null", std::move(literal.obstacle), false};
  if (column.compareAs.empty()) return {column.quoted + " = " + literal.text};
  const std::string type(column.compareAs);
  const bool isRounded = type == "real" || type == "double precision";
  return {"convert(" + type + ", " + column.quoted +
          ") = " + (isRounded ? "convert(" + type + ", " + literal.text + ")" : literal.text)};
}

StatementWriter::Condition StatementWriter::conditionOf(const Cells& cells,
                                                        const std::vector<std::size_t>& asked,
                                                        bool linksAreNull) const {
  Condition all;
  std::vector<std::size_t> columns(plan_.pairing.keyColumns);
  std::iota(columns.begin(), columns.end(), std::size_t{0});
  const std::vector<std::size_t>& besides = plan_.pairing.isUnique ? asked : othersThanKey();
  columns.insert(columns.end(), besides.begin(), besides.end());
  for (const std::size_t at : columns) {
    const bool isNull = linksAreNull && columns_[at].isLinked;
    const Condition one = conditionOf(at, isNull ? Cell{} : cells[at]);
    all.text += (all.text.empty() ? "" : " and ") + one.text;
    const bool finds = at < plan_.pairing.keyColumns || !plan_.pairing.isUnique;
    if (!one.isExact && finds && all.obstacle.empty())
      all.obstacle = columns_[at].quoted + ": the row cannot be looked for: " + one.obstacle;
  }
  return all;
}

std::vector<std::size_t> StatementWriter::othersThanKey() const {
  std::vector<std::size_t> others(columns_.size() - plan_.pairing.keyColumns);
  std::iota(others.begin(), others.end(), plan_.pairing.keyColumns);
  return others;
}

std::string StatementWriter::shownKey(const Cells& cells) const {
  constexpr std::size_t kLongest = 100;
  std::string text;
  for (std::size_t at = 0; at < plan_.pairing.keyColumns && text.size() < kLongest; ++at) {
    std::u16string storage;
    const ado::Value value = valueOf(cells[at], storage);
    text += (text.empty() ? "" : ", ") + plan_.columns[at].name + " " +
            (value.isNull() ? "null" : toUtf8(value.toText()));
  }
  if (text.size() > kLongest) {
    std::size_t end = kLongest;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    text = text.substr(0, end) + "...";
  }
  for (char& letter : text) {
    // raiserror takes % for a place where an argument goes.
    if (static_cast<unsigned char>(letter) < 0x20 || letter == '%') letter = '?';
  }
  return text;
}

std::string StatementWriter::checked(const std::string& statement, const Cells& cells,
                                     std::string_view reason) const {
  return statement + "\nif @@rowcount != 1 begin raiserror 20001 " +
         literal(inventory::shown(target_.table.name) + ", " + shownKey(cells) + ": " +
                 std::string(reason)) +
         " goto failed end" + (statement.starts_with(kOneRow) ? "\nset rowcount 0" : "");
}

/// At most one row: others may be equal to it.
std::string StatementWriter::limited(std::string_view verb, const std::string& rest) const {
  const std::string begin(verb);
  if (plan_.pairing.isUnique) return begin + " " + rest;
  if (target_.knowsTop) return begin + " top 1 " + rest;
  return std::string(kOneRow) + begin + " " + rest;
}

RowStatements StatementWriter::statementsFor(const DifferingRows& rows) const {
  RowStatements result;
  if (rows.target.empty()) {
    insert(plan_.cellsOf(rows.source), result);
  } else if (rows.source.empty()) {
    remove(plan_.cellsOf(rows.target), result);
  } else {
    update(plan_.cellsOf(rows.target), plan_.cellsOf(rows.source),
           plan_.changedColumns(rows.source, rows.target), result);
  }
  const Cells shown = plan_.cellsOf(rows.target.empty() ? rows.source : rows.target);
  for (std::string& line : result.obstacles) line.insert(0, shownKey(shown) + ", ");
  return result;
}

std::optional<std::string> StatementWriter::plainInsert(std::string_view row) const {
  const Cells cells = plan_.cellsOf(row);
  std::string names, values;
  for (std::size_t at = 0; at < columns_.size(); ++at) {
    if (!columns_[at].isWritable) continue;
    const Literal value = literalAt(at, cells[at]);
    if (!value.isWritten()) return std::nullopt;
    names += (names.empty() ? "" : ", ") + columns_[at].quoted;
    values += (values.empty() ? "" : ", ") + value.text;
  }
  return "insert " + name_ + " (" + names + ") values (" + values + ")";
}

void StatementWriter::insert(const Cells& cells, RowStatements& result) const {
  if (!whyNoInserts_.empty()) {
    result.obstacles.push_back(whyNoInserts_);
    return;
  }
  std::string names, values, links;
  for (std::size_t at = 0; at < columns_.size(); ++at) {
    const Column& column = columns_[at];
    if (!column.isWritable) continue;
    const Literal value = newValueAt(at, cells[at]);
    if (!value.isWritten()) {
      result.obstacles.push_back(column.quoted + ": " + value.obstacle);
      continue;
    }
    const bool isLater = column.isLinked && cells[at].kind != CellKind::null;
    if (isLater) links += (links.empty() ? "" : ", ") + column.quoted + " = " + value.text;
    names += (names.empty() ? "" : ", ") + column.quoted;
    values += (values.empty() ? "" : ", ") + (isLater ? "null" : value.text);
  }
  // Half a row is none.
  if (!result.obstacles.empty()) return;
  if (names.empty()) {
    result.obstacles.emplace_back("the server computes all columns");
    return;
  }
  Condition made;
  if (!links.empty()) {
    made = conditionOf(cells, othersThanKey(), true);
    if (!made.obstacle.empty()) {
      result.obstacles.push_back(std::move(made.obstacle));
      return;
    }
  }
  result.statements.push_back(
      {RowStage::add, checked("insert " + name_ + " (" + names + ") values (" + values + ")", cells,
                              "could not be inserted")});
  if (!links.empty()) {
    result.statements.push_back(
        {RowStage::link, checked(limited("update", name_ + " set " + links + " where " + made.text),
                                 cells, "is not as it was inserted")});
  }
}

void StatementWriter::update(const Cells& was, const Cells& is,
                             const std::vector<std::size_t>& changed, RowStatements& result) const {
  std::string sets;
  std::vector<std::size_t> asked;
  bool isLinked = false;
  for (const std::size_t at : changed) {
    const Column& column = columns_[at];
    // It follows from others.
    if (!column.isWritable) continue;
    if (column.isIdentity) {
      result.obstacles.push_back(column.quoted + ": an identity value cannot be changed");
      continue;
    }
    const Literal value = newValueAt(at, is[at]);
    if (!value.isWritten()) {
      result.obstacles.push_back(column.quoted + ": " + value.obstacle);
      continue;
    }
    sets += (sets.empty() ? "" : ", ") + column.quoted + " = " + value.text;
    if (at >= plan_.pairing.keyColumns) asked.push_back(at);
    isLinked = isLinked || column.isLinked;
  }
  if (sets.empty()) {
    if (result.obstacles.empty()) result.obstacles.emplace_back("the server computes what differs");
    return;
  }
  Condition row = conditionOf(was, asked, false);
  if (!row.obstacle.empty()) {
    result.obstacles.push_back(std::move(row.obstacle));
    return;
  }
  result.statements.push_back(
      {isLinked ? RowStage::link : RowStage::change,
       checked(limited("update", name_ + " set " + sets + " where " + row.text), was,
               "is not as it was")});
}

void StatementWriter::remove(const Cells& cells, RowStatements& result) const {
  std::string links;
  for (std::size_t at = 0; at < columns_.size(); ++at) {
    if (columns_[at].isLinked && cells[at].kind != CellKind::null)
      links += (links.empty() ? "" : ", ") + columns_[at].quoted + " = null";
  }
  Condition row = conditionOf(cells, othersThanKey(), !links.empty());
  if (!row.obstacle.empty()) {
    result.obstacles.push_back(std::move(row.obstacle));
    return;
  }
  if (!links.empty()) {
    const Condition before = conditionOf(cells, othersThanKey(), false);
    result.statements.push_back(
        {RowStage::release,
         checked(limited("update", name_ + " set " + links + " where " + before.text), cells,
                 "is not as it was")});
  }
  result.statements.push_back(
      {RowStage::remove,
       checked(limited("delete", name_ + " where " + row.text), cells, "is not as it was")});
}

}  // namespace kelvane::rows
