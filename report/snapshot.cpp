#include "report/snapshot.h"

#include <algorithm>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <ostream>
#include <span>
#include <tuple>

#include "model/fields.h"
#include "model/text.h"
#include "report/json_writer.h"

namespace kelvane {
namespace {

using nlohmann::json;

constexpr std::string_view kKind = "kelvane snapshot";
// What parts are called in complaints.
constexpr std::string_view kWhole = "the snapshot", kSchema = "schema";

[[noreturn]] void refuse(const std::string& where, const std::string& what) {
  throw SnapshotError((where.empty() ? "" : where + ": ") + what);
}

std::u16string fromHexDigits(const std::string& digits, const std::string& where) {
  constexpr std::size_t kDigits = 4;
  std::u16string text;
  for (std::size_t at = 0; at < digits.size(); at += kDigits) {
    std::uint16_t unit = 0;
    const char* const end = digits.data() + std::min(at + kDigits, digits.size());
    const auto [behind, error] = std::from_chars(digits.data() + at, end, unit, 16);
    if (error != std::errc() || behind != digits.data() + at + kDigits)
      refuse(where, "is not UTF-16 in hexadecimal digits");
    text += static_cast<char16_t>(unit);
  }
  return text;
}

const json& memberOf(const json& object, std::string_view name, const std::string& where) {
  const auto found = object.find(name);
  if (found == object.end()) refuse(where, "has no member \"" + std::string(name) + "\"");
  return *found;
}

void requireObject(const json& value, std::size_t members, const std::string& where) {
  if (!value.is_object()) refuse(where, "is not an object");
  if (value.size() != members) refuse(where, "does not have the expected members");
}

void requireArray(const json& value, const std::string& where) {
  if (!value.is_array()) refuse(where, "is not an array");
}

const std::string& plainText(const json& value, const std::string& where) {
  const auto* text = value.get_ptr<const std::string*>();
  if (text == nullptr) refuse(where, "is not a string");
  return *text;
}

void read(const json& value, std::u16string& text, const std::string& where) {
  text.clear();
  if (value.is_object()) {
    requireObject(value, 1, where);
    text = fromHexDigits(plainText(memberOf(value, "utf16", where), where), where);
  } else if (value.is_array()) {
    for (const json& line : value) text += toUtf16(plainText(line, where));
  } else {
    text = toUtf16(plainText(value, where));
  }
}

template <std::signed_integral Number>
void read(const json& value, Number& number, const std::string& where) {
  const auto* whole = value.get_ptr<const json::number_integer_t*>();
  const bool isHuge = value.is_number_unsigned() && value.get<json::number_unsigned_t>() >
                                                        std::numeric_limits<std::int64_t>::max();
  if (whole == nullptr || isHuge || *whole < std::numeric_limits<Number>::min() ||
      *whole > std::numeric_limits<Number>::max())
    refuse(where, "is not a " + std::to_string(8 * sizeof(Number)) + "-bit integer");
  number = static_cast<Number>(*whole);
}

void read(const json& value, Boolean& boolean, const std::string& where) {
  if (value.is_boolean()) {
    boolean = value.get<bool>();
    return;
  }
  std::int16_t raw = 0;
  read(value, raw, where);
  boolean = Boolean::fromRaw(raw);
}

template <HasFields Record>
void read(const json& value, Record& record, const std::string& where);

template <class Item>
void read(const json& value, Array<Item>& items, const std::string& where) {
  requireArray(value, where);
  items.clear();
  items.reserve(static_cast<std::int32_t>(value.size()));
  for (const json& one : value) {
    Item item;
    read(one, item, where + "[" + std::to_string(items.count() + 1) + "]");
    items.append(std::move(item));
  }
}

template <HasFields Record>
void read(const json& value, Record& record, const std::string& where) {
  requireObject(value, std::tuple_size_v<decltype(kFields<Record>)>, where);
  const auto readField = [&](const auto& field) {
    const std::string place = (where.empty() ? "" : where + ".") + std::string(field.name);
    read(memberOf(value, field.name, where), record.*field.value, place);
  };
  std::apply([&](const auto&... field) { (readField(field), ...); }, kFields<Record>);
}

void requireFormat(const json& number) {
  std::int32_t format = 0;
  read(number, format, std::string(kKind));
  if (format > kSnapshotFormat)
    refuse({}, "is a snapshot of format " + std::to_string(format) +
                   ", but this version reads only formats up to " +
                   std::to_string(kSnapshotFormat) +
                   "; use the version that wrote it, or a later one");
  if (format < 1)
    refuse({}, "is a snapshot of format " + std::to_string(format) + ", which does not exist");
}

// Follows the parser, which keeps the last of several members of one name, and refuses those.
class MemberNames {
 public:
  void follow(json::parse_event_t event, const json& parsed) {
    using Event = json::parse_event_t;
    const bool begins = event == Event::object_start || event == Event::array_start;
    if ((begins || event == Event::value) && !levels_.empty()) ++levels_.back().items;
    if (begins) levels_.emplace_back();
    if (event == Event::key) levels_.back().names.push_back(parsed.get<std::string>());
    if (event == Event::object_end && parsed.size() < levels_.back().names.size()) refuseTwins();
    if (event == Event::object_end || event == Event::array_end) levels_.pop_back();
  }

