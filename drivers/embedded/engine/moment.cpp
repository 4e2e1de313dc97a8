#include "drivers/embedded/engine/moment.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <vector>

#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {
namespace {

constexpr std::array<const char*, 12> kMonths = {"January",   "February", "March",    "April",
                                                 "May",       "June",     "July",     "August",
                                                 "September", "October",  "November", "December"};
constexpr std::array<const char*, 7> kWeekdays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                  "Thursday", "Friday", "Saturday"};

// Days from 1970-01-01 to 1900-01-01.
constexpr std::int64_t kUnixOffsetDays = 25567;

std::int64_t floorDivide(std::int64_t a, std::int64_t b) {
  return a / b - (a % b != 0 && (a < 0) != (b < 0) ? 1 : 0);
}

std::int64_t dayNumber(int year, int month, int day) {
  using namespace std::chrono;
  const sys_days days{std::chrono::year{year} / static_cast<unsigned>(month) /
                      static_cast<unsigned>(day)};
  return days.time_since_epoch().count() + kUnixOffsetDays;
}

bool validDate(int year, int month, int day) {
  using namespace std::chrono;
  return year >= 1 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 && day <= 31 &&
         (std::chrono::year{year} / static_cast<unsigned>(month) / static_cast<unsigned>(day)).ok();
}

// The words, numbers and marks of a date text.
struct Piece {
  enum class Kind { Number, Word, Mark } kind;
  std::string text;
};

std::vector<Piece> pieces(std::string_view text) {
  std::vector<Piece> result;
  for (std::size_t at = 0; at < text.size();) {
    const auto start = at;
    const auto is = [&](int (*test)(int)) {
      return at < text.size() && test(static_cast<unsigned char>(text[at])) != 0;
    };
    if (is(std::isdigit)) {
      while (is(std::isdigit)) ++at;
      result.push_back({Piece::Kind::Number, std::string(text.substr(start, at - start))});
    } else if (is(std::isalpha)) {
      while (is(std::isalpha)) ++at;
      result.push_back({Piece::Kind::Word, tsql::lowerCase(text.substr(start, at - start))});
    } else {
      if (!is(std::isspace)) result.push_back({Piece::Kind::Mark, std::string(1, text[at])});
      ++at;
    }
  }
  return result;
}

std::optional<int> monthNamed(const std::string& word) {
  for (std::size_t i = 0; i < kMonths.size(); ++i) {
    const auto name = tsql::lowerCase(kMonths[i]);
    if (word == name || word == name.substr(0, 3)) return static_cast<int>(i) + 1;
  }
  return std::nullopt;
}

int expandYear(const std::string& digits) {
  const int year = std::stoi(digits);
  if (digits.size() > 2) return year;
  return year < 50 ? 2000 + year : 1900 + year;
}

// Reads a date text piece by piece. Numbers followed by a colon, or a number before am/pm, are the
// time of day; what is left is the date.
class MomentParser {
 public:
  explicit MomentParser(std::string_view text) : pieces_(pieces(text)) {}

  std::optional<Moment> parse() {
    while (at_ < pieces_.size()) {
      if (!(startsTime() ? readTime() : readDatePiece())) return std::nullopt;
    }
    if (!settleDate() || !validDate(time_.year, time_.month, time_.day)) return std::nullopt;
    if (time_.hour > 23 || time_.minute > 59 || time_.second > 59) return std::nullopt;
    return momentOf(time_);
  }

 private:
  bool isMark(std::size_t at, const char* mark) const {
    return at < pieces_.size() && pieces_[at].kind == Piece::Kind::Mark && pieces_[at].text == mark;
  }
  bool isNumber(std::size_t at) const {
    return at < pieces_.size() && pieces_[at].kind == Piece::Kind::Number &&
           pieces_[at].text.size() <= 9;
  }
  bool isMeridian(std::size_t at) const {
    return at < pieces_.size() && (pieces_[at].text == "am" || pieces_[at].text == "pm");
  }

