#include "drivers/embedded/tsql/lexer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "drivers/embedded/tsql/error.h"
#include "drivers/embedded/tsql/scan.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {
namespace {

constexpr auto kTwoCharacterSymbols =
    std::to_array<std::string_view>({"<=", ">=", "<>", "!=", "!<", "!>", "*=", "=*", "||"});

constexpr std::size_t kLongestQuotation = 255;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Every byte of a multi-byte character counts as a letter.
bool startsWord(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '#' ||
         static_cast<unsigned char>(c) >= 0x80;
}

bool continuesWord(char c) { return startsWord(c) || isDigit(c) || c == '$' || c == '@'; }

// Of a string of national or of Unicode characters: `N'...'`, `U&'...'`.
std::size_t prefixLength(std::string_view text) {
  const auto isAt = [&](std::size_t at, std::string_view letters) {
    return at < text.size() && letters.find(text[at]) != letters.npos;
  };
  if (isAt(0, "nN") && isAt(1, "'")) return 1;
  return isAt(0, "uU") && isAt(1, "&") && isAt(2, "'\"") ? 2 : 0;
}

// The rest of the line at most; cut at a character, so that the message stays valid UTF-8.
std::string_view quotation(std::string_view text, std::size_t longest = kLongestQuotation) {
  text = text.substr(0, text.find_first_of("\r\n"));
  if (text.size() <= longest) return text;
  std::size_t size = longest;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}

class Lexer {
 public:
  Lexer(std::string_view text, ParseOptions options) : text_(text), options_(options) {}

  std::vector<Token> run() {
    std::vector<Token> tokens;
    tokens.reserve(text_.size() / 5 + 1);
    for (skipBlanks(); at_ < text_.size(); skipBlanks()) tokens.push_back(next());
    tokens.push_back(cut(TokenKind::End, at_));
    return tokens;
  }

 private:
  char ahead(std::size_t n) const { return at_ + n < text_.size() ? text_[at_ + n] : '\0'; }

  template <class Predicate>
  std::size_t endOfRun(std::size_t from, Predicate belongs) const {
    while (from < text_.size() && belongs(text_[from])) ++from;
    return from;
  }

  void advance(std::size_t end) {
    line_ += static_cast<std::uint32_t>(std::count(text_.begin() + static_cast<std::ptrdiff_t>(at_),
                                                   text_.begin() + static_cast<std::ptrdiff_t>(end),
                                                   '\n'));
    at_ = end;
  }

  void skipBlanks() {
    while (at_ < text_.size()) {
      if (isBlank(text_[at_])) {
        advance(endOfRun(at_, isBlank));
      } else if (isLineComment(text_, at_)) {
        advance(endOfLine(text_, at_));
      } else if (isBlockComment(text_, at_)) {
        const std::size_t end = endOfBlockComment(text_, at_);
        if (end == kUnclosed) throw ServerError(message::unclosedComment, line_);
        advance(end);
      } else {
        return;
      }
    }
  }

  Token cut(TokenKind kind, std::size_t end) {
    Token token{.kind = kind,
                .text = text_.substr(at_, end - at_),
                .reserved = {},
                .begin = static_cast<std::uint32_t>(at_),
                .end = static_cast<std::uint32_t>(end),
                .line = line_};
    advance(end);
    return token;
  }

  Token next() {
    const char c = text_[at_];
    if (const std::size_t prefix = prefixLength(text_.substr(at_)); prefix > 0) {
      return quoted(kindOfDouble(text_[at_ + prefix]), text_[at_ + prefix], prefix);
    }
    if (startsWord(c)) return word();
    if (c == '@') return variable();
    if (isDigit(c) || (c == '.' && isDigit(ahead(1)))) return number();
    if (c == '$' && startsAmount()) return money();
    if (c == '\'' || c == '"') return quoted(kindOfDouble(c), c);
    if (c == '[') return quoted(TokenKind::QuotedWord, ']');
    const bool two =
        std::ranges::find(kTwoCharacterSymbols, text_.substr(at_, 2)) != kTwoCharacterSymbols.end();
    if (two) return cut(TokenKind::Symbol, at_ + 2);
    return cut(TokenKind::Symbol, at_ + 1);
  }

  Token word() {
    const std::size_t end = endOfRun(at_, continuesWord);
    refuseLongName(text_.substr(at_, end - at_));
    Token token = cut(TokenKind::Word, end);
    token.reserved = reservedWord(token.text);
    return token;
  }

  Token variable() {
    const std::size_t name = ahead(1) == '@' ? at_ + 2 : at_ + 1;
    const std::size_t end = endOfRun(name, continuesWord);
    if (end == name) return cut(TokenKind::Symbol, end);
    refuseLongName(text_.substr(at_, end - at_));
    return cut(name == at_ + 2 ? TokenKind::GlobalVariable : TokenKind::Variable, end);
  }

  std::size_t endOfDecimal(std::size_t from) const {
    std::size_t end = endOfRun(from, isDigit);
    if (end < text_.size() && text_[end] == '.') end = endOfRun(end + 1, isDigit);
    return end;
  }

  Token number() {
    if (text_[at_] == '0' && (ahead(1) == 'x' || ahead(1) == 'X'))
      return cut(TokenKind::Binary, endOfRun(at_ + 2, isHexDigit));
    const std::size_t end = endOfDecimal(at_);
    if (end < text_.size() && (text_[end] == 'e' || text_[end] == 'E')) {
      std::size_t exponent = end + 1;
      if (exponent < text_.size() && (text_[exponent] == '+' || text_[exponent] == '-')) ++exponent;
      const std::size_t last = endOfRun(exponent, isDigit);
      if (last > exponent) return cut(TokenKind::Float, last);
    }
    const bool integer = text_.substr(at_, end - at_).find('.') == std::string_view::npos;
    return cut(integer ? TokenKind::Integer : TokenKind::Decimal, end);
  }

