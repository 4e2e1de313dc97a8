#include "drivers/embedded/engine/functions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "drivers/embedded/catalog/pattern.h"
#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/decimal.h"
#include "drivers/embedded/engine/function_families.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/engine/typing.h"

namespace kelvane::embedded {
namespace {

using tsql::ServerError;

void asType(FunctionCall& call) {
  if (call.isNull(0)) return;
  int at = 1;
  const auto next = [&] { return static_cast<int>(call.integer(at++)); };
  const auto described = [&] {
    ColumnType type;
    type.kind = static_cast<TypeKind>(next());
    type.length = next();
    const int precision = next(), scale = next();
    if (precision != 0) type.precision = precision, type.scale = scale;
    return type;
  };
  const ColumnType from = described();
  ColumnType to = described();
  to.nullable = next() != 0;
  const int style = next();
  call.result(convertCell(call.cell(0), from, to, style, kUnknownLine));
}

void withoutZeros(FunctionCall& call) {
  if (call.isNull(0)) return;
  Cell cell = call.cell(0);
  if (auto* bytes = std::get_if<Blob>(&cell)) {
    while (!bytes->empty() && bytes->back() == std::byte{0}) bytes->pop_back();
    if (bytes->empty()) bytes->resize(1);
  }
  call.result(cell);
}

// (value, kind)
void inRange(FunctionCall& call) {
  if (call.isNull(0)) return;
  const std::int64_t value = call.integer(0);
  if (!isInRange(value, static_cast<TypeKind>(call.integer(1)))) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  call.result(value);
}

// SQLite goes on with floating point where its integers end.
void inBigint(FunctionCall& call) {
  const Cell cell = call.cell(0);
  if (std::holds_alternative<double>(cell)) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  call.result(cell);
}

// (operator, a, b): the operators of 64 bits without a sign, which SQLite does not have. The
// divisor is not zero.
void unsignedResult(FunctionCall& call) {
  if (anyNull(call)) return;
  const auto natural = [&](int argument) -> __int128 {
    const Cell cell = call.cell(argument);
    if (const auto* number = std::get_if<std::int64_t>(&cell)) return *number;
    std::uint64_t value = 0;
    const std::string_view digits = call.text(argument);
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return value;
  };
  const __int128 a = natural(1), b = natural(2);
  __int128 result = 0;
  bool overflows = false;
  switch (call.text(0)[0]) {
    case '+':
      result = a + b;
      break;
    case '-':
      result = a - b;
      break;
    case '*':
      overflows = __builtin_mul_overflow(a, b, &result);
      break;
    case '/':
      result = a / b;
      break;
    case '%':
      result = a % b;
      break;
    case '&':
      result = a & b;
      break;
    case '|':
      result = a | b;
      break;
    default:
      result = a ^ b;
  }
  if (overflows || result < 0 || result > std::numeric_limits<std::uint64_t>::max()) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  call.result(cellOfNatural(static_cast<std::uint64_t>(result)));
}

// SQLite has no operator for it.
void exclusiveOr(FunctionCall& call) {
  if (!anyNull(call)) call.result(call.integer(0) ^ call.integer(1));
}

void divisor(FunctionCall& call) {
  if (call.isNull(0)) return;
  if (call.real(0) == 0) throw ServerError(message::divisionByZero, kUnknownLine);
  call.result(call.cell(0));
}

Decimal decimalArgument(const FunctionCall& call, int argument) {
  const auto decimal = decimalOf(call.cell(argument));
  if (!decimal) throw ServerError(message::arithmeticOverflow, kUnknownLine);
  return *decimal;
}

// (operator, a, b, digits before the point, digits behind it)
void exact(FunctionCall& call) {
  if (anyNull(call)) return;
  const auto scale = static_cast<std::size_t>(call.integer(4));
  Decimal result =
      calculated(call.text(0)[0], decimalArgument(call, 1), decimalArgument(call, 2), scale);
  result.round(scale);
  if (static_cast<std::int64_t>(result.whole.size()) > call.integer(3)) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  call.result(cellOf(result));
}

void decimalKey(FunctionCall& call) {
  if (!call.isNull(0)) call.result(std::string_view(sortKey(decimalArgument(call, 0))));
}

// The sum, the least or the greatest of exact numbers.
class ExactAggregate final : public Aggregate {
 public:
  explicit ExactAggregate(char kind) : kind_(kind) {}
  void step(FunctionCall& row) override {
    if (row.isNull(0)) return;
    Decimal value = decimalArgument(row, 0);
    if (kind_ == '+') {
      result_ = result_ ? calculated('+', *result_, value, 0) : std::move(value);
      return;
    }
    std::string key = sortKey(value);
    if (result_ && (kind_ == '<') != (key < key_)) return;
    result_ = std::move(value);
    key_ = std::move(key);
  }
  Cell finish() override { return result_ ? cellOf(*result_) : Cell{}; }

