#include "drivers/embedded/engine/row_scanner.h"

#include <cstddef>

#include "drivers/embedded/engine/row_target.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

namespace {

using Kind = RowLiteral::Kind;
using TargetOf = std::function<RowTarget*(std::string_view head)>;

constexpr bool isBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isHexDigit(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

class RowScanner {
 public:
  RowScanner(std::string_view batch, bool hasQuotedNames, const TargetOf& targetOf,
             ScannedRows& found)
      : batch_(batch), hasQuotedNames_(hasQuotedNames), targetOf_(targetOf), found_(found) {}

  bool run() {
    for (skipBlanks(); at_ < batch_.size(); skipBlanks()) {
      if (!row()) return false;
    }
    return !found_.rows.empty();
  }

 private:
  char here() const { return at_ < batch_.size() ? batch_[at_] : '\0'; }
  void skipBlanks() {
    while (at_ < batch_.size() && isBlank(batch_[at_])) ++at_;
  }

  bool row() {
    const std::size_t begin = at_;
    if (target_ == nullptr || !batch_.substr(at_).starts_with(target_->head())) {
      const std::size_t end = endOfHead();
      if (end == 0) return false;
      target_ = targetOf_(batch_.substr(at_, end - at_));
      if (target_ == nullptr) return false;
    }
    at_ += target_->head().size();
    found_.rows.push_back({target_, static_cast<std::uint32_t>(begin)});
    const std::size_t count = target_->columnCount();
    for (std::size_t column = 0; column < count; ++column) {
      RowLiteral value;
      skipBlanks();
      if (!literal(value) || !target_->accepts(column, value.kind)) return false;
      found_.values.push_back(value);
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

  bool literal(RowLiteral& value) {
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

  bool text(RowLiteral& value, char quote) {
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

  bool number(RowLiteral& value) {
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
    // Larger ones may be out of range.
    if (digits == 0 || digits > kMostDigits) return false;
    if (!isMoney && end < batch_.size() && (batch_[end] == 'e' || batch_[end] == 'E')) {
      std::size_t exponent = end + 1;
      if (exponent < batch_.size() && (batch_[exponent] == '+' || batch_[exponent] == '-')) {
        ++exponent;
      }
      end = endOfDigits(exponent);
      if (end == exponent || end - exponent > kMostExponentDigits) return false;
      value.kind = Kind::Float;
    }
    if (isMoney) value.kind = Kind::Money;
    value.begin = static_cast<std::uint32_t>(begin);
    value.end = static_cast<std::uint32_t>(end);
    at_ = end;
    return true;
  }

  bool binary(RowLiteral& value, std::size_t begin) {
    value.kind = Kind::Binary;
    value.begin = static_cast<std::uint32_t>(begin);
    for (at_ = begin; at_ < batch_.size() && isHexDigit(batch_[at_]);) ++at_;
    value.end = static_cast<std::uint32_t>(at_);
    return true;
  }

  static constexpr std::size_t kMostDigits = 38;
  static constexpr std::size_t kMostExponentDigits = 2;

  std::string_view batch_;
  bool hasQuotedNames_;
  const TargetOf& targetOf_;
  ScannedRows& found_;
  std::size_t at_ = 0;
  RowTarget* target_ = nullptr;
};

}  // namespace

bool scanRows(std::string_view batch, bool hasQuotedNames, const TargetOf& targetOf,
              ScannedRows& found) {
  return RowScanner(batch, hasQuotedNames, targetOf, found).run();
}

}  // namespace kelvane::embedded
