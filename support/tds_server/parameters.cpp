#include "support/tds_server/parameters.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <stdexcept>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/tsql/scan.h"
#include "model/text.h"

namespace kelvane::tds {

using namespace embedded;

namespace {

constexpr int kFormat = 0xEC, kWideFormat = 0x20, kValues = 0xD7;
constexpr int kIsOutput = 0x01;
constexpr int kLongestVarchar = 16384;
constexpr std::uint8_t kUnichar = 34, kUnitext = 36;  // user types: UTF-16 in binary types

// How the values of a data type come.
enum class Layout {
  fixed,    // the value alone
  counted,  // a length in one byte
  number,   // the same, with precision and scale in the format
  moment,   // the same, with a precision in the format
  longValue,
  blob,    // behind a text pointer
  chunks,  // in pieces with their lengths
};

// What the bytes are.
enum class Content {
  nothing,
  integer,
  natural,
  bit,
  real,
  money,
  exact,
  text,
  bytes,
  moment,
  clock
};

struct WireType {
  int code;
  Layout layout;
  Content content;
  int length;  // of fixed ones
  TypeKind kind;
};

using enum Layout;
using enum TypeKind;
constexpr WireType kWireTypes[] = {
    {31, fixed, Content::nothing, 0, Varchar},
    {34, blob, Content::bytes, 0, Image},
    {35, blob, Content::text, 0, Text},
    {36, chunks, Content::text, 0, Text},
    {37, counted, Content::bytes, 0, Varbinary},
    {38, counted, Content::integer, 0, Int},
    {39, counted, Content::text, 0, Varchar},
    {45, counted, Content::bytes, 0, Varbinary},
    {47, counted, Content::text, 0, Varchar},
    {48, fixed, Content::natural, 1, Tinyint},
    {49, fixed, Content::moment, 4, Date},
    {50, fixed, Content::bit, 1, Bit},
    {51, fixed, Content::clock, 4, Time},
    {52, fixed, Content::integer, 2, Smallint},
    {56, fixed, Content::integer, 4, Int},
    {58, fixed, Content::moment, 4, Smalldatetime},
    {59, fixed, Content::real, 4, Real},
    {60, fixed, Content::money, 8, Money},
    {61, fixed, Content::moment, 8, Datetime},
    {62, fixed, Content::real, 8, Float},
    {65, fixed, Content::natural, 2, Usmallint},
    {66, fixed, Content::natural, 4, Uint},
    {67, fixed, Content::natural, 8, Ubigint},
    {68, counted, Content::natural, 0, Uint},
    {106, number, Content::exact, 0, Decimal},
    {108, number, Content::exact, 0, Numeric},
    {109, counted, Content::real, 0, Float},
    {110, counted, Content::money, 0, Money},
    {111, counted, Content::moment, 0, Datetime},
    {122, fixed, Content::money, 4, Smallmoney},
    {123, counted, Content::moment, 0, Date},
    {147, counted, Content::clock, 0, Time},
    {174, blob, Content::text, 0, Unitext},
    {175, longValue, Content::text, 0, Varchar},
    {176, fixed, Content::integer, 1, Smallint},
    {187, Layout::moment, Content::moment, 0, Bigdatetime},
    {188, Layout::moment, Content::clock, 0, Bigtime},
    {191, fixed, Content::integer, 8, Bigint},
    {225, longValue, Content::bytes, 0, Varbinary},
};

struct Format {
  const WireType* type = nullptr;
  std::uint32_t width = 0;
  int scale = 0;
  int precision = 0;
  bool isUnicode = false;
};

// Never reads beyond the end, where the reader would find zeros.
class Source {
 public:
  explicit Source(MessageReader& reader) : reader_(reader) {}
  template <class Number>
  Number number() {
    require(sizeof(Number));
    return reader_.number<Number>();
  }
  std::uint8_t byte() { return number<std::uint8_t>(); }
  std::uint32_t doubleWord() { return number<std::uint32_t>(); }
  std::string_view text(std::size_t length) {
    require(length);
    return reader_.text(length);
  }

