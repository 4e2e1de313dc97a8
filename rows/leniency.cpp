#include "rows/leniency.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <variant>

#include "model/text.h"

namespace kelvane::rows {
namespace {

std::u16string_view withoutBlanks(std::u16string_view text) {
  const std::size_t begin = text.find_first_not_of(u' ');
  if (begin == std::u16string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(u' ') + 1 - begin);
}

/// Digits of a number, as many before and behind the point as it takes for all of them to stand
/// below each other.
class AlignedDigits {
 public:
  AlignedDigits(const ado::Decimal& number, std::size_t whole, std::size_t fraction) {
    const auto [front, back] = parts(number);
    digits_ = std::u16string(whole - front.size(), u'0') + front + back +
              std::u16string(fraction - back.size(), u'0');
  }
  static std::array<std::u16string, 2> parts(const ado::Decimal& number) {
    const std::u16string text = ado::Decimal{number.magnitude, number.scale, false}.text();
    const std::size_t point = std::min(text.find(u'.'), text.size());
    return {text.substr(0, point), text.substr(std::min(point + 1, text.size()))};
  }

  bool operator<(const AlignedDigits& other) const { return digits_ < other.digits_; }
  AlignedDigits& operator+=(const AlignedDigits& other) { return add(other, 1); }
  /// Of a number that is not greater.
  AlignedDigits& operator-=(const AlignedDigits& other) { return add(other, -1); }

 private:
  AlignedDigits& add(const AlignedDigits& other, int sign) {
    int carry = 0;
    for (std::size_t at = digits_.size(); at-- > 0;) {
      int sum = digits_[at] - u'0' + sign * (other.digits_[at] - u'0') + carry;
      carry = sum < 0 ? -1 : sum / 10;
      sum -= 10 * carry;
      digits_[at] = static_cast<char16_t>(u'0' + sum);
    }
    return *this;
  }

  std::u16string digits_;
};

bool isNear(const ado::Decimal& one, const ado::Decimal& other, const ado::Decimal& most) {
  std::size_t whole = 0, fraction = 0;
  for (const ado::Decimal* number : {&one, &other, &most}) {
    const auto [front, back] = AlignedDigits::parts(*number);
    whole = std::max(whole, front.size() + 1);  // a sum may have a digit more
    fraction = std::max(fraction, back.size());
  }
  AlignedDigits greater(one, whole, fraction), smaller(other, whole, fraction);
  if (greater < smaller) std::swap(greater, smaller);
  if (one.negative == other.negative)
    greater -= smaller;
  else
    greater += smaller;
  return !(AlignedDigits(most, whole, fraction) < greater);
}

bool isNear(const ado::DateTime& one, const ado::DateTime& other, std::int64_t most) {
  if (one.parts != other.parts) return false;
  constexpr std::int64_t kOfDay = 86'400'000'000'000;
  const std::int64_t days = std::int64_t{one.days} - other.days;
  // Beyond these the difference does not fit, and is more than any tolerance.
  if (std::abs(days) > 100'000) return false;
  return std::abs(days * kOfDay + one.nanoseconds - other.nanoseconds) <= most;
}

ado::Decimal exactOf(std::int64_t number) {
  const auto bits = static_cast<std::uint64_t>(number);
  return {{number < 0 ? 0 - bits : bits, 0}, 0, number < 0};
}

struct Nearness {
  const Leniency& leniency;

  bool operator()(double one, double other) const {
    return std::abs(one - other) <= leniency.tolerance;
  }
  bool operator()(float one, float other) const { return (*this)(double{one}, double{other}); }
  bool operator()(std::int64_t one, std::int64_t other) const {
    return (*this)(exactOf(one), exactOf(other));
  }
  bool operator()(std::int64_t one, const ado::Decimal& other) const {
    return (*this)(exactOf(one), other);
  }
  bool operator()(const ado::Decimal& one, std::int64_t other) const {
    return (*this)(one, exactOf(other));
  }
  bool operator()(const ado::Decimal& one, const ado::Decimal& other) const {
    return leniency.tolerance > 0 && isNear(one, other, leniency.exactTolerance);
  }
  bool operator()(const ado::DateTime& one, const ado::DateTime& other) const {
    return isNear(one, other, leniency.nanoseconds);
  }
  bool operator()(const auto&, const auto&) const { return false; }
};

}  // namespace

ado::Value folded(const ado::Value& value, const Leniency& leniency, std::u16string& storage) {
  if (const auto* bytes = std::get_if<ado::Bytes>(&value))
    return leniency.emptyIsNull && bytes->empty() ? ado::Value() : value;
  const auto* text = std::get_if<std::u16string_view>(&value);
  if (text == nullptr) return value;
  const std::u16string_view trimmed = withoutBlanks(*text);
  if (leniency.emptyIsNull && trimmed.empty()) return {};
  const std::u16string_view kept = leniency.trims ? trimmed : *text;
  if (!leniency.ignoresCase) return kept;
  storage = foldCase(kept);
  return std::u16string_view(storage);
}

bool isSame(const Cell& one, const Cell& other, const Leniency& leniency) {
  if (one == other) return true;
  if (!leniency.folds() && !leniency.tolerates()) return false;
  std::array<std::u16string, 4> storage;
  const ado::Value left = valueOf(one, storage[0]), right = valueOf(other, storage[1]);
  if (leniency.tolerates() &&
      std::visit(Nearness{leniency}, static_cast<const ado::ValueBase&>(left),
                 static_cast<const ado::ValueBase&>(right)))
    return true;
  if (!leniency.folds()) return false;
  std::string packed, otherPacked;
  pack(folded(left, leniency, storage[2]), Form::asItIs, packed);
  pack(folded(right, leniency, storage[3]), Form::asItIs, otherPacked);
  return packed == otherPacked;
}

}  // namespace kelvane::rows