 private:
  struct Level {
    std::size_t items = 0;
    std::vector<std::string> names = {};  // none in an array
  };

  void refuseTwins() {
    std::vector<std::string> names = levels_.back().names;
    std::ranges::sort(names);
    const auto twin = std::ranges::adjacent_find(names);
    if (twin != names.end()) refuse(place(), "has the member \"" + *twin + "\" twice");
  }
  // "Tables[1].Columns[2]"
  std::string place() const {
    std::string result;
    for (const Level& level : std::span(levels_).first(levels_.size() - 1)) {
      if (level.names.empty())
        result += "[" + std::to_string(level.items) + "]";
      else if (result == kSchema)
        result = level.names.back();
      else
        result += (result.empty() ? "" : ".") + level.names.back();
    }
    return result.empty() ? std::string(kWhole) : result;
  }

  std::vector<Level> levels_;
};

// Takes the elements of the schema's arrays out of the tree while it grows, so that no more than
// one of them is ever held as one.
class Elements {
 public:
  explicit Elements(Schema& schema) : schema_(schema) {}

  bool operator()(int depth, json::parse_event_t event, json& parsed) {
    constexpr int kDepthOfElement = 3;
    using Event = json::parse_event_t;
    if (depth == 0) requireSnapshot(event);
    names_.follow(event, parsed);
    if (event == Event::key && depth == 1) {
      member_ = parsed.get<std::string>();
      if (!known_ && member_ != kKind) requireSnapshot(Event::value);
    } else if (event == Event::key && depth == 2) {
      array_ = parsed.get<std::string>();
    } else if (event == Event::value && depth == 1 && !known_) {
      requireFormat(parsed);
      known_ = true;
    }
    if (member_ != kSchema || depth != kDepthOfElement || event != Event::object_end) return true;
    std::apply([&](const auto&... field) { (take(field, parsed), ...); }, kFields<Schema>);
    return false;
  }

 private:
  static void requireSnapshot(json::parse_event_t event) {
    if (event == json::parse_event_t::object_start || event == json::parse_event_t::object_end)
      return;
    refuse({}, "is not a snapshot: it does not begin with \"" + std::string(kKind) + "\"");
  }

  template <class Field>
  void take(const Field& field, const json& element) {
    if (field.name != array_) return;
    auto& items = schema_.*field.value;
    typename std::remove_reference_t<decltype(items)>::value_type item;
    read(element, item, array_ + "[" + std::to_string(items.count() + 1) + "]");
    items.append(std::move(item));
  }

  Schema& schema_;
  MemberNames names_;
  bool known_ = false;  // as a snapshot of a format that can be read
  std::string member_, array_;
};

std::vector<std::string> readTexts(const json& value, const std::string& where) {
  requireArray(value, where);
  std::vector<std::string> texts;
  for (const json& text : value) texts.push_back(plainText(text, where));
  return texts;
}

json parsed(std::string_view text, Schema& schema) {
  try {
    return json::parse(text, Elements(schema));
  } catch (const json::parse_error& error) {
    const std::size_t at = std::min(error.byte, text.size());
    const auto line = 1 + std::ranges::count(text.substr(0, at), '\n');
    refuse("line " + std::to_string(line),
           at == text.size() ? "the file ends too early" : "is not valid JSON");
  } catch (const json::out_of_range&) {
    refuse({}, "contains a number that is out of range");
  }
}

}  // namespace

void writeSnapshot(const Snapshot& snapshot, std::ostream& out) {
  JsonWriter writer(out);
  writer.keepableTexts();
  writer.beginObject();
  writer.member(kKind, kSnapshotFormat);
  if (!snapshot.taken.empty()) writer.member("taken", std::string_view(snapshot.taken));
  writer.member("caseSensitive", snapshot.caseSensitive);
  writer.member("switches", snapshot.switches);
  writer.member("gaps", snapshot.gaps);
  writer.member("schema", snapshot.schema);
  writer.endObject();
}

Snapshot readSnapshot(std::string_view text) {
  Snapshot snapshot;
  const json root = parsed(text, snapshot.schema);
  if (root.empty()) refuse({}, "is not a snapshot: it is empty");
  const bool isDated = root.contains("taken");
  constexpr std::size_t kMembers = 5;
  requireObject(root, kMembers + (isDated ? 1 : 0), std::string(kWhole));
  if (isDated) snapshot.taken = plainText(root["taken"], "taken");
  const json& caseSensitive = memberOf(root, "caseSensitive", std::string(kWhole));
  if (!caseSensitive.is_boolean()) refuse("caseSensitive", "is neither true nor false");
  snapshot.caseSensitive = caseSensitive.get<bool>();
  snapshot.switches = readTexts(memberOf(root, "switches", std::string(kWhole)), "switches");
  snapshot.gaps = readTexts(memberOf(root, "gaps", std::string(kWhole)), "gaps");
  // Its arrays have lost their elements to the schema.
  Schema rest;
  read(memberOf(root, "schema", std::string(kWhole)), rest, "schema");
  if (rest != Schema{}) refuse("schema", "has elements that are not objects");
  return snapshot;
}

}  // namespace kelvane