 private:
  void require(std::size_t length) const {
    if (reader_.left() < length) throw std::runtime_error("The parameters are cut off.");
  }
  MessageReader& reader_;
};

Format readType(Source& source) {
  Format format;
  const auto userType = source.number<std::int32_t>();
  const int code = source.byte();
  const auto* found = std::ranges::find(kWireTypes, code, &WireType::code);
  if (found == std::end(kWireTypes)) {
    throw std::runtime_error("Parameters of the data type " + std::to_string(code) +
                             " are not supported.");
  }
  format.type = found;
  format.isUnicode = code == 174 || (code == 225 && userType >= kUnichar && userType <= kUnitext);
  switch (found->layout) {
    case Layout::fixed:
      format.width = static_cast<std::uint32_t>(found->length);
      break;
    case Layout::counted:
      format.width = source.byte();
      break;
    case Layout::number:
      format.width = source.byte();
      format.precision = source.byte();
      format.scale = source.byte();
      break;
    case Layout::moment:
      format.width = source.byte();
      source.byte();
      break;
    case Layout::longValue:
      format.width = source.doubleWord();
      break;
    case Layout::blob:
      format.width = source.doubleWord();
      source.text(source.number<std::uint16_t>());  // the name of a table
      break;
    case Layout::chunks: {
      constexpr int kCharacters = 3, kUnicode = 5;
      const int kind = source.byte();
      source.text(source.number<std::uint16_t>());  // the name of a class
      format.isUnicode = kind == kUnicode;
      static constexpr WireType kBytes{36, Layout::chunks, Content::bytes, 0, Image};
      if (kind != kCharacters && kind != kUnicode) format.type = &kBytes;
      break;
    }
  }
  source.text(source.byte());  // the locale
  return format;
}

std::string chunksOf(Source& source) {
  constexpr std::uint32_t kMore = 0x80000000;
  source.byte();  // how it is serialized
  source.text(source.number<std::uint16_t>());
  std::string bytes;
  for (bool more = true; more;) {
    const std::uint32_t header = source.doubleWord();
    more = (header & kMore) != 0;
    bytes += source.text(header & ~kMore);
  }
  return bytes;
}

// None for a null.
std::optional<std::string> valueBytes(Source& source, const Format& format) {
  constexpr std::size_t kStamp = 8;
  std::size_t length = format.width;
  switch (format.type->layout) {
    case Layout::fixed:
      break;
    case Layout::longValue:
      length = source.doubleWord();
      break;
    case Layout::blob: {
      const std::size_t pointer = source.byte();
      if (pointer == 0) return std::nullopt;
      source.text(pointer + kStamp);
      length = source.doubleWord();
      break;
    }
    case Layout::chunks: {
      std::string bytes = chunksOf(source);
      if (bytes.empty()) return std::nullopt;
      return bytes;
    }
    default:
      length = source.byte();
      break;
  }
  if (length == 0) return std::nullopt;
  return std::string(source.text(length));
}

template <class Number>
Number numberOf(std::string_view bytes) {
  if (bytes.size() != sizeof(Number))
    throw std::runtime_error("A parameter has a length that its data type does not have.");
  return MessageReader(bytes).number<Number>();
}

std::int64_t signedOf(std::string_view bytes) {
  switch (bytes.size()) {
    case 1:
      return numberOf<std::int8_t>(bytes);
    case 2:
      return numberOf<std::int16_t>(bytes);
    case 4:
      return numberOf<std::int32_t>(bytes);
    default:
      return numberOf<std::int64_t>(bytes);
  }
}

std::int64_t unsignedOf(std::string_view bytes) {
  switch (bytes.size()) {
    case 1:
      return numberOf<std::uint8_t>(bytes);
    case 2:
      return numberOf<std::uint16_t>(bytes);
    case 4:
      return numberOf<std::uint32_t>(bytes);
    default:
      return numberOf<std::int64_t>(bytes);
  }
}

std::string digitsOf(unsigned __int128 magnitude, bool negative, int scale) {
  std::string digits;
  for (; magnitude != 0; magnitude /= 10)
    digits += static_cast<char>('0' + static_cast<int>(magnitude % 10));
  const auto behindPoint = static_cast<std::size_t>(scale);
  if (digits.size() <= behindPoint) digits.append(behindPoint + 1 - digits.size(), '0');
  std::ranges::reverse(digits);
  if (scale > 0) digits.insert(digits.size() - behindPoint, ".");
  return negative ? "-" + digits : digits;
}

Cell exactOf(std::string_view bytes, int scale) {
  constexpr std::size_t kLongest = 17;
  if (bytes.size() > kLongest) throw std::runtime_error("A parameter has too many digits.");
  unsigned __int128 magnitude = 0;
  for (const char byte : bytes.substr(1))
    magnitude = magnitude << 8 | static_cast<std::uint8_t>(byte);
  return exactNumber(digitsOf(magnitude, bytes[0] != 0, scale));
}

Cell moneyOf(std::string_view bytes) {
  constexpr int kScale = 4;
  std::int64_t value = 0;
  if (bytes.size() == 4) {
    value = numberOf<std::int32_t>(bytes);
  } else {
    // The high half comes first.
    const auto both = numberOf<std::uint64_t>(bytes);
    value = static_cast<std::int64_t>(both << 32 | both >> 32);
  }
  const bool negative = value < 0;
  const auto magnitude = static_cast<std::uint64_t>(value);
  return exactNumber(digitsOf(negative ? 0 - magnitude : magnitude, negative, kScale));
}

constexpr std::int64_t kDaysFromYear0To1900 = 693'961;

Moment ofTicks(std::int64_t ticks) {
  constexpr std::int64_t kTicksPerSecond = 300;
  return roundToTicks((ticks * kMicrosecondsPerSecond + kTicksPerSecond / 2) / kTicksPerSecond);
}

Cell momentOf(std::string_view bytes, TypeKind kind) {
  Moment moment = 0;
  if (kind == Bigdatetime) {
    moment = numberOf<std::int64_t>(bytes) - kDaysFromYear0To1900 * kMicrosecondsPerDay;
  } else if (kind == Date) {
    moment = numberOf<std::int32_t>(bytes) * kMicrosecondsPerDay;
  } else if (kind == Smalldatetime) {
    moment = numberOf<std::uint16_t>(bytes.substr(0, 2)) * kMicrosecondsPerDay +
             numberOf<std::uint16_t>(bytes.substr(2)) * kMicrosecondsPerMinute;
  } else {
    moment = numberOf<std::int32_t>(bytes.substr(0, 4)) * kMicrosecondsPerDay +
             ofTicks(numberOf<std::int32_t>(bytes.substr(4)));
  }
  const CalendarTime time = calendarOf(moment);
  if (time.year < 1 || time.year > 9999)
    throw std::runtime_error("A parameter is a date outside of the years 1 to 9999.");
  return moment;
}

Cell clockOf(std::string_view bytes, TypeKind kind) {
  const Moment moment =
      kind == Bigtime ? numberOf<std::int64_t>(bytes) : ofTicks(numberOf<std::int32_t>(bytes));
  if (moment < 0 || moment >= kMicrosecondsPerDay)
    throw std::runtime_error("A parameter is a time outside of the day.");
  return moment;
}

// --- what the value is for the engine ---

TypeKind kindOf(const Format& format) {
  const TypeKind kind = format.type->kind;
  if (format.isUnicode)
    return kind == Unitext || format.type->layout == Layout::chunks ? Unitext : Univarchar;
  if (format.type->layout != Layout::counted) return kind;
  const auto sized = [&](TypeKind one, TypeKind two, TypeKind four, TypeKind eight) {
    return format.width <= 1 ? one : format.width == 2 ? two : format.width <= 4 ? four : eight;
  };
  switch (format.type->content) {
    case Content::integer:
      return sized(Tinyint, Smallint, Int, Bigint);
    case Content::natural:
      return sized(Tinyint, Usmallint, Uint, Ubigint);
    case Content::real:
      return sized(Real, Real, Real, Float);
    case Content::money:
      return sized(Smallmoney, Smallmoney, Smallmoney, Money);
    case Content::moment:
      return kind == Datetime ? sized(Smalldatetime, Smalldatetime, Smalldatetime, Datetime) : kind;
    default:
      return kind;
  }
}

ColumnType typeOf(const Format& format, std::size_t valueLength) {
  const TypeKind kind = kindOf(format);
  if (format.type->content == Content::exact) {
    constexpr int kMost = 38;
    const int precision = std::clamp(format.precision, 1, kMost);
    return declaredType(kind, precision, std::min(format.scale, precision), true);
  }
  if (isLong(kind) || !(isCharacter(kind) || isBinary(kind)))
    return declaredType(kind, {}, {}, true);
  const auto given = std::min<std::size_t>(format.width, kLongestVarchar);
  const auto width = static_cast<int>(std::clamp<std::size_t>(valueLength, given, INT32_MAX));
  return declaredType(kind, std::max(1, isUnicode(kind) ? (width + 1) / 2 : width), {}, true);
}

Cell textCell(std::string text, TypeKind kind) {
  return isLong(kind) ? std::move(text) : std::string(storedText(text));
}

Cell cellOf(const std::string& bytes, const Format& format, CharacterSet set) {
  switch (format.type->content) {
    case Content::integer:
      // A nullable integer of one byte is a tinyint, which has no sign.
      if (bytes.size() == 1 && format.type->layout != Layout::fixed) return unsignedOf(bytes);
      return signedOf(bytes);
    case Content::natural:
      return unsignedOf(bytes);
    case Content::bit:
      return std::int64_t{bytes[0] != 0};
    case Content::real:
      return bytes.size() == 4 ? Cell(double{numberOf<float>(bytes)})
                               : Cell(numberOf<double>(bytes));
    case Content::money:
      return moneyOf(bytes);
    case Content::exact:
      return exactOf(bytes, format.scale);
    case Content::moment:
      return momentOf(bytes, kindOf(format));
    case Content::clock:
      return clockOf(bytes, kindOf(format));
    case Content::text:
      if (!format.isUnicode) return textCell(decoded(bytes, set), kindOf(format));
      break;
    case Content::bytes:
      if (!format.isUnicode) return bytesOf(bytes);
      break;
    case Content::nothing:
      return Null{};
  }
  std::u16string units;
  MessageReader reader(bytes);
  while (!reader.atEnd()) units.push_back(static_cast<char16_t>(reader.number<std::uint16_t>()));
  return textCell(toUtf8(units), kindOf(format));
}

}  // namespace

std::vector<Parameter> readParameters(MessageReader& reader, CharacterSet set) {
  Source source(reader);
  const int token = source.byte();
  if (token != kFormat && token != kWideFormat)
    throw std::runtime_error("The request has no format of its parameters.");
  const bool wide = token == kWideFormat;
  if (wide) {
    source.doubleWord();
  } else {
    source.number<std::uint16_t>();
  }
  std::vector<Parameter> parameters;
  std::vector<Format> formats;
  for (std::size_t left = source.number<std::uint16_t>(); left > 0; --left) {
    Parameter& parameter = parameters.emplace_back();
    parameter.name = decoded(source.text(source.byte()), set);
    if (!parameter.name.empty() && parameter.name[0] != '@') parameter.name.insert(0, "@");
    const std::uint32_t status = wide ? source.doubleWord() : source.byte();
    parameter.output = (status & kIsOutput) != 0;
    formats.push_back(readType(source));
  }
  if (source.byte() != kValues) throw std::runtime_error("The request has no parameters.");
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const auto bytes = valueBytes(source, formats[i]);
    if (bytes) parameters[i].value = cellOf(*bytes, formats[i], set);
    const auto* text = std::get_if<std::string>(&parameters[i].value);
    parameters[i].type = typeOf(formats[i], text ? text->size() : bytes ? bytes->size() : 0);
  }
  return parameters;
}

