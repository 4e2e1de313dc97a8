// Dates and times.

#include <cstdint>
#include <limits>
#include <optional>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/function_families.h"
#include "drivers/embedded/engine/moment.h"

namespace kelvane::embedded {
namespace {

using tsql::ServerError;

DatePart partArgument(const FunctionCall& call) { return static_cast<DatePart>(call.integer(0)); }

std::int64_t timeOfDay(std::int64_t moment) { return moment - dayOf(moment) * kMicrosecondsPerDay; }

// (part, count, moment, kind of the result). A time wraps at midnight.
void dateAdd(FunctionCall& call) {
  const auto kind = static_cast<TypeKind>(call.integer(3));
  const auto sum = addParts(call.integer(2), partArgument(call), call.integer(1));
  const auto stored = sum ? storedMoment(*sum, kind) : std::nullopt;
  if (!stored) {
    throw ServerError(message::datetimeOverflow, kUnknownLine, systemType(kind).name);
  }
  call.result(*stored);
}

}  // namespace

void registerDateFunctions(Database& store, Running& running) {
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
  add("date_add", 4, dateAdd);
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

}  // namespace kelvane::embedded
