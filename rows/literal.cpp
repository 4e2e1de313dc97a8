#include "rows/literal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "inventory/shown.h"
#include "model/text.h"
#include "rows/stored_type.h"

namespace kelvane::rows {
namespace {

Literal obstacle(std::string reason) { return {{}, std::move(reason)}; }

/// [-]digits[.digits] without zeros that say nothing.
struct Digits {
  bool negative = false;
  std::string whole, fraction;

  explicit Digits(std::string_view text) {
    negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    const std::size_t point = std::min(text.find('.'), text.size());
    whole = text.substr(0, point);
    fraction = text.substr(std::min(point + 1, text.size()));
    whole.erase(0, std::min(whole.find_first_not_of('0'), whole.size()));
    fraction.erase(fraction.find_last_not_of('0') + 1);
    if (whole.empty() && fraction.empty()) negative = false;
  }
  std::string text() const {
    std::string all = negative ? "-" : "";
    all += whole.empty() ? "0" : whole;
    return fraction.empty() ? all : all + "." + fraction;
  }
  bool fits(const StoredType& row, const inventory::DataType& type) const {
    if (row.most.empty()) {
      const auto scale = static_cast<std::size_t>(type.scale.value_or(0));
      const auto precision = static_cast<std::size_t>(
          type.precision.value_or(static_cast<std::int16_t>(row.precision)));
      return fraction.size() <= scale && whole.size() + scale <= precision;
    }
    const auto scale = static_cast<std::size_t>(row.scale);
    if (fraction.size() > scale) return false;
    std::string all = whole + fraction + std::string(scale - fraction.size(), '0');
    all.erase(0, std::min(all.find_first_not_of('0'), all.size()));
    std::string_view limit = negative ? row.least : row.most;
    if (limit.starts_with('-')) limit.remove_prefix(1);
    return all.size() != limit.size() ? all.size() < limit.size() : all <= limit;
  }
};

/// Of all digits that make the same number again.
std::string shortest(double number, std::chars_format format) {
  std::array<char, 400> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, format);
  return {digits.data(), end.ptr};
}

std::string padded(std::int64_t number, int digits) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "%0*lld", digits, static_cast<long long>(number));
  return text.data();
}

std::string unicodeUnit(char16_t unit) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "to_unichar(0x%04x)", static_cast<unsigned>(unit));
  return text.data();
}