  bool startsTime() const { return isNumber(at_) && (isMark(at_ + 1, ":") || isMeridian(at_ + 1)); }

  bool readTime() {
    time_.hour = std::stoi(pieces_[at_++].text);
    for (int* part : {&time_.minute, &time_.second}) {
      if (!isMark(at_, ":")) break;
      if (!isNumber(at_ + 1)) return false;
      *part = std::stoi(pieces_[at_ + 1].text);
      at_ += 2;
    }
    if ((isMark(at_, ".") || isMark(at_, ":")) && isNumber(at_ + 1)) {
      // After a colon the number counts milliseconds, after a point it is a fraction.
      std::string digits = pieces_[at_ + 1].text;
      if (isMark(at_, ":")) digits.insert(0, digits.size() < 3 ? 3 - digits.size() : 0, '0');
      digits.resize(6, '0');
      time_.microsecond = std::stoi(digits);
      at_ += 2;
    }
    if (isMeridian(at_)) {
      if (time_.hour < 1 || time_.hour > 12) return false;
      time_.hour = time_.hour % 12 + (pieces_[at_].text == "pm" ? 12 : 0);
      ++at_;
    }
    return true;
  }

  bool readDatePiece() {
    const Piece& piece = pieces_[at_++];
    if (piece.kind == Piece::Kind::Number) {
      if (piece.text.size() > 9) return false;
      numbers_.push_back(piece.text);
      return numbers_.size() <= 3;
    }
    if (piece.kind == Piece::Kind::Word) {
      if (piece.text == "t" && !numbers_.empty()) return true;
      const auto month = monthNamed(piece.text);
      if (!month || month_) return false;
      month_ = month;
      return true;
    }
    return piece.text == "/" || piece.text == "-" || piece.text == "." || piece.text == ",";
  }

  bool settleDate() {
    if (numbers_.empty()) return !month_;
    if (month_) return settleNamedMonth();
    if (numbers_.size() == 1) return settleUnseparated(numbers_[0]);
    if (numbers_.size() != 3) return false;
    const bool yearFirst = numbers_[0].size() == 4;
    const std::string& year = yearFirst ? numbers_[0] : numbers_[2];
    if (year.size() > 4) return false;
    time_.year = expandYear(year);
    time_.month = std::stoi(numbers_[yearFirst ? 1 : 0]);
    time_.day = std::stoi(numbers_[yearFirst ? 2 : 1]);
    return true;
  }

  bool settleNamedMonth() {
    time_.month = *month_;
    if (numbers_.size() == 1) {
      if (numbers_[0].size() != 4) return false;
      time_.year = std::stoi(numbers_[0]);
      return true;
    }
    if (numbers_.size() != 2) return false;
    const bool yearFirst = numbers_[0].size() == 4;
    if (numbers_[yearFirst ? 0 : 1].size() > 4) return false;
    time_.year = expandYear(numbers_[yearFirst ? 0 : 1]);
    time_.day = std::stoi(numbers_[yearFirst ? 1 : 0]);
    return true;
  }

  bool settleUnseparated(const std::string& digits) {
    if (digits.size() == 4) {
      time_.year = std::stoi(digits);
      return true;
    }
    if (digits.size() != 6 && digits.size() != 8) return false;
    const auto yearDigits = digits.size() - 4;
    time_.year = expandYear(digits.substr(0, yearDigits));
    time_.month = std::stoi(digits.substr(yearDigits, 2));
    time_.day = std::stoi(digits.substr(yearDigits + 2, 2));
    return true;
  }

  std::vector<Piece> pieces_;
  std::size_t at_ = 0;
  std::vector<std::string> numbers_;
  std::optional<int> month_;
  CalendarTime time_;
};

