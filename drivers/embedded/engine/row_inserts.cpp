#include "drivers/embedded/engine/row_inserts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/tsql/parser.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

namespace {

constexpr bool isBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isHexDigit(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Numbers of so many digits are exact in floating point.
constexpr std::size_t kExactDigits = 15;
constexpr auto kPowers = [] {
  std::array<std::int64_t, kExactDigits + 1> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

enum class Way { Integer, Bit, Exact, Approximate, Text, Moment, Other };

struct Column {
  ColumnType type;
  Way way = Way::Other;
  std::int64_t low = 0;   ///< of integers
  std::int64_t high = 0;  ///< of integers; of exact numbers, the first that does not fit
  std::size_t scale = 0;
  int parameter = 0;  ///< 0 if its value is not used
};

Way wayOf(const ColumnType& type) {
  if (type.kind == TypeKind::Bit) return Way::Bit;
  if (isInteger(type.kind)) return Way::Integer;
  if (isExactFraction(type.kind)) return Way::Exact;
  if (isApproximate(type.kind)) return Way::Approximate;
  if (isCharacter(type.kind)) return Way::Text;
  return isTemporal(type.kind) ? Way::Moment : Way::Other;
}

Column columnOf(const ColumnType& type) {
  Column column{type, wayOf(type)};
  if (column.way == Way::Integer) {
    const auto range = integerRange(type.kind);
    column.low = range.first;
    column.high = range.second;
  } else if (column.way == Way::Exact) {
    column.scale = static_cast<std::size_t>(scaleOf(type));
    const int whole = wholeDigits(type);
    column.high = whole < static_cast<int>(kPowers.size())
                      ? kPowers[static_cast<std::size_t>(std::max(whole, 0))]
                      : std::numeric_limits<std::int64_t>::max();
  }
  return column;
}

}  // namespace

// Where rows go that are written with the same words before their values.
struct RowInserts::Target {
  Circumstances made;
  std::string head;
  std::string table;
  /// Whether its rows need nothing but this: no trigger, no value of the session in a default.
  bool isPlain = false;
  bool givesIdentity = false;
  std::vector<Column> columns;
  Statement statement;

  bool accepts(std::size_t column, Kind kind) const {
    const ColumnType& type = columns[column].type;
    if (kind == Kind::Null) return type.nullable;
    const auto to = [&](TypeKind from) { return convertsImplicitly(from, type.kind); };
    switch (kind) {
      case Kind::Text:
      case Kind::QuotedText:
        return columns[column].way == Way::Text || to(TypeKind::Varchar);
      case Kind::Binary:
        return to(TypeKind::Varbinary);
      case Kind::Float:
        return columns[column].way == Way::Approximate || to(TypeKind::Float);
      case Kind::Money:
        return to(TypeKind::Money);
      default:
        return columns[column].way == Way::Integer || columns[column].way == Way::Exact ||
               (to(TypeKind::Int) && to(TypeKind::Numeric));
    }
  }
};

// Cuts a batch into rows; gives up at anything else.
class RowInserts::Scanner {
 public:
  Scanner(RowInserts& inserts, std::string_view batch, Outcome& outcome)
      : inserts_(inserts),
        batch_(batch),
        outcome_(outcome),
        hasQuotedNames_(inserts.session_.caller.quotedIdentifier) {}

  bool run() {
    for (skipBlanks(); at_ < batch_.size(); skipBlanks()) {
      if (!row()) return false;
    }
    return !inserts_.rows_.empty();
  }

 private:
  char here() const { return at_ < batch_.size() ? batch_[at_] : '\0'; }
  void skipBlanks() {
    while (at_ < batch_.size() && isBlank(batch_[at_])) ++at_;
  }

  bool row() {
    const std::size_t begin = at_;
    if (target_ == nullptr || !batch_.substr(at_).starts_with(target_->head)) {
      const std::size_t end = endOfHead();
      if (end == 0) return false;
      target_ = inserts_.targetFor(batch_.substr(at_, end - at_), outcome_);
      if (target_ == nullptr) return false;
    }
    at_ += target_->head.size();
    inserts_.rows_.push_back({target_, static_cast<std::uint32_t>(begin)});
    const std::size_t count = target_->columns.size();
    for (std::size_t column = 0; column < count; ++column) {
      Value value{0, 0, Kind::Null, false};
      skipBlanks();
      if (!literal(value) || !target_->accepts(column, value.kind)) return false;
      inserts_.values_.push_back(value);
      skipBlanks();
      if (here() != (column + 1 == count ? ')' : ',')) return false;
      ++at_;
    }
    return true;
  }

  // `insert into t (a, b) values (`, with nothing in it that could mean something else elsewhere;
  // 0 if it is none.
  std::size_t endOfHead() const {
    constexpr std::size_t kLongest = 8192;
    constexpr std::string_view kInsert = "insert", kValues = "values";
    const std::string_view text = batch_.substr(at_, kLongest);
    if (!tsql::equalsIgnoringCase(text.substr(0, kInsert.size()), kInsert)) return 0;
    bool isValues = false;
    for (std::size_t i = 0; i < text.size();) {
      const char c = text[i];
      if (isLetter(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80) {
        std::size_t end = i;
        while (end < text.size() &&
               (isLetter(text[end]) || isDigit(text[end]) || text[end] == '_' || text[end] == '$' ||
                static_cast<unsigned char>(text[end]) >= 0x80)) {
          ++end;
        }
        isValues = tsql::equalsIgnoringCase(text.substr(i, end - i), kValues);
        i = end;
      } else if (isValues && c == '(') {
        return at_ + i + 1;
      } else if (isBlank(c)) {
        ++i;
      } else if (!isValues && (c == '.' || c == ',' || c == '(' || c == ')')) {
        ++i;
      } else if (!isValues && c == '[') {
        i = text.find(']', i);
        if (i == std::string_view::npos) return 0;
        ++i;
      } else {
        return 0;
      }
    }
    return 0;
  }

  bool literal(Value& value) {
    const char c = here();
    if (c == '\'' || (c == '"' && !hasQuotedNames_)) return text(value, c);
    if (c == '-' || c == '+') {
      value.isNegative = c == '-';
      ++at_;
      return number(value);
    }
    if (isLetter(c)) return null();
    return number(value);
  }

  bool null() {
    constexpr std::string_view kNull = "null";
    if (!tsql::equalsIgnoringCase(batch_.substr(at_, kNull.size()), kNull)) return false;
    at_ += kNull.size();
    return true;
  }

  bool text(Value& value, char quote) {
    value.kind = Kind::Text;
    value.begin = static_cast<std::uint32_t>(at_ + 1);
    for (std::size_t i = at_ + 1; i < batch_.size(); ++i) {
      const char c = batch_[i];
      if (c == quote) {
        if (i + 1 < batch_.size() && batch_[i + 1] == quote) {
          value.kind = Kind::QuotedText;
          ++i;
          continue;
        }
        value.end = static_cast<std::uint32_t>(i);
        at_ = i + 1;
        return true;
      }
      // It may continue the text on the next line.
      if (c == '\\' && i + 1 < batch_.size() && isBlank(batch_[i + 1])) return false;
    }
    return false;
  }

  std::size_t endOfDigits(std::size_t from) const {
    while (from < batch_.size() && isDigit(batch_[from])) ++from;
    return from;
  }

  bool number(Value& value) {
    value.kind = Kind::Integer;
    const bool isMoney = here() == '$';
    if (isMoney) ++at_;
    const std::size_t begin = at_;
    std::size_t end = endOfDigits(begin);
    std::size_t digits = end - begin;
    if (digits == 1 && !isMoney && !value.isNegative && end < batch_.size() &&
        (batch_[end] == 'x' || batch_[end] == 'X') && batch_[begin] == '0') {
      return binary(value, end + 1);
    }
    if (end < batch_.size() && batch_[end] == '.') {
      value.kind = Kind::Decimal;
      const std::size_t point = end;
      end = endOfDigits(point + 1);
      digits += end - point - 1;
    }
    if (digits == 0) return false;
    if (!isMoney && end < batch_.size() && (batch_[end] == 'e' || batch_[end] == 'E')) {
      std::size_t exponent = end + 1;
      if (exponent < batch_.size() && (batch_[exponent] == '+' || batch_[exponent] == '-')) {
        ++exponent;
      }
      end = endOfDigits(exponent);
      if (end == exponent) return false;
      value.kind = Kind::Float;
    }
    if (isMoney) value.kind = Kind::Money;
    value.begin = static_cast<std::uint32_t>(begin);
    value.end = static_cast<std::uint32_t>(end);
    at_ = end;
    return true;
  }

  bool binary(Value& value, std::size_t begin) {
    value.kind = Kind::Binary;
    value.begin = static_cast<std::uint32_t>(begin);
    for (at_ = begin; at_ < batch_.size() && isHexDigit(batch_[at_]);) ++at_;
    value.end = static_cast<std::uint32_t>(at_);
    return true;
  }

  RowInserts& inserts_;
  std::string_view batch_;
  Outcome& outcome_;
  bool hasQuotedNames_;
  std::size_t at_ = 0;
  Target* target_ = nullptr;
};

RowInserts::RowInserts(Session& session) : session_(session) {}
RowInserts::~RowInserts() = default;

bool RowInserts::serves(const Target& target) const {
  const SessionOptions& options = session_.options;
  return target.made == Circumstances{session_.server.namesVersion(),
                                      session_.caller.uid,
                                      session_.caller.database,
                                      options.rowLimit,
                                      options.identityInsertTable == target.table,
                                      options.ansiNull,
                                      options.stringRtruncation};
}

RowInserts::Target* RowInserts::targetFor(std::string_view head, Outcome& outcome) {
  constexpr std::size_t kMostTargets = 256;
  std::string key(head);
  auto found = targets_.find(key);
  if (found == targets_.end() || !serves(*found->second)) {
    auto made = makeTarget(head, outcome);
    if (!made) return nullptr;
    if (found == targets_.end()) {
      // Rows of the batch at hand refer to theirs.
      if (targets_.size() >= kMostTargets && rows_.empty()) targets_.clear();
      found = targets_.emplace(std::move(key), nullptr).first;
    } else if (!rows_.empty()) {
      return nullptr;
    }
    found->second = std::move(made);
  }
  return found->second->isPlain ? found->second.get() : nullptr;
}

// Null if the words are not understood.
std::unique_ptr<RowInserts::Target> RowInserts::makeTarget(std::string_view head,
                                                           Outcome& outcome) {
  auto batch = std::make_shared<ParsedBatch>(std::string(head) + "null)");
  auto target = std::make_unique<Target>();
  target->head = head;
  session_.server.beginRows();
  try {
    batch->statements = tsql::parseBatch(batch->text, session_.parseOptions());
    const auto* insert = std::get_if<tsql::Insert>(&batch->statements.front()->node);
    if (insert == nullptr || batch->statements.size() != 1) return nullptr;
    target->table = insert->table.name;
    BatchRun run(session_, batch, outcome);
    RowPlan plan = run.rowPlan(*batch->statements.front());
    target->made = std::move(plan.made);
    target->givesIdentity = plan.plan.givesIdentity;
    target->isPlain = !plan.plan.trigger && plan.plan.tests.empty() &&
                      !plan.plan.leavesOutDuplicates && plan.plan.temporaries.empty();
    for (const ColumnType& type : plan.types) target->columns.push_back(columnOf(type));
    target->statement = session_.server.catalog.store().prepare(plan.plan.sql);
    const int used = target->statement.parameterCount();
    for (std::size_t i = 0; i < plan.plan.parameters.size(); ++i) {
      const Parameter& parameter = plan.plan.parameters[i];
      const int number = static_cast<int>(i) + 1;
      if (number > used) break;
      if (parameter.source == Parameter::Source::Bound) {
        target->columns[parameter.position].parameter = number;
      } else if (const auto constant = constantValue(parameter)) {
        target->statement.bind(number, *constant);
      } else {
        target->isPlain = false;
      }
    }
  } catch (const tsql::ServerError&) {
    return nullptr;
  } catch (const StoreError&) {
    return nullptr;
  }
  return target;
}

std::size_t RowInserts::run(std::string_view batch, Outcome& outcome) {
  constexpr std::string_view kBegin = "iI \t\r\n";
  if (batch.empty() || kBegin.find(batch.front()) == std::string_view::npos) return 0;
  if (session_.caller.chained || session_.options.stringRtruncation) return 0;
  if (batch.size() > std::numeric_limits<std::uint32_t>::max()) return 0;
  rows_.clear();
  values_.clear();
  if (!Scanner(*this, batch, outcome).run()) return 0;
  Server& server = session_.server;
  server.beginRows();
  const Variables none;
  server.running.session = &session_;
  server.running.caller = &session_.caller;
  server.running.variables = &none;
  const Value* values = values_.data();
  for (const Row& row : rows_) {
    try {
      server.countStep();
      insert(*row.target, batch, values, outcome);
    } catch (const tsql::ServerError&) {
      row.target->statement.reset();
      return row.begin;
    } catch (const StoreError&) {
      row.target->statement.reset();
      return row.begin;
    }
    values += row.target->columns.size();
  }
  server.rowsWritten(rows_.size());
  return batch.size();
}

void RowInserts::insert(Target& target, std::string_view batch, const Value* values,
                        Outcome& outcome) {
  Server& server = session_.server;
  server.running.beginStatement();
  for (std::size_t i = 0; i < target.columns.size(); ++i) bind(target, i, batch, values[i]);
  while (target.statement.step()) {
  }
  target.statement.reset();
  const std::int64_t rows = server.catalog.store().changes();
  session_.lastError = 0;
  session_.rowCount = rows;
  if (!session_.options.noCount) outcome.count(rows);
  if (target.givesIdentity) session_.lastIdentity = server.running.lastIdentity;
}

void RowInserts::bind(Target& target, std::size_t column, std::string_view batch,
                      const Value& value) {
  if (target.columns[column].parameter == 0) return;
  const std::string_view text = batch.substr(value.begin, value.end - value.begin);
  bool isBound = false;
  switch (value.kind) {
    case Kind::Null:
      target.statement.bind(target.columns[column].parameter, Null{});
      isBound = true;
      break;
    case Kind::Integer:
    case Kind::Decimal:
    case Kind::Money:
      isBound = bindNumber(target, column, text, value);
      break;
    case Kind::Text:
      isBound = bindText(target, column, text);
      break;
    default:
      break;
  }
  if (!isBound) bindConverted(target, column, batch, value);
}

// False for numbers that are not taken as they are.
bool RowInserts::bindNumber(Target& target, std::size_t at, std::string_view digits,
                            const Value& value) {
  if (digits.size() > kExactDigits) return false;
  std::int64_t number = 0;
  std::size_t scale = 0;
  bool isBehindPoint = false;
  for (const char c : digits) {
    if (c == '.') {
      isBehindPoint = true;
      continue;
    }
    number = number * 10 + (c - '0');
    scale += isBehindPoint ? 1 : 0;
  }
  const std::int64_t whole = number / kPowers[scale];
  const bool isWhole = whole * kPowers[scale] == number;
  if (value.isNegative) number = -number;
  const double real = static_cast<double>(number) / static_cast<double>(kPowers[scale]);
  const Column& column = target.columns[at];
  Statement& statement = target.statement;
  switch (column.way) {
    case Way::Integer:
      if (scale != 0 || number < column.low || number > column.high) return false;
      statement.bind(column.parameter, number);
      return true;
    case Way::Bit:
      if (scale != 0) return false;
      statement.bind(column.parameter, std::int64_t{number != 0});
      return true;
    case Way::Exact:
      if (scale > column.scale || whole >= column.high) return false;
      if (isWhole) {
        statement.bind(column.parameter, value.isNegative ? -whole : whole);
      } else {
        statement.bind(column.parameter, real);
      }
      return true;
    case Way::Approximate:
      statement.bind(column.parameter, column.type.kind == TypeKind::Real
                                           ? static_cast<double>(static_cast<float>(real))
                                           : real);
      return true;
    default:
      return false;
  }
}

bool RowInserts::bindText(Target& target, std::size_t at, std::string_view text) {
  const Column& column = target.columns[at];
  if (column.way != Way::Text) return false;
  if (text.empty()) text = " ";
  if (!isLong(column.type.kind)) text = storedText(cutText(text, column.type));
  target.statement.bindStatic(column.parameter, text);
  return true;
}

void RowInserts::bindConverted(Target& target, std::size_t at, std::string_view batch,
                               const Value& value) {
  const std::string_view text = batch.substr(value.begin, value.end - value.begin);
  const Column& column = target.columns[at];
  const std::uint32_t line = session_.caller.line;
  const std::string written = (value.isNegative ? "-" : "") + std::string(text);
  Cell cell;
  ColumnType from;
  switch (value.kind) {
    case Kind::Text:
    case Kind::QuotedText: {
      std::string content;
      const char quote = batch[value.begin - 1];
      for (std::size_t i = 0; i < text.size(); ++i) {
        content += text[i];
        if (text[i] == quote) ++i;
      }
      if (content.empty()) content = " ";
      from = varcharType(static_cast<int>(content.size()), false);
      cell = std::move(content);
      break;
    }
    case Kind::Binary:
      cell = bytesOfHex(text);
      from = varbinaryType(static_cast<int>(text.size() + 1) / 2, false);
      break;
    case Kind::Float:
      cell = realNumber(written);
      from = floatType(false);
      break;
    default:
      cell = exactNumber(written);
      from = numberType(value.kind == Kind::Integer   ? tsql::LiteralKind::Integer
                        : value.kind == Kind::Decimal ? tsql::LiteralKind::Decimal
                                                      : tsql::LiteralKind::Money,
                        text);
      break;
  }
  target.statement.bind(column.parameter, convertCell(cell, from, column.type, 0, line));
}

}  // namespace kelvane::embedded