 private:
  char kind_;
  std::optional<Decimal> result_;
  std::string key_;
};

void registerDecimals(Database& store) {
  store.addFunction("exact", 5, FunctionKind::Fixed, exact);
  store.addFunction("decimal_key", 1, FunctionKind::Fixed, decimalKey);
  struct Named {
    const char* name;
    char kind;
  };
  for (const Named& named :
       {Named{"exact_sum", '+'}, Named{"exact_min", '<'}, Named{"exact_max", '>'}}) {
    store.addAggregate(named.name, 1, [kind = named.kind]() -> std::unique_ptr<Aggregate> {
      return std::make_unique<ExactAggregate>(kind);
    });
  }
}

void required(FunctionCall& call) {
  if (call.isNull(0)) {
    throw ServerError(message::nullInserted, kUnknownLine, call.text(1), call.text(2));
  }
  call.result(call.cell(0));
}

// Blanks may be cut off.
void uncut(FunctionCall& call) {
  const std::string_view text = call.isNull(0) ? std::string_view() : call.text(0);
  ColumnType type;
  type.kind = static_cast<TypeKind>(call.integer(1));
  type.length = static_cast<int>(call.integer(2));
  const auto kept = cutText(text, type).size();
  if (text.find_first_not_of(' ', kept) != std::string_view::npos) {
    throw ServerError(message::textTruncated, kUnknownLine);
  }
  call.result(call.cell(3));
}

// What is unknown breaks no rule.
void obeyed(FunctionCall& call) {
  if (!call.isNull(0) && call.integer(0) == 0) {
    const auto broken = static_cast<message::Index>(call.integer(1));
    throw ServerError(message::ServerMessage(broken, std::string(call.text(2))), kUnknownLine);
  }
  call.result(1);
}

void matches(FunctionCall& call) {
  if (anyNull(call)) return;
  std::optional<char> escape;
  if (call.count() == 3 && !call.text(2).empty()) escape = call.text(2)[0];
  call.result(matchesLike(call.text(0), call.text(1), escape) ? 1 : 0);
}

// Where a pattern goes on behind its first `%`, which within brackets is one of their characters.
std::size_t afterPercent(std::string_view pattern) {
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    if (pattern[at] == '%') return at + 1;
    if (pattern[at] == '[') at = std::min(pattern.find(']', at), pattern.size());
  }
  return pattern.size();
}

// (pattern, text, `bytes` or another word)
void patternIndex(FunctionCall& call) {
  if (call.isNull(0)) return;
  if (call.isNull(1)) return call.result(0);
  const std::string pattern(call.text(0));
  const std::string_view text = call.text(1);
  const Characters characters(text);
  const auto position = [&](std::int64_t at) {
    if (call.text(2) != "bytes") return at + 1;
    return static_cast<std::int64_t>(characters.part(0, at).size()) + 1;
  };
  const bool anywhere = pattern.starts_with('%');
  const std::string rest = anywhere ? pattern.substr(1) : pattern;
  // What comes behind a `%` is found behind the first place where the text before it is, or
  // nowhere.
  const std::string head = rest.substr(0, afterPercent(rest));
  for (std::int64_t at = 0; at < characters.count(); ++at) {
    const std::string_view end = characters.part(at, characters.count());
    if (matchesLike(end, head)) {
      call.result(head == rest || matchesLike(end, rest) ? position(at) : 0);
      return;
    }
    if (!anywhere) break;
  }
  call.result(0);
}

// (text to look for, text to look in, where to begin or null)
void textIndex(FunctionCall& call) {
  if (call.isNull(0) || call.isNull(1)) return;
  const std::string_view text = call.text(1);
  const Characters characters(text);
  const std::int64_t start =
      call.isNull(2) ? 0 : std::clamp<std::int64_t>(call.integer(2) - 1, 0, characters.count());
  const auto found = text.find(call.text(0), characters.part(0, start).size());
  call.result(found == std::string_view::npos ? 0 : Characters(text.substr(0, found)).count() + 1);
}

void partOfText(FunctionCall& call) {
  if (anyNull(call)) return;
  const std::int64_t start = std::max<std::int64_t>(call.integer(1), 1) - 1;
  const std::int64_t length = call.integer(2);
  if (length <= 0) return;
  const Cell cell = call.cell(0);
  if (const auto* bytes = std::get_if<Blob>(&cell)) {
    const auto size = static_cast<std::int64_t>(bytes->size());
    if (start >= size) return;
    const auto end = start + std::min(length, size - start);
    call.result(Cell(Blob(bytes->begin() + start, bytes->begin() + end)));
    return;
  }
  textResult(call, Characters(call.text(0)).part(start, length));
}

void endOfText(FunctionCall& call) {
  if (anyNull(call)) return;
  const Characters characters(call.text(0));
  const auto length = std::clamp<std::int64_t>(call.integer(1), 0, characters.count());
  textResult(call, characters.part(characters.count() - length, length));
}

void replaced(FunctionCall& call) {
  if (call.isNull(0) || call.isNull(1)) return;
  const std::string_view text = call.text(0), wanted = call.text(1), instead = call.text(2);
  std::string result;
  std::size_t at = 0;
  while (!wanted.empty() && result.size() < kLongest) {
    const auto found = text.find(wanted, at);
    if (found == std::string_view::npos) break;
    result.append(text.substr(at, found - at)).append(instead);
    at = found + wanted.size();
  }
  result += text.substr(at);
  textResult(call, cutText(result, kLongest));
}

void repeated(FunctionCall& call) {
  if (anyNull(call)) return;
  std::string text;
  const std::size_t length = call.text(0).size();
  if (length == 0) return;
  for (std::int64_t i = 0; i < call.integer(1) && text.size() + length <= kLongest; ++i) {
    text += call.text(0);
  }
  textResult(call, text);
}

void reversed(FunctionCall& call) {
  if (anyNull(call)) return;
  const Characters characters(call.text(0));
  std::string text;
  for (std::int64_t at = characters.count() - 1; at >= 0; --at) text += characters.part(at, 1);
  textResult(call, text);
}

void stuffed(FunctionCall& call) {
  if (call.isNull(0) || call.isNull(1) || call.isNull(2)) return;
  const Characters characters(call.text(0));
  const std::int64_t start = call.integer(1) - 1, length = call.integer(2);
  if (start < 0 || length < 0 || start >= characters.count()) return;
  std::string text(characters.part(0, start));
  if (!call.isNull(3)) text += call.text(3);
  text += characters.part(start + length, characters.count());
  textResult(call, cutText(text, kLongest));
}

void registerTexts(Database& store) {
  const auto add = [&](const char* name, int count, void (*function)(FunctionCall&)) {
    store.addFunction(name, count, FunctionKind::Fixed, function);
  };
  add("as_type", 11, asType);
  add("without_zeros", 1, withoutZeros);
  add("in_range", 2, inRange);
  add("in_bigint", 1, inBigint);
  add("unsigned_result", 3, unsignedResult);
  add("exclusive_or", 2, exclusiveOr);
  add("divisor", 1, divisor);
  add("required", 3, required);
  store.addFunction("uncut", 4, FunctionKind::Volatile, uncut);
  store.addFunction("obeyed", 3, FunctionKind::Volatile, obeyed);
  add("matches", 2, matches);
  add("matches", 3, matches);
  add("pattern_index", 3, patternIndex);
  add("part_of_text", 3, partOfText);
  add("end_of_text", 2, endOfText);
  add("repeated", 2, repeated);
  add("replaced", 3, replaced);
  add("reversed", 1, reversed);
  add("stuffed", 4, stuffed);
  add("text_index", 3, textIndex);
}

DatePart partArgument(const FunctionCall& call) { return static_cast<DatePart>(call.integer(0)); }

std::int64_t timeOfDay(std::int64_t moment) { return moment - dayOf(moment) * kMicrosecondsPerDay; }

void registerDates(Database& store, Running& running) {
  const auto add = [&](const char* name, int count, auto function) {
    store.addFunction(name, count, FunctionKind::Fixed, [function](FunctionCall& call) {
      if (!anyNull(call)) function(call);
    });
  };
  add("date_part", 2,
      [](FunctionCall& call) { call.result(partOf(call.integer(1), partArgument(call))); });
  add("date_name", 2, [](FunctionCall& call) {
    call.result(std::string_view(partName(call.integer(1), partArgument(call))));
  });
  add("date_add", 3, [](FunctionCall& call) {
    const auto sum = addParts(call.integer(2), partArgument(call), call.integer(1));
    if (!sum) {
      throw ServerError(message::datetimeOverflow, kUnknownLine);
    }
    call.result(*sum);
  });
  add("date_diff", 3, [](FunctionCall& call) {
    const DatePart part = partArgument(call);
    const std::int64_t count = partsBetween(part, call.integer(1), call.integer(2));
    const bool fits = count >= std::numeric_limits<std::int32_t>::min() &&
                      count <= std::numeric_limits<std::int32_t>::max();
    if (!fits && part != DatePart::Microsecond) {
      throw ServerError(message::differenceOverflow, kUnknownLine);
    }
    call.result(count);
  });
  add("ticks_of", 1, [](FunctionCall& call) { call.result(roundToTicks(call.integer(0))); });
  add("time_of", 1, [](FunctionCall& call) { call.result(timeOfDay(call.integer(0))); });
  add("day_of", 1,
      [](FunctionCall& call) { call.result(dayOf(call.integer(0)) * kMicrosecondsPerDay); });
  store.addFunction("now_moment", 0, FunctionKind::Volatile, [&running](FunctionCall& call) {
    if (!running.now) running.now = currentMoment();
    call.result(*running.now);
  });
}

// The object looked up last: queries ask for the same one in every row.
struct FoundObject {
  std::string name;
  int uid = 0;
  std::string database;
  std::uint64_t namesVersion = 0;
  std::optional<ObjectInfo> object;