namespace {

// The first byte after what begins at `at` and holds no markers or variables of its own; `at`
// itself elsewhere.
std::size_t endOfOpaque(std::string_view text, std::size_t at) {
  const char c = text[at];
  std::size_t end = at;
  if (c == '\'' || c == '"' || c == '[') {
    end = tsql::endOfQuoted(text, at, c == '[' ? ']' : c);
  } else if (tsql::isLineComment(text, at)) {
    end = tsql::endOfLine(text, at);
  } else if (tsql::isBlockComment(text, at)) {
    end = tsql::endOfBlockComment(text, at);
  }
  return std::min(end, text.size());
}

bool isNamePart(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
         static_cast<unsigned char>(c) >= 0x80 || c == '_' || c == '#' || c == '$' || c == '@';
}

struct Places {
  std::vector<std::size_t> markers;
  std::vector<std::string> variables;  // each once, without global ones
};

Places placesIn(std::string_view text) {
  Places places;
  for (std::size_t at = 0; at < text.size();) {
    if (const std::size_t end = endOfOpaque(text, at); end > at) {
      at = end;
      continue;
    }
    std::size_t end = at + 1;
    if (text[at] == '?') {
      places.markers.push_back(at);
    } else if (isNamePart(text[at])) {
      while (end < text.size() && isNamePart(text[end])) ++end;
      const std::string_view word = text.substr(at, end - at);
      if (word.starts_with('@') && !word.starts_with("@@") &&
          std::ranges::find(places.variables, word) == places.variables.end())
        places.variables.emplace_back(word);
    }
    at = end;
  }
  return places;
}

void requireCount(std::size_t places, std::string_view what, std::size_t values) {
  if (places == values) return;
  throw std::runtime_error("The statement has " + std::to_string(places) + " " + std::string(what) +
                           ", but " + std::to_string(values) + " values came.");
}

void numberVariables(std::vector<Parameter>& parameters) {
  std::size_t number = 0;
  for (Parameter& parameter : parameters)
    parameter.variable = "@parameter_" + std::to_string(++number);
}

}  // namespace

