// Numbers: elementary functions, exact rounding, random numbers, statistics.

#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <optional>
#include <set>
#include <string>

#include "drivers/embedded/engine/decimal.h"
#include "drivers/embedded/engine/function_families.h"

namespace kelvane::embedded {
namespace {

using tsql::ServerError;

[[noreturn]] void overflow() { throw ServerError(message::arithmeticOverflow, kUnknownLine); }

void realResult(FunctionCall& call, double value) {
  if (std::isnan(value)) throw ServerError(message::domainError, kUnknownLine);
  if (std::isinf(value)) overflow();
  call.result(value);
}

double logarithm(double value, double (*function)(double)) {
  return value > 0 ? function(value) : std::numeric_limits<double>::quiet_NaN();
}

void registerElementary(Database& store) {
  struct Named {
    const char* name;
    double (*function)(double);
  };
  for (const Named& named : {
           Named{"real_acos", [](double x) { return std::acos(x); }},
           {"real_asin", [](double x) { return std::asin(x); }},
           {"real_atan", [](double x) { return std::atan(x); }},
           {"real_cos", [](double x) { return std::cos(x); }},
           {"real_cot", [](double x) { return 1 / std::tan(x); }},
           {"real_exp", [](double x) { return std::exp(x); }},
           {"real_log", [](double x) { return logarithm(x, std::log); }},
           {"real_log10", [](double x) { return logarithm(x, std::log10); }},
           {"real_sin", [](double x) { return std::sin(x); }},
           {"real_sqrt", [](double x) { return std::sqrt(x); }},
           {"real_square", [](double x) { return x * x; }},
           {"real_tan", [](double x) { return std::tan(x); }},
           {"real_degrees", [](double x) { return x * 180 / std::numbers::pi; }},
           {"real_radians", [](double x) { return x * std::numbers::pi / 180; }},
       }) {
    store.addFunction(named.name, 1, FunctionKind::Fixed,
                      [function = named.function](FunctionCall& call) {
                        if (!anyNull(call)) realResult(call, function(call.real(0)));
                      });
  }
  store.addFunction("real_power", 2, FunctionKind::Fixed, [](FunctionCall& call) {
    if (!anyNull(call)) realResult(call, std::pow(call.real(0), call.real(1)));
  });
  store.addFunction("real_atn2", 2, FunctionKind::Fixed, [](FunctionCall& call) {
    if (!anyNull(call)) realResult(call, std::atan2(call.real(0), call.real(1)));
  });
}

// exact numbers

Decimal digitsOf(const Cell& value) {
  auto digits = decimalOf(value);
  if (!digits) overflow();
  return *digits;
}

// Left of the point for negative `places`; halves go away from zero.
void roundTo(Decimal& value, std::int64_t places) {
  if (places >= 0) return value.round(static_cast<std::size_t>(places));
  const auto cut = static_cast<std::uint64_t>(-(places + 1)) + 1;
  if (cut > value.whole.size()) {
    value = {};
    return;
  }
  const std::size_t kept = value.whole.size() - static_cast<std::size_t>(cut);
  value.fraction = value.whole.substr(kept) + value.fraction;
  value.whole.resize(kept);
  value.round(0);
  if (!value.whole.empty()) value.whole.append(static_cast<std::size_t>(cut), '0');
  value.normalize();
}

double roundedReal(double value, std::int64_t places) {
  constexpr std::int64_t kMostPlaces = 308;
  const double unit =
      std::pow(10.0, static_cast<double>(std::clamp(places, -kMostPlaces, kMostPlaces)));
  const double scaled = value * unit;
  return std::isfinite(scaled) ? std::round(scaled) / unit : value;
}

// (value, places, whether it is exact)
void rounded(FunctionCall& call) {
  if (anyNull(call)) return;
  if (call.integer(2) == 0) return call.result(roundedReal(call.real(0), call.integer(1)));
  Decimal value = digitsOf(call.cell(0));
  roundTo(value, call.integer(1));
  call.result(cellOf(value));
}

// (value, whether it is exact)
void wholeAbove(FunctionCall& call) {
  if (anyNull(call)) return;
  if (call.integer(1) == 0) return call.result(std::ceil(call.real(0)));
  Decimal value = digitsOf(call.cell(0));
  const bool goesUp = !value.fraction.empty() && !value.negative;
  value.truncate(0);
  call.result(cellOf(goesUp ? calculated('+', value, {false, "1", ""}, 0) : value));
}

void wholeBelow(FunctionCall& call) {
  if (anyNull(call)) return;
  if (call.integer(1) == 0) return call.result(std::floor(call.real(0)));
  Decimal value = digitsOf(call.cell(0));
  const bool goesDown = !value.fraction.empty() && value.negative;
  value.truncate(0);
  call.result(cellOf(goesDown ? calculated('-', value, {false, "1", ""}, 0) : value));
}

void magnitude(FunctionCall& call) {
  if (anyNull(call)) return;
  if (call.integer(1) == 0) return call.result(std::abs(call.real(0)));
  Decimal value = digitsOf(call.cell(0));
  value.negative = false;
  call.result(cellOf(value));
}

void signOf(FunctionCall& call) {
  if (anyNull(call)) return;
  const double value = call.real(0);
  call.result(value > 0 ? 1 : value < 0 ? -1 : 0);
}

// random numbers

double nextRandom(std::uint64_t& state) {
  // The linear congruential generator of the POSIX drand48 family.
  constexpr std::uint64_t kFactor = 0x5DEECE66D, kAddend = 0xB, kMask = (1ULL << 48) - 1;
  state = (state * kFactor + kAddend) & kMask;
  return static_cast<double>(state) / static_cast<double>(kMask + 1);
}

// (seed or null, whether each row gets its own)
void random(FunctionCall& call, Running& running) {
  if (!call.isNull(0)) {
    running.random = static_cast<std::uint64_t>(call.integer(0)) << 16;
    return call.result(nextRandom(running.random));
  }
  if (call.integer(1) != 0) return call.result(nextRandom(running.random));
  if (!running.statementsRandom) running.statementsRandom = nextRandom(running.random);
  call.result(*running.statementsRandom);
}

// statistics

// Mean and squared distances as the values come, without sums that cancel each other out.
class Spread final : public Aggregate {
 public:
  Spread(bool ofSample, bool isDeviation) : ofSample_(ofSample), isDeviation_(isDeviation) {}
  void step(FunctionCall& row) override {
    if (row.isNull(0)) return;
    const double value = row.real(0);
    ++count_;
    const double distance = value - mean_;
    mean_ += distance / static_cast<double>(count_);
    squares_ += distance * (value - mean_);
  }
  Cell finish() override {
    if (count_ == 0) return {};
    if (count_ == 1) return 0.0;
    const double variance = squares_ / static_cast<double>(count_ - (ofSample_ ? 1 : 0));
    return isDeviation_ ? std::sqrt(variance) : variance;
  }

