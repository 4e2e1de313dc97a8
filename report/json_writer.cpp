#include "report/json_writer.h"

#include <algorithm>
#include <array>

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

}  // namespace

void JsonWriter::nextLine() {
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
  out_ << ": ";
  afterKey_ = true;
}

void JsonWriter::value(std::string_view utf8) { raw(jsonString(toUtf16(utf8))); }

void JsonWriter::value(const std::vector<std::string>& utf8Texts) {
  beginArray();
  for (const std::string& text : utf8Texts) value(std::string_view(text));
  endArray();
}

void JsonWriter::value(const std::u16string& text) {
  if (!keepable_) return raw(jsonString(text));
  if (!isUnicode(text)) {
    beginObject();
    member("utf16", hexDigits(text));
    return endObject();
  }
  std::size_t begin = 0, end = text.find(u'\n');
  if (end == text.npos) return raw(jsonString(text));
  beginArray();
  for (; begin < text.size(); begin = end + 1, end = text.find(u'\n', begin)) {
    end = std::min(end, text.size() - 1);
    raw(jsonString(std::u16string_view(text).substr(begin, end + 1 - begin)));
  }
  endArray();
}

void JsonWriter::value(Boolean boolean) {
  if (boolean == True || boolean == False) return value(bool{boolean});
  value(boolean.raw());
}

}  // namespace kelvane