std::string bindText(std::string_view text, std::vector<Parameter>& parameters) {
  const Places places = placesIn(text);
  if (!places.markers.empty()) {
    requireCount(places.markers.size(), "parameter markers", parameters.size());
    numberVariables(parameters);
    std::string bound;
    std::size_t from = 0;
    for (std::size_t i = 0; i < parameters.size(); ++i) {
      bound += text.substr(from, places.markers[i] - from);
      bound += parameters[i].variable;
      from = places.markers[i] + 1;
    }
    bound += text.substr(from);
    return bound;
  }
  if (std::ranges::none_of(parameters, &std::string::empty, &Parameter::name)) {
    for (Parameter& parameter : parameters) parameter.variable = parameter.name;
  } else {
    requireCount(places.variables.size(), "variables", parameters.size());
    for (std::size_t i = 0; i < parameters.size(); ++i)
      parameters[i].variable = places.variables[i];
  }
  return std::string(text);
}

std::string bindCall(std::string_view procedure, std::vector<Parameter>& parameters) {
  numberVariables(parameters);
  std::string text = "exec " + std::string(procedure);
  std::string_view separator = " ";
  for (const Parameter& parameter : parameters) {
    text += separator;
    if (!parameter.name.empty()) text += parameter.name + " = ";
    text += parameter.variable + (parameter.output ? " output" : "");
    separator = ", ";
  }
  return text;
}

}  // namespace kelvane::tds