  bool answers(std::string_view wanted, const Caller& caller, std::uint64_t version) const {
    return name == wanted && uid == caller.uid && database == caller.database &&
           namesVersion == version;
  }
};

std::string_view lastPart(std::string_view name) {
  name = name.substr(name.rfind('.') + 1);
  return name.substr(0, name.find_last_not_of(' ') + 1);
}

// Tables of the same definition have the same id, below those of other objects.
std::optional<ObjectInfo> temporaryObject(const Session& session, const std::string& name) {
  const auto found = session.temporaries.find(name);
  if (found == session.temporaries.end()) return std::nullopt;
  constexpr int kFirst = 1000, kSpan = 10'000'000;
  ObjectInfo object;
  object.id = kFirst + static_cast<int>(found->second.definition % kSpan);
  object.type = "U";
  object.name = name;
  return object;
}

void registerLookups(Catalog& catalog, Running& running) {
  Database& store = catalog.store();
  const auto object = [&catalog, &running, last = std::make_shared<FoundObject>()](
                          const FunctionCall& call) -> const std::optional<ObjectInfo>& {
    const Caller& caller = *running.caller;
    // Temporary tables come and go without a change of the names of others.
    const std::string_view name = lastPart(call.text(0));
    if (name.starts_with('#')) {
      *last = {};
      last->object = temporaryObject(*running.session, std::string(name));
      return last->object;
    }
    if (!last->answers(call.text(0), caller, running.namesVersion)) {
      *last = {std::string(call.text(0)), caller.uid, caller.database, running.namesVersion,
               catalog.findObject(call.text(0), caller)};
    }
    return last->object;
  };
  store.addFunction("object_id_of", 1, FunctionKind::Fixed, [object](FunctionCall& call) {
    if (anyNull(call)) return;
    if (const auto& found = object(call)) call.result(found->id);
  });
  store.addFunction("index_column", 3, FunctionKind::Fixed, [object, &catalog](FunctionCall& call) {
    if (anyNull(call)) return;
    const auto& found = object(call);
    if (!found) return;
    const auto name = catalog.indexColumn(found->id, static_cast<int>(call.integer(1)),
                                          static_cast<int>(call.integer(2)));
    if (name) call.result(std::string_view(*name));
  });
  store.addFunction("index_order", 3, FunctionKind::Fixed, [object, &catalog](FunctionCall& call) {
    if (anyNull(call)) return;
    const auto& found = object(call);
    const int indid = static_cast<int>(call.integer(1));
    const int key = static_cast<int>(call.integer(2));
    if (!found || !catalog.indexColumn(found->id, indid, key)) return;
    const bool descending = catalog.isDescendingKey(found->id, indid, key);
    call.result(std::string_view(descending ? "DESC" : "ASC"));
  });
}

std::int64_t nextIdentity(Database& store, Running& running, const std::string& table,
                          std::string_view column) {
  constexpr std::size_t kMostTables = 1000;
  if (running.identities.size() > kMostTables) running.identities.clear();
  Running::Identities& known = running.identities[table];
  if (known.statement != running.statement) {
    const bool goesOn = known.last != 0 && known.changes + known.given == store.totalChanges() &&
                        known.rollbacks == store.rollbacks() &&
                        known.namesVersion == running.namesVersion;
    if (!goesOn) {
      Statement highest = store.prepare("SELECT max(" + std::string(column) + ") FROM " + table);
      known.last = highest.step() ? highest.integer(0) : 0;
    }
    known = {known.last,          0, running.statement, store.totalChanges(), store.rollbacks(),
             running.namesVersion};
  }
  ++known.given;
  return ++known.last;
}

void registerSession(Database& store, Running& running) {
  store.addFunction("quit_session", 0, FunctionKind::Volatile,
                    [](FunctionCall&) { throw ServerError(message::sessionEnded, kUnknownLine); });
  store.addFunction("current_variable", 1, FunctionKind::Volatile, [&running](FunctionCall& call) {
    const auto found = running.variables->find(call.text(0));
    if (found != running.variables->end()) call.result(found->second.value);
  });
  store.addFunction("next_identity", 2, FunctionKind::Volatile,
                    [&store, &running](FunctionCall& call) {
                      const std::string table(call.text(0));
                      running.lastIdentity = nextIdentity(store, running, table, call.text(1));
                      call.result(running.lastIdentity);
                    });
}

}  // namespace

void registerSchemaFunctions(Database& store, Running& running) {
  constexpr int kAnyCount = -1;
  store.addFunction(
      "schema_function", kAnyCount, FunctionKind::Volatile, [&running](FunctionCall& call) {
        Row arguments;
        for (int i = 1; i < call.count(); ++i) arguments.push_back(call.cell(i));
        call.result(running.call(*running.session, static_cast<int>(call.integer(0)), arguments));
      });
}

void registerFunctions(Catalog& catalog, Running& running) {
  registerSchemaFunctions(catalog.store(), running);
  registerTexts(catalog.store());
  registerTextFunctions(catalog.store());
  registerNumberFunctions(catalog.store(), running);
  registerCatalogFunctions(catalog, running);
  registerDecimals(catalog.store());
  registerDates(catalog.store(), running);
  registerLookups(catalog, running);
  registerSession(catalog.store(), running);
}

}  // namespace kelvane::embedded