// Letters of a style's pattern: y/Y two or four digits of the year, m month, b its short name, d
// day, e day padded with a blank, h hour, l hour of twelve padded with a blank, i minute, s second,
// f milliseconds, u microseconds, p AM or PM; anything else stands for itself.
struct Style {
  int number;
  const char* pattern;
};
constexpr std::array kStyles = {
    Style{0, "b e Y l:ip"},     Style{1, "m/d/y"},         Style{2, "y.m.d"},
    Style{3, "d/m/y"},          Style{4, "d.m.y"},         Style{5, "d-m-y"},
    Style{6, "d b y"},          Style{7, "b d, y"},        Style{8, "h:i:s"},
    Style{9, "b e Y l:i:s:fp"}, Style{10, "m-d-y"},        Style{11, "y/m/d"},
    Style{12, "ymd"},           Style{13, "y/d/m"},        Style{14, "m/y/d"},
    Style{15, "d/y/m"},         Style{16, "b d Y h:i:s"},  Style{17, "l:ip"},
    Style{18, "h:i"},           Style{19, "l:i:s:fp"},     Style{20, "h:i:s:f"},
    Style{21, "y/m/d h:i:s"},   Style{22, "y/m/d l:ip"},   Style{23, "Y-m-dTh:i:s"},
    Style{36, "l:i:s.up"},      Style{37, "h:i:s.u"},      Style{38, "b e Y l:i:s.up"},
    Style{39, "b e Y h:i:s.u"}, Style{40, "Y-m-d h:i:s.u"}};

const char* patternOf(int style) {
  const int wanted = style >= 100 ? style - 100 : style;
  const auto found = std::find_if(kStyles.begin(), kStyles.end(),
                                  [&](const Style& s) { return s.number == wanted; });
  return found == kStyles.end() ? kStyles[0].pattern : found->pattern;
}

std::string digits(int value, const char* form) {
  std::array<char, 16> buffer{};
  std::snprintf(buffer.data(), buffer.size(), form, value);
  return buffer.data();
}

}  // namespace

Moment momentOf(const CalendarTime& time) {
  return dayNumber(time.year, time.month, time.day) * kMicrosecondsPerDay +
         time.hour * kMicrosecondsPerHour + time.minute * kMicrosecondsPerMinute +
         time.second * kMicrosecondsPerSecond + time.microsecond;
}

std::int64_t dayOf(Moment moment) { return floorDivide(moment, kMicrosecondsPerDay); }

CalendarTime calendarOf(Moment moment) {
  using namespace std::chrono;
  const auto day = dayOf(moment);
  const year_month_day date{sys_days{days{day - kUnixOffsetDays}}};
  auto rest = moment - day * kMicrosecondsPerDay;
  const auto take = [&](Moment unit) {
    const auto count = rest / unit;
    rest %= unit;
    return static_cast<int>(count);
  };
  CalendarTime time;
  time.year = static_cast<int>(date.year());
  time.month = static_cast<int>(static_cast<unsigned>(date.month()));
  time.day = static_cast<int>(static_cast<unsigned>(date.day()));
  time.hour = take(kMicrosecondsPerHour);
  time.minute = take(kMicrosecondsPerMinute);
  time.second = take(kMicrosecondsPerSecond);
  time.microsecond = static_cast<int>(rest);
  return time;
}

Moment roundToTicks(Moment moment) {
  const auto day = dayOf(moment) * kMicrosecondsPerDay;
  const auto ticks = ((moment - day) * 3 + 5000) / 10'000;
  return day + ticks * 10'000 / 3;
}

Moment roundToMinutes(Moment moment) {
  return floorDivide(moment + 30 * kMicrosecondsPerSecond, kMicrosecondsPerMinute) *
         kMicrosecondsPerMinute;
}

std::optional<Moment> parseMoment(std::string_view text) { return MomentParser(text).parse(); }

