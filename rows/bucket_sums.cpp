#include "rows/bucket_sums.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>
#include <variant>

#include "inventory/ddl/ddl.h"
#include "model/text.h"
#include "rows/stored_type.h"

namespace kelvane::rows {
namespace {

using inventory::Server;

constexpr std::int64_t kHoursOfDay = 24, kNanosecondsOfHour = 3'600'000'000'000;

// Hours from the first day of datetime are never negative, where servers round in different ways.
constexpr std::string_view kFirstDay = "'17530101'";
constexpr std::int64_t kDaysBefore1900 = 53'690;

/// Throws std::runtime_error for what no server should answer.
std::int64_t wholeNumberIn(const Cell& cell) {
  std::u16string storage;
  const ado::Value value = valueOf(cell, storage);
  const auto* const number = std::get_if<std::int64_t>(&value);
  if (number == nullptr) throw std::runtime_error("the server's checksums are none");
  return *number;
}

/// Of both sides, or none.
const StoredType* commonType(const ComparedColumn& column) {
  if (column.stored[0] != column.stored[1]) return nullptr;
  return storedTypeNamed(column.stored[0].name);
}

/// Why the values of a column cannot be hashed; empty: they can.
std::string obstacleOf(const ComparedColumn& column) {
  const StoredType* const type = commonType(column);
  if (type == nullptr) return column.name + " has two types, or one without a digest";
  if (type->isLarge) return column.name + " has a type without a digest";
  if (column.leniency.folds() || column.leniency.tolerates())
    return "not all of " + column.name + " counts";
  return {};
}

bool isWhole(const StoredType& type, const inventory::DataType& declared) {
  if (type.family != TypeFamily::exact || type.scale != 0) return false;
  // What fits in a bigint with its sign.
  constexpr int kMostDigits = 18;
  if (type.name == "numeric" || type.name == "decimal")
    return declared.scale.value_or(0) == 0 &&
           declared.precision.value_or(type.precision) <= kMostDigits;
  return type.name != "bit" && type.name != "unsigned bigint";
}

}  // namespace

std::string BucketSums::obstacle(const TablePlan& plan, const Servers& servers) {
  for (const Server* const server : servers) {
    // The catalog of scripts has what its scripts need, whatever release it says it is.
    const auto release = inventory::releaseOf(*server);
    if (!server->embedded && (!release || *release < inventory::TargetRelease::ase15))
      return "a server older than 15.0.2 has no digests";
  }
  if (plan.columns.empty()) return "there are no columns";
  const ComparedColumn& leading = plan.columns.front();
  const StoredType* const type = commonType(leading);
  const bool hasUnits =
      type != nullptr &&
      (isWhole(*type, leading.stored[0]) ||
       (type->family == TypeFamily::moment && type->parts != ado::DateTime::Parts::timeOnly));
  for (const Select& select : plan.selects) {
    if (!hasUnits || !select.cut || select.cut->isNullable)
      return "no index begins with a first column of the key that is a date, or a whole number "
             "within bigint, and never null";
  }
  for (const ComparedColumn& column : plan.columns) {
    if (std::string obstacle = obstacleOf(column); !obstacle.empty()) return obstacle;
  }
  return {};
}

BucketSums::BucketSums(const TablePlan& plan, const Servers& servers) : plan_(&plan) {
  const StoredType& type = *commonType(plan.columns.front());
  if (type.family == TypeFamily::moment)
    unit_ = type.name == "date" || type.name == "bigdatetime" ? Unit::day : Unit::hour;
  const bool isSameSet = servers[0]->characterSet == servers[1]->characterSet;
  for (const std::size_t side : {0U, 1U}) digests_[side] = digestOf(side, isSameSet);
}

std::string BucketSums::digestOf(std::size_t side, bool isSameSet) const {
  std::string digest = "hashbytes('md5'";
  for (std::size_t at = 0; at < plan_->columns.size(); ++at) {
    const std::string& column = plan_->selects[side].columns[at];
    const TypeFamily family = commonType(plan_->columns[at])->family;
    const bool isNullable =
        plan_->sourceColumns[at]->type.nullable || plan_->targetColumns[at]->type.nullable;
    // Values are hashed one behind the other, and null adds nothing: lengths tell them apart.
    const bool inCharacters = family == TypeFamily::text && !isSameSet;
    const std::string length = (inCharacters ? "char_length(" : "datalength(") + column + ")";
    if (isNullable)
      digest += ", isnull(" + length + ", -1)";
    else if (!isNumber(family) && family != TypeFamily::moment)
      digest += ", " + length;
    digest += ", " + column;
  }
  // Of the same character set the bytes themselves; of two sets what they mean.
  return digest + (isSameSet ? ", using lsb)" : ", using unicode_lsb)");
}

std::string BucketSums::units(const std::string& value) const {
  if (unit_ == Unit::number) return "convert(bigint, " + value + ")";
  return std::string("datediff(") + (unit_ == Unit::hour ? "hh" : "dd") + ", " +
         std::string(kFirstDay) + ", " + value + ")";
}

std::u16string BucketSums::extentText(std::size_t side) const {
  const Select& select = plan_->selects[side];
  const std::string& column = select.cut->column;
  return toUtf16("select " + units("min(" + column + ")") + ", " + units("max(" + column + ")") +
                 select.from() + select.where({}));
}

std::optional<BucketSums::Extent> BucketSums::readExtent(ado::Connection& connection,
                                                         std::size_t side) const {
  const auto rows = openStatement(connection, extentText(side), 2);
  if (!rows->next()) return std::nullopt;
  std::string cells;
  for (const std::size_t at : {0U, 1U}) pack(rows->value(at), Form::asItIs, cells);
  while (rows->next()) continue;
  std::string_view rest = cells;
  std::array<std::int64_t, 2> units{};
  for (std::int64_t& unit : units) {
    const Cell cell = takeCell(rest);
    if (cell.kind != CellKind::integer) return std::nullopt;
    unit = wholeNumberIn(cell);
  }
  return Extent{units[0], units[1]};
}

std::int64_t BucketSums::widthFor(const Extent& extent, std::int64_t rows,
                                  std::int64_t rowsOfBucket) {
  const auto span =
      static_cast<std::uint64_t>(extent.most) - static_cast<std::uint64_t>(extent.least);
  const auto buckets = static_cast<std::uint64_t>(std::max<std::int64_t>(rows / rowsOfBucket, 1));
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(std::min(span / buckets, kMost - 1) + 1);
}

std::u16string BucketSums::marksText(std::size_t side, std::int64_t rowsBetween,
                                     std::size_t count) const {
  const Select& select = plan_->selects[side];
  const std::string& column = select.cut->column;
  std::string text = "declare @kelvane_mark " + select.cut->type;
  for (std::size_t at = 0; at < count; ++at) {
    const bool isFirst = at == 0;
    text += " set rowcount " + std::to_string(isFirst ? 1 : rowsBetween) +
            " select @kelvane_mark = " + column + select.from() +
            select.where(isFirst ? "" : column + " > @kelvane_mark") + " order by " + column +
            " set rowcount 0 select " + units("@kelvane_mark");
  }
  return toUtf16(text);
}

std::vector<std::int64_t> BucketSums::readMarks(ado::Connection& connection, std::size_t side,
                                                std::int64_t rowsBetween, std::size_t count) const {
  std::vector<std::int64_t> marks;
  const auto answer = connection.Open(marksText(side, rowsBetween, count), ado::kClientCursor);
  do {
    if (answer->State() == ado::ObjectState::closed || answer->EndOfRows()) continue;
    std::string cells;
    pack(answer->Fields(0).Value(), Form::asItIs, cells);
    std::string_view rest = cells;
    const Cell cell = takeCell(rest);
    if (cell.kind == CellKind::integer) marks.push_back(wholeNumberIn(cell));
  } while (answer->NextRecordset());
  return marks;
}

std::int64_t BucketSums::widthAmong(const std::vector<std::int64_t>& marks,
                                    std::int64_t rowsBetween, std::int64_t rowsOfBucket) {
  std::vector<std::int64_t> widths;
  widths.reserve(marks.size());
  for (std::size_t at = 1; at < marks.size(); ++at) {
    // Behind the last row nothing is told.
    if (marks[at] != marks[at - 1])
      widths.push_back(widthFor(Extent{marks[at - 1], marks[at] - 1}, rowsBetween, rowsOfBucket));
  }
  if (widths.empty()) return 1;
  const auto middle = widths.begin() + static_cast<std::ptrdiff_t>(widths.size() / 2);
  std::ranges::nth_element(widths, middle);
  return *middle;
}

std::u16string BucketSums::text(std::size_t side, const std::string& range) const {
  const Select& select = plan_->selects[side];
  // A longer literal is a numeric, by which nothing divides without a fraction.
  std::string width = std::to_string(width_);
  if (width_ > std::numeric_limits<std::int32_t>::max()) width = "convert(bigint, " + width + ")";
  const auto sum = [](std::string_view from) {
    return "sum(convert(numeric(38,0), hextobigint(substring(digest, " + std::string(from) +
           ", 12))))";
  };
  return toUtf16("select bucket, count(*), " + sum("1") + ", " + sum("13") + " from (select " +
                 units(select.cut->column) + " / " + width + " as bucket, bintostr(" +
                 digests_[side] + ") as digest" + select.from() + select.where(range) +
                 ") as digests group by bucket order by bucket");
}

RowLayout BucketSums::layout() {
  RowLayout layout{{}, 1};
  for (std::size_t at = 0; at < kColumns; ++at) layout.cells.push_back({at});
  return layout;
}

std::string BucketSums::bound(std::size_t side, std::string_view operation, Wide wide) const {
  const auto unit = static_cast<std::int64_t>(wide);
  if (unit != wide) return {};
  const Cut& cut = *plan_->selects[side].cut;
  ado::Value value = unit;
  if (unit_ != Unit::number) {
    const std::int64_t perDay = unit_ == Unit::hour ? kHoursOfDay : 1;
    const std::int64_t hours = (unit % perDay + perDay) % perDay;
    const std::int64_t days = (unit - hours) / perDay - kDaysBefore1900;
    value = ado::DateTime{static_cast<std::int32_t>(days), hours * kNanosecondsOfHour};
  }
  const Literal literal = literalOf(value, cut.literal);
  if (!literal.isWritten()) return {};
  return cut.column + " " + std::string(operation) + " " + literal.text;
}

std::string BucketSums::condition(std::size_t side, const BucketRange& range) const {
  // Division is toward zero: bucket 0 begins behind the last unit of bucket -1.
  const Wide first = range.first, last = range.last, width = width_;
  const std::string begin = bound(side, ">=", first > 0 ? first * width : (first - 1) * width + 1);
  const std::string end = bound(side, "<", last >= 0 ? (last + 1) * width : last * width + 1);
  if (begin.empty() || end.empty()) return begin + end;
  return begin + " and " + end;
}

DifferingBuckets differingBuckets(RowStream& source, RowStream& target,
                                  const std::function<bool(std::int64_t)>& goesOn) {
  DifferingBuckets result;
  bool hasSource = source.next(), hasTarget = target.next(), wasDifferent = false;
  while (hasSource || hasTarget) {
    auto order = std::strong_ordering::equal;
    if (!hasSource || !hasTarget)
      order = hasSource ? std::strong_ordering::less : std::strong_ordering::greater;
    else
      order = orderOf(source.row().key, target.row().key);
    std::string_view cells = std::is_gt(order) ? target.row().cells : source.row().cells;
    const bool isDifferent = std::is_neq(order) || cells != target.row().cells;
    const std::int64_t bucket = wholeNumberIn(takeCell(cells));
    ++result.buckets;
    if (isDifferent) {
      ++result.differing;
      if (wasDifferent)
        result.ranges.back().last = bucket;
      else
        result.ranges.push_back({bucket, bucket});
    } else {
      const std::int64_t rows = wholeNumberIn(takeCell(cells));
      result.equalRows += rows;
      if (!goesOn(rows)) {
        result.isWhole = false;
        break;
      }
    }
    wasDifferent = isDifferent;
    if (!std::is_gt(order)) hasSource = source.next();
    if (!std::is_lt(order)) hasTarget = target.next();
  }
  return result;
}

}  // namespace kelvane::rows