bool isLead(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isTrail(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

bool has(CharacterSet set, char16_t unit) {
  if (set == CharacterSet::all) return true;
  return unit < (set == CharacterSet::latin1 ? 0x100 : 0x80);
}

/// A text as pieces that are joined: between quotes only what no tool changes on its way.
class TextLiteral {
 public:
  TextLiteral(const LiteralColumn& column, bool isUnicode)
      : column_(column), isUnicode_(isUnicode) {}

  Literal of(std::u16string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
      const char16_t unit = text[at];
      const bool isPair = isLead(unit) && at + 1 < text.size() && isTrail(text[at + 1]);
      if (!isPair && (isLead(unit) || isTrail(unit)))
        return obstacle("half of a surrogate pair has no literal");
      if (unit < 0x20 || unit == 0x7F) {
        piece("char(" + std::to_string(static_cast<unsigned>(unit)) + ")");
      } else if (has(column_.characters, unit)) {
        quoted(text.substr(at, isPair ? 2 : 1));
        at += isPair ? 1 : 0;
      } else if (isUnicode_ && !isPair) {
        piece(unicodeUnit(unit));
      } else {
        return obstacle("the server's character set may not have the character '" +
                        toUtf8(text.substr(at, isPair ? 2 : 1)) + "'");
      }
      if (size_ > column_.longest) break;
    }
    close();
    std::string literal = joined(pieces_);
    if (literal.size() > column_.longest) return obstacle("it is too long for a literal");
    return {std::move(literal), {}};
  }

 private:
  void quoted(std::u16string_view character) {
    if (!std::exchange(isOpen_, true)) pieces_.emplace_back("'");
    std::string& piece = pieces_.back();
    const std::size_t before = piece.size();
    piece += character == u"'" ? "''" : toUtf8(character);
    size_ += piece.size() - before;
  }
  void piece(const std::string& expression) {
    close();
    pieces_.push_back(expression);
    size_ += expression.size();
  }
  void close() {
    if (std::exchange(isOpen_, false)) pieces_.back() += '\'';
  }

  // Many pieces in a row are nested too deeply for a server: they are joined in groups.
  static std::string joined(std::span<const std::string> pieces) {
    constexpr std::size_t kMostInRow = 8;
    std::string text;
    if (pieces.size() <= kMostInRow) {
      for (const std::string& piece : pieces) text += (text.empty() ? "" : " + ") + piece;
      return text;
    }
    const std::size_t half = pieces.size() / 2;
    return "(" + joined(pieces.first(half)) + ") + (" + joined(pieces.subspan(half)) + ")";
  }

  const LiteralColumn& column_;
  bool isUnicode_, isOpen_ = false;
  std::vector<std::string> pieces_;
  std::size_t size_ = 0;  // of the pieces, without what joins them
};

class Writer {
 public:
  Writer(const StoredType& row, const LiteralColumn& column) : row_(row), column_(column) {}

  Literal operator()(ado::Null) const { return {"null", {}}; }
  Literal operator()(bool flag) const { return exact(flag ? "1" : "0"); }
  Literal operator()(std::int64_t number) const { return exact(std::to_string(number)); }
  Literal operator()(std::uint64_t number) const { return exact(std::to_string(number)); }
  Literal operator()(const ado::Decimal& number) const { return exact(toUtf8(number.text())); }
  Literal operator()(float number) const { return (*this)(static_cast<double>(number)); }
  Literal operator()(double number) const {
    if (!std::isfinite(number)) return obstacle("it is no number");
    if (row_.family == TypeFamily::exact) return exact(shortest(number, std::chars_format::fixed));
    if (!isNumber(row_.family)) return otherType();
    return {shortest(number, std::chars_format::scientific), {}};
  }
  Literal operator()(const ado::DateTime& moment) const {
    return row_.family == TypeFamily::moment ? momentLiteral(moment) : otherType();
  }
  Literal operator()(std::u16string_view text) const {
    const bool isUnicode = row_.family == TypeFamily::unicode;
    if (row_.family != TypeFamily::text && !isUnicode) return otherType();
    if (text.empty()) {
      if (isFilled()) return {"' '", {}};
      return obstacle("the server keeps an empty text as a blank");
    }
    if (!row_.isLarge && !isFilled() && text.size() > 1 && text.ends_with(u' '))
      return obstacle("the server keeps no blanks at the end of " + shown(column_.type));
    if (lengthOf(text) > mostLength()) return tooLong();
    return TextLiteral(column_, isUnicode).of(text);
  }
  Literal operator()(ado::Bytes bytes) const {
    constexpr char kDigits[] = "0123456789abcdef";
    if (row_.family != TypeFamily::bytes) return otherType();
    if (bytes.empty()) return obstacle("the server keeps no bytes without a length");
    if (bytes.size() > mostLength()) return tooLong();
    if (2 * bytes.size() > column_.longest) return obstacle("it is too long for a literal");
    std::string text = "0x";
    for (const std::byte byte : bytes) {
      text += kDigits[std::to_integer<unsigned>(byte) >> 4U];
      text += kDigits[std::to_integer<unsigned>(byte) & 15U];
    }
    return {std::move(text), {}};
  }

 private:
  Literal otherType() const {
    return obstacle("a value of another type than " + inventory::shown(column_.type));
  }
  Literal tooLong() const { return obstacle("it is too long for " + shown(column_.type)); }
  Literal doesNotFit() const { return obstacle("it does not fit " + shown(column_.type)); }

  bool isFilled() const {
    const std::string& name = column_.type.name;
    return name == "char" || name == "nchar" || name == "unichar";
  }
  std::size_t mostLength() const {
    const std::string& name = column_.type.name;
    if (name == "text" || name == "unitext" || name == "image")
      return std::numeric_limits<std::size_t>::max();
    if (name == "sysname") return 30;
    if (name == "longsysname") return 255;
    return static_cast<std::size_t>(column_.type.length.value_or(1));
  }
  std::size_t lengthOf(std::u16string_view text) const {
    if (row_.family == TypeFamily::unicode) return text.size();
    const bool isCounted =
        column_.unit == TextUnit::characters || column_.type.name.starts_with('n');
    if (!isCounted && column_.characters == CharacterSet::all) return toUtf8(text).size();
    return text.size() - static_cast<std::size_t>(std::ranges::count_if(text, isTrail));
  }

  Literal exact(std::string_view text) const {
    if (!isNumber(row_.family)) return otherType();
    const Digits digits(text);
    if (row_.family == TypeFamily::exact && !digits.fits(row_, column_.type)) return doesNotFit();
    return {digits.text(), {}};
  }

  Literal momentLiteral(const ado::DateTime& moment) const {
    constexpr std::int64_t kMicrosecond = 1000, kMillisecond = 1'000'000, kSecond = 1'000'000'000,
                           kMinute = 60 * kSecond, kDay = 1440 * kMinute;
    const std::string& type = column_.type.name;
    const bool hasDay = type != "time" && type != "bigtime", hasTime = type != "date";
    const bool isBig = type.starts_with("big");
    if (!hasDay && moment.days != 0) return doesNotFit();
    if (!hasTime && moment.nanoseconds != 0) return doesNotFit();
    if (type == "smalldatetime" && moment.nanoseconds % kMinute != 0) return doesNotFit();
    if (!hasDayIn(type, moment.days)) return doesNotFit();
    std::int64_t time = moment.nanoseconds;
    if (isBig) {
      if (time % kMicrosecond != 0) return doesNotFit();
    } else {
      // The server keeps 300ths of a second, which drivers round to milliseconds.
      const std::int64_t tick = (time * 3 + kSecond / 200) / (kSecond / 100);
      const std::int64_t exact = tick * (kSecond / 100) / 3;
      const std::int64_t rounded = (exact + kMillisecond / 2) / kMillisecond * kMillisecond;
      if (time != rounded && std::abs(time - exact) >= kMicrosecond) return doesNotFit();
      time = rounded;
      if (time >= kDay) return doesNotFit();
    }
    std::string text;
    // The text of a day is yyyy-mm-dd.
    if (hasDay) {
      text = toUtf8(ado::DateTime{moment.days, 0, ado::DateTime::Parts::dateOnly}.text());
      std::erase(text, '-');
    }
    if (hasTime && (time != 0 || !hasDay)) {
      text += (hasDay ? " " : "") + padded(time / kMinute / 60, 2) + ":" +
              padded(time / kMinute % 60, 2) + ":" + padded(time / kSecond % 60, 2);
      const std::int64_t fraction = time % kSecond;
      if (fraction != 0) {
        text +=
            "." + (isBig ? padded(fraction / kMicrosecond, 6) : padded(fraction / kMillisecond, 3));
      }
    }
    return {"'" + text + "'", {}};
  }
  /// Days since 1900-01-01.
  static bool hasDayIn(std::string_view type, std::int32_t day) {
    constexpr std::int32_t k1753 = -53690, k2079 = 65535, k9999 = 2958463, k0001 = -693595;
    if (type == "smalldatetime") return day >= 0 && day <= k2079;
    if (type == "datetime") return day >= k1753 && day <= k9999;
    return day >= k0001 && day <= k9999;
  }

  const StoredType& row_;
  const LiteralColumn& column_;
};

}  // namespace

CharacterSet characterSetOf(std::string_view name) {
  if (name == "utf8") return CharacterSet::all;
  return name == "iso_1" ? CharacterSet::latin1 : CharacterSet::ascii;
}

Literal literalOf(const ado::Value& value, const LiteralColumn& column) {
  const StoredType* const row = storedTypeNamed(column.type.name);
  if (row == nullptr)
    return obstacle("there is no literal of type " + inventory::shown(column.type));
  return std::visit(Writer(*row, column), static_cast<const ado::ValueBase&>(value));
}

}  // namespace kelvane::rows