std::string formatMoment(Moment moment, int style) {
  const CalendarTime t = calendarOf(moment);
  const int hourOfTwelve = t.hour % 12 == 0 ? 12 : t.hour % 12;
  const bool longYear = style >= 100;
  std::string result;
  for (const char* c = patternOf(style); *c != '\0'; ++c) {
    switch (*c) {
      case 'Y':
        result += digits(t.year, "%04d");
        break;
      case 'y':
        result += longYear ? digits(t.year, "%04d") : digits(t.year % 100, "%02d");
        break;
      case 'm':
        result += digits(t.month, "%02d");
        break;
      case 'b':
        result += std::string(kMonths[static_cast<std::size_t>(t.month - 1)], 3);
        break;
      case 'd':
        result += digits(t.day, "%02d");
        break;
      case 'e':
        result += digits(t.day, "%2d");
        break;
      case 'h':
        result += digits(t.hour, "%02d");
        break;
      case 'l':
        result += digits(hourOfTwelve, "%2d");
        break;
      case 'i':
        result += digits(t.minute, "%02d");
        break;
      case 's':
        result += digits(t.second, "%02d");
        break;
      case 'f':
        result += digits(t.microsecond / 1000, "%03d");
        break;
      case 'u':
        result += digits(t.microsecond, "%06d");
        break;
      case 'p':
        result += t.hour < 12 ? "AM" : "PM";
        break;
      default:
        result += *c;
    }
  }
  return result;
}

std::optional<DatePart> datePart(std::string_view word) {
  struct Name {
    std::string_view shortName, longName;
    DatePart part;
  };
  static constexpr std::array kNames = {Name{"yy", "year", DatePart::Year},
                                        Name{"qq", "quarter", DatePart::Quarter},
                                        Name{"mm", "month", DatePart::Month},
                                        Name{"dy", "dayofyear", DatePart::DayOfYear},
                                        Name{"dd", "day", DatePart::Day},
                                        Name{"wk", "week", DatePart::Week},
                                        Name{"dw", "weekday", DatePart::Weekday},
                                        Name{"hh", "hour", DatePart::Hour},
                                        Name{"mi", "minute", DatePart::Minute},
                                        Name{"ss", "second", DatePart::Second},
                                        Name{"ms", "millisecond", DatePart::Millisecond},
                                        Name{"us", "microsecond", DatePart::Microsecond},
                                        Name{"cwk", "calweekofyear", DatePart::CalendarWeek},
                                        Name{"cyr", "calyearofweek", DatePart::CalendarYear},
                                        Name{"cdw", "caldayofweek", DatePart::CalendarDay}};
  const auto wanted = tsql::lowerCase(word);
  for (const Name& name : kNames) {
    if (wanted == name.shortName || wanted == name.longName) return name.part;
  }
  return std::nullopt;
}

namespace {

// A week belongs to the year of its Thursday.
std::int64_t thursdayOf(std::int64_t day) { return day - (day % 7 + 7) % 7 + 3; }

int calendarYear(std::int64_t day) {
  return calendarOf(thursdayOf(day) * kMicrosecondsPerDay).year;
}

}  // namespace

std::int64_t partOf(Moment moment, DatePart part) {
  const CalendarTime t = calendarOf(moment);
  const auto dayOfYear = dayOf(moment) - dayNumber(t.year, 1, 1) + 1;
  // 1900-01-01 was a Monday; weeks begin on Sunday.
  const auto weekday = ((dayOf(moment) + 1) % 7 + 7) % 7 + 1;
  switch (part) {
    case DatePart::Year:
      return t.year;
    case DatePart::Quarter:
      return (t.month - 1) / 3 + 1;
    case DatePart::Month:
      return t.month;
    case DatePart::DayOfYear:
      return dayOfYear;
    case DatePart::Day:
      return t.day;
    case DatePart::Week:
      return (dayOfYear - weekday + 6) / 7 + 1;
    case DatePart::Weekday:
      return weekday;
    case DatePart::Hour:
      return t.hour;
    case DatePart::Minute:
      return t.minute;
    case DatePart::Second:
      return t.second;
    case DatePart::Millisecond:
      return t.microsecond / 1000;
    case DatePart::Microsecond:
      return t.microsecond;
    case DatePart::CalendarWeek: {
      const std::int64_t day = dayOf(moment);
      return (thursdayOf(day) - dayNumber(calendarYear(day), 1, 1)) / 7 + 1;
    }
    case DatePart::CalendarYear:
      return calendarYear(dayOf(moment));
    case DatePart::CalendarDay:
      return (dayOf(moment) % 7 + 7) % 7 + 1;
  }
  return 0;
}

