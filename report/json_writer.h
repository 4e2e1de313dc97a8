// Writes records as JSON: a member a line, in the order of their fields.
//
// Lifetime: the stream outlives it. Threading: one thread.
#pragma once

#include <concepts>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "model/fields.h"

namespace kelvane {

class JsonWriter {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}

  void beginObject() { begin('{'); }
  void endObject() { end('}'); }
  void beginArray() { begin('['); }
  void endArray() { end(']'); }
  // The next value belongs to this member.
  void key(std::string_view name);

  void value(std::string_view utf8);
  void value(const char* utf8) { value(std::string_view(utf8)); }
  void value(const std::u16string& text);
  void value(std::u16string_view text);
  void value(std::same_as<bool> auto value) { raw(value ? "true" : "false"); }
  void value(std::integral auto number) requires(!std::same_as<decltype(number), bool>) {
    raw(std::to_string(number));
  }
  template <class Enumeration>
  void value(Enumeration number) requires std::is_enum_v<Enumeration> {
    value(static_cast<std::int32_t>(number));
  }
  void value(Boolean boolean);
  void value(const std::vector<std::string>& utf8Texts);
  template <class Item>
  void value(const Array<Item>& items) {
    beginArray();
    for (const Item& item : items) value(item);
    endArray();
  }
  template <HasFields Record>
  void value(const Record& record) {
    beginObject();
    std::apply([&](const auto&... field) { (member(field.name, record.*field.value), ...); },
               kFields<Record>);
    endObject();
  }

  template <class Value>
  void member(std::string_view name, const Value& content) {
    key(name);
    value(content);
  }

  // As an array of lines where there are several, and as `{"utf16": "<hex digits>"}` where it is
  // no Unicode text: what parsers of JSON and those who compare versions of a file can live with.
  void keepableTexts() { keepable_ = true; }
  // On one line, and so that no text can end the script element around it: '<', '>', '&' and the
  // separators of lines and paragraphs are escaped as well.
  void withinMarkup() { withinMarkup_ = true; }

 private:
  void begin(char bracket);
  void end(char bracket);
  void raw(std::string_view token);
  void quoted(std::u16string_view text);
  void nextLine();

  std::ostream& out_;
  std::size_t depth_ = 0;
  bool first_ = true;  // nothing stands behind the last opening bracket
  bool afterKey_ = false;
  bool keepable_ = false;
  bool withinMarkup_ = false;
};

}  // namespace kelvane
