#include "report/json_writer.h"

#include <algorithm>
#include <array>
#include <utility>

#include "model/text.h"
#include "report/json_text.h"

namespace kelvane {
namespace {

bool isUnicode(std::u16string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if ((text[at] & 0xF800) != 0xD800) continue;
    const bool isPair =
        (text[at] & 0xFC00) == 0xD800 && at + 1 < text.size() && (text[at + 1] & 0xFC00) == 0xDC00;
    if (!isPair) return false;
    ++at;
  }
  return true;
}

std::string hexDigits(std::u16string_view text) {
  std::string digits;
  for (const char16_t unit : text) {
    for (int shift = 12; shift >= 0; shift -= 4) digits += "0123456789abcdef"[(unit >> shift) & 15];
  }
  return digits;
}

std::string escapedForMarkup(std::string_view json) {
  constexpr auto kEscapes = std::to_array<std::pair<std::string_view, std::string_view>>({
      {"<", "\\u003c"},
      {">", "\\u003e"},
      {"&", "\\u0026"},
      {"\u2028", "\\u2028"},
      {"\u2029", "\\u2029"},
  });
  std::string result;
  while (!json.empty()) {
    const auto escape = std::ranges::find_if(
        kEscapes, [&](const auto& candidate) { return json.starts_with(candidate.first); });
    const bool plain = escape == kEscapes.end();
    result += plain ? json.substr(0, 1) : escape->second;
    json.remove_prefix(plain ? 1 : escape->first.size());
  }
  return result;
}

}  // namespace

void JsonWriter::nextLine() {
  if (withinMarkup_) return;
  out_ << '\n';
  for (std::size_t i = 0; i < depth_; ++i) out_ << ' ';
}

void JsonWriter::raw(std::string_view token) {
  if (!afterKey_ && depth_ > 0) {
    if (!first_) out_ << ',';
    nextLine();
  }
  out_ << token;
  afterKey_ = false;
  first_ = false;
}

void JsonWriter::begin(char bracket) {
  raw(std::string_view(&bracket, 1));
  ++depth_;
  first_ = true;
}

void JsonWriter::end(char bracket) {
  --depth_;
  if (!first_) nextLine();
  out_ << bracket;
  first_ = false;
  if (depth_ == 0) out_ << '\n';
}

void JsonWriter::key(std::string_view name) {
  value(name);
  out_ << (withinMarkup_ ? ":" : ": ");
  afterKey_ = true;
}

void JsonWriter::quoted(std::u16string_view text) {
  const std::string json = jsonString(text);
  raw(withinMarkup_ ? escapedForMarkup(json) : json);
}

void JsonWriter::value(std::string_view utf8) { quoted(toUtf16(utf8)); }
void JsonWriter::value(std::u16string_view text) { quoted(text); }

void JsonWriter::value(const std::vector<std::string>& utf8Texts) {
  beginArray();
  for (const std::string& text : utf8Texts) value(std::string_view(text));
  endArray();
}

void JsonWriter::value(const std::u16string& text) {
  if (!keepable_) return quoted(text);
  if (!isUnicode(text)) {
    beginObject();
    member("utf16", hexDigits(text));
    return endObject();
  }
  std::size_t begin = 0, end = text.find(u'\n');
  if (end == text.npos) return quoted(text);
  beginArray();
  for (; begin < text.size(); begin = end + 1, end = text.find(u'\n', begin)) {
    end = std::min(end, text.size() - 1);
    quoted(std::u16string_view(text).substr(begin, end + 1 - begin));
  }
  endArray();
}

void JsonWriter::value(Boolean boolean) {
  if (boolean == True || boolean == False) return value(bool{boolean});
  value(boolean.raw());
}

}  // namespace kelvane