  // The sign of an amount may stand behind the currency's.
  std::size_t beginOfAmount() const {
    return ahead(1) == '-' || ahead(1) == '+' ? at_ + 2 : at_ + 1;
  }
  bool startsAmount() const {
    const std::size_t behind = beginOfAmount() - at_;
    return isDigit(ahead(behind)) || (ahead(behind) == '.' && isDigit(ahead(behind + 1)));
  }
  Token money() { return cut(TokenKind::Money, endOfDecimal(beginOfAmount())); }

  TokenKind kindOfDouble(char quote) const {
    return quote == '"' && options_.quotedIdentifier ? TokenKind::QuotedWord : TokenKind::String;
  }

  Token quoted(TokenKind kind, char closing, std::size_t prefix = 0) {
    const std::size_t end = endOfQuoted(text_, at_ + prefix, closing);
    if (end == kUnclosed)
      throw ServerError(message::unclosedQuote, line_, quotation(text_.substr(at_ + prefix + 1)));
    if (kind == TokenKind::QuotedWord) {
      refuseLongName(text_.substr(at_ + prefix + 1, end - at_ - prefix - 2));
    }
    return cut(kind, end);
  }

  void refuseLongName(std::string_view name) const {
    constexpr std::size_t kLongestBeginning = 30;
    if (name.size() <= options_.longestName) return;
    throw ServerError(message::nameTooLong, line_, quotation(name, kLongestBeginning),
                      options_.longestName);
  }

  std::string_view text_;
  ParseOptions options_;
  std::size_t at_ = 0;
  std::uint32_t line_ = 1;
};

// UTF-8.
void append(std::string& text, std::uint32_t scalar) {
  const auto byte = [&](std::uint32_t bits) { text += static_cast<char>(bits); };
  const auto following = [&](int shift) { byte(0x80 | ((scalar >> shift) & 0x3F)); };
  if (scalar < 0x80) return byte(scalar);
  if (scalar < 0x800) {
    byte(0xC0 | (scalar >> 6));
  } else if (scalar < 0x10000) {
    byte(0xE0 | (scalar >> 12));
    following(6);
  } else {
    byte(0xF0 | (scalar >> 18));
    following(12);
    following(6);
  }
  following(0);
}

bool isHigh(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLow(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// The character of an escape at the head of the text, `\00e9` or `\+01d6d1`, and its length; none
// when it is neither.
std::optional<std::pair<std::uint32_t, std::size_t>> escapeAt(std::string_view text) {
  constexpr std::uint32_t kLargest = 0x10FFFF;
  if (!text.starts_with('\\')) return std::nullopt;
  const bool isLong = text.substr(1, 1) == "+";
  const std::string_view digits = text.substr(isLong ? 2 : 1, isLong ? 6 : 4);
  std::uint32_t scalar = 0;
  const char* const end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, scalar, 16);
  if (digits.size() != (isLong ? 6U : 4U) || read.ptr != end || scalar == 0 || scalar > kLargest) {
    return std::nullopt;
  }
  return std::pair(scalar, digits.size() + (isLong ? 2 : 1));
}

std::string withoutEscapes(std::string_view text, std::uint32_t line) {
  const auto refuse = [&](std::string_view near) {
    throw ServerError(message::syntax, line, quotation(near));
  };
  std::string result;
  while (!text.empty()) {
    if (text.front() != '\\' || text.starts_with("\\\\")) {
      result += text.front();
      text.remove_prefix(text.front() == '\\' ? 2 : 1);
      continue;
    }
    const auto escape = escapeAt(text);
    if (!escape || isLow(escape->first)) refuse(text);
    auto [scalar, length] = *escape;
    if (isHigh(scalar)) {
      const auto second = escapeAt(text.substr(length));
      if (!second || !isLow(second->first)) refuse(text);
      scalar = 0x10000 + ((scalar - 0xD800) << 10) + (second->first - 0xDC00);
      length += second->second;
    }
    append(result, scalar);
    text.remove_prefix(length);
  }
  return result;
}

// A backslash before a line end continues a string on the next line.
std::size_t continuationLength(std::string_view text) {
  if (text.starts_with("\\\n")) return 2;
  return text.starts_with("\\\r\n") ? 3 : 0;
}

}  // namespace

std::size_t Token::prefix() const {
  return kind == TokenKind::String || kind == TokenKind::QuotedWord ? prefixLength(text) : 0;
}

std::string Token::value() const {
  if (kind != TokenKind::String && kind != TokenKind::QuotedWord) return std::string(text);
  const char closing = text.back();
  const std::size_t before = prefix();
  const std::string_view inner = text.substr(before + 1, text.size() - before - 2);
  std::string result;
  result.reserve(inner.size());
  for (std::size_t i = 0; i < inner.size(); ++i) {
    if (const std::size_t skip = continuationLength(inner.substr(i, 3));
        skip > 0 && kind == TokenKind::String) {
      i += skip - 1;
      continue;
    }
    result += inner[i];
    if (inner[i] == closing) ++i;
  }
  return before == kUnicodePrefix ? withoutEscapes(result, line) : result;
}

std::vector<Token> tokenize(std::string_view batch, ParseOptions options) {
  return Lexer(batch, options).run();
}

}  // namespace kelvane::tsql