std::string partName(Moment moment, DatePart part) {
  const auto value = partOf(moment, part);
  if (part == DatePart::Month) return kMonths[static_cast<std::size_t>(value - 1)];
  if (part == DatePart::Weekday) return kWeekdays[static_cast<std::size_t>(value - 1)];
  return std::to_string(value);
}

namespace {

std::optional<Moment> addMonths(Moment moment, std::int64_t count, std::int64_t monthsEach) {
  constexpr auto kMost = std::int64_t{12} * 10'000;
  if (count < -kMost || count > kMost) return std::nullopt;
  CalendarTime t = calendarOf(moment);
  const auto months = t.year * std::int64_t{12} + t.month - 1 + count * monthsEach;
  const auto year = floorDivide(months, 12);
  if (year < 1 || year > 9999) return std::nullopt;
  t.year = static_cast<int>(year);
  t.month = static_cast<int>(months - floorDivide(months, 12) * 12) + 1;
  while (t.day > 28 && !validDate(t.year, t.month, t.day)) --t.day;
  return momentOf(t);
}

Moment unitOf(DatePart part) {
  switch (part) {
    case DatePart::Week:
      return 7 * kMicrosecondsPerDay;
    case DatePart::Hour:
      return kMicrosecondsPerHour;
    case DatePart::Minute:
      return kMicrosecondsPerMinute;
    case DatePart::Second:
      return kMicrosecondsPerSecond;
    case DatePart::Millisecond:
      return 1000;
    case DatePart::Microsecond:
      return 1;
    default:
      return kMicrosecondsPerDay;
  }
}

}  // namespace

std::optional<Moment> addParts(Moment moment, DatePart part, std::int64_t count) {
  switch (part) {
    case DatePart::Year:
      return addMonths(moment, count, 12);
    case DatePart::Quarter:
      return addMonths(moment, count, 3);
    case DatePart::Month:
      return addMonths(moment, count, 1);
    default:
      break;
  }
  Moment sum = 0;
  if (__builtin_mul_overflow(count, unitOf(part), &sum) ||
      __builtin_add_overflow(sum, moment, &sum) || sum < momentOf({.year = 1}) ||
      dayOf(sum) > dayNumber(9999, 12, 31)) {
    return std::nullopt;
  }
  return sum;
}

std::int64_t partsBetween(DatePart part, Moment from, Moment to) {
  const CalendarTime a = calendarOf(from);
  const CalendarTime b = calendarOf(to);
  switch (part) {
    case DatePart::Year:
      return b.year - a.year;
    case DatePart::Quarter:
      return (b.year - a.year) * 4 + (b.month - 1) / 3 - (a.month - 1) / 3;
    case DatePart::Month:
      return (b.year - a.year) * 12 + b.month - a.month;
    case DatePart::Week:
      return floorDivide(dayOf(to) + 1, 7) - floorDivide(dayOf(from) + 1, 7);
    case DatePart::Day:
    case DatePart::DayOfYear:
    case DatePart::Weekday:
      return dayOf(to) - dayOf(from);
    default:
      return (to - from) / unitOf(part);
  }
}

Moment currentMoment() {
  using namespace std::chrono;
  const auto now = duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
  return now + kUnixOffsetDays * kMicrosecondsPerDay;
}

}  // namespace kelvane::embedded