 private:
  bool ofSample_;
  bool isDeviation_;
  std::int64_t count_ = 0;
  double mean_ = 0;
  double squares_ = 0;
};

void registerStatistics(Database& store) {
  struct Named {
    const char* name;
    bool ofSample, isDeviation;
  };
  for (const Named& named : {Named{"deviation_of_sample", true, true},
                             {"deviation_of_all", false, true},
                             {"variance_of_sample", true, false},
                             {"variance_of_all", false, false}}) {
    store.addAggregate(named.name, 1, [named]() -> std::unique_ptr<Aggregate> {
      return std::make_unique<Spread>(named.ofSample, named.isDeviation);
    });
  }
}

}  // namespace

void registerNumberFunctions(Database& store, Running& running) {
  registerElementary(store);
  registerStatistics(store);
  store.addFunction("rounded", 3, FunctionKind::Fixed, rounded);
  store.addFunction("whole_above", 2, FunctionKind::Fixed, wholeAbove);
  store.addFunction("whole_below", 2, FunctionKind::Fixed, wholeBelow);
  store.addFunction("magnitude", 2, FunctionKind::Fixed, magnitude);
  store.addFunction("sign_of", 1, FunctionKind::Fixed, signOf);
  store.addFunction("random_number", 2, FunctionKind::Volatile,
                    [&running](FunctionCall& call) { random(call, running); });
}

}  // namespace kelvane::embedded
