#include <algorithm>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "inventory/store/fields.h"
#include "inventory/store/snapshot.h"

namespace kelvane::inventory {
namespace {

using nlohmann::json;

constexpr std::string_view kKind = "kelvane snapshot";

[[noreturn]] void refuse(const std::string& where, const std::string& what) {
  throw SnapshotError((where.empty() ? "" : where + ": ") + what);
}

void require(bool holds, const std::string& where, const char* what) {
  if (!holds) refuse(where, what);
}

const std::string& plainText(const json& value, const std::string& where) {
  const auto* text = value.get_ptr<const std::string*>();
  require(text != nullptr, where, "is not a string");
  return *text;
}

std::string fromHexDigits(const std::string& digits, const std::string& where) {
  std::string bytes;
  bytes.reserve(digits.size() / 2);
  for (std::size_t at = 0; at < digits.size(); at += 2) {
    std::uint8_t byte = 0;
    const char* const end = digits.data() + std::min(at + 2, digits.size());
    const auto [behind, error] = std::from_chars(digits.data() + at, end, byte, 16);
    require(error == std::errc() && behind == digits.data() + at + 2, where,
            "does not hold bytes as hexadecimal digits");
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

void read(const json& value, std::string& text, const std::string& where) {
  if (value.is_object()) {
    require(value.size() == 1 && value.contains("bytes"), where, "is not a text");
    text = fromHexDigits(plainText(value["bytes"], where), where);
  } else if (value.is_array()) {
    text.clear();
    for (const json& line : value) text += plainText(line, where);
  } else {
    text = plainText(value, where);
  }
}

void read(const json& value, bool& flag, const std::string& where) {
  require(value.is_boolean(), where, "is neither true nor false");
  flag = value.get<bool>();
}

template <std::integral Number>
void read(const json& value, Number& number, const std::string& where) {
  const bool isHuge = value.is_number_unsigned() && value.get<json::number_unsigned_t>() >
                                                        std::numeric_limits<std::int64_t>::max();
  require(value.is_number_integer() && !isHuge, where, "is not a whole number in range");
  const auto whole = value.get<std::int64_t>();
  require(
      whole >= std::numeric_limits<Number>::min() && whole <= std::numeric_limits<Number>::max(),
      where, "is not a whole number in range");
  number = static_cast<Number>(whole);
}

template <class Number>
void read(const json& value, std::optional<Number>& number, const std::string& where) {
  read(value, number.emplace(), where);
}

void read(const json& value, Definition::State& state, const std::string& where) {
  const std::string& word = plainText(value, where);
  const auto found = std::ranges::find(kStates, word, &decltype(kStates)::value_type::second);
  require(found != kStates.end(), where, "is no state of a definition");
  state = found->first;
}

template <class Item>
void read(const json& value, std::vector<Item>& items, const std::string& where);
template <HasMembers Record>
void read(const json& value, Record& record, const std::string& where);

template <class Value>
void read(const json& value, Rare<Value>& rare, const std::string& where) {
  Value whole;
  read(value, whole, where);
  rare = std::move(whole);
}

template <class Item>
void read(const json& value, std::vector<Item>& items, const std::string& where) {
  require(value.is_array(), where, "is not an array");
  items.clear();
  items.reserve(value.size());
  for (const json& one : value) {
    Item& item = items.emplace_back();
    read(one, item, where + "[" + std::to_string(items.size()) + "]");
  }
}

template <HasMembers Record>
void read(const json& value, Record& record, const std::string& where) {
  require(value.is_object(), where, "is not an object");
  record = {};
  std::size_t known = 0;
  forEachMember<Record>([&](std::string_view name, auto member) {
    const auto found = value.find(name);
    if (found == value.end()) return;
    ++known;
    read(*found, record.*member, where + "." + std::string(name));
  });
  if (known == value.size()) return;
  for (const auto& item : value.items()) {
    bool isKnown = false;
    forEachMember<Record>(
        [&](std::string_view name, auto) { isKnown = isKnown || name == item.key(); });
    if (!isKnown) refuse(where, "has the member \"" + item.key() + "\", which is not known");
  }
}

void requireFormat(const json& number) {
  std::int32_t format = 0;
  read(number, format, std::string(kKind));
  if (format == kSnapshotFormat) return;
  const std::string its = "is a snapshot of format " + std::to_string(format) + ", ";
  if (format == 1) refuse({}, its + "which holds less than is compared now; take it again");
  if (format < 1) refuse({}, its + "which does not exist");
  refuse({}, its + "but this version reads only format " + std::to_string(kSnapshotFormat) +
                 "; use the version that wrote it, or a later one");
}

/// Takes each member of the whole, and each object of a list, out of the text while it is parsed,
/// so that no more than one of them is held as a tree.
class Elements {
 public:
  explicit Elements(Snapshot& snapshot) : snapshot_(snapshot) {}

  bool operator()(int depth, json::parse_event_t event, json& parsed) {
    using Event = json::parse_event_t;
    if (depth == 0) require(event == Event::object_start || event == Event::object_end, {}, kNone);
    followNames(event, parsed);
    if (event == Event::key && depth == 1) beginMember(parsed.get<std::string>());
    const bool isEnd =
        event == Event::value || event == Event::object_end || event == Event::array_end;
    if (depth == 1 && isEnd) return takeMember(parsed), false;
    if (depth == 2 && isEnd && isList_) return takeObject(parsed), false;
    return true;
  }

  bool isKnown() const { return known_; }

 private:
  static constexpr const char* kNone =
      "is not a snapshot: it does not begin with \"kelvane snapshot\"";

  void beginMember(std::string name) {
    if (!known_ && name != kKind) refuse({}, kNone);
    member_ = std::move(name);
    count_ = 0;
    isList_ = false;
    forEachObjects(
        [&](const auto& objects) { isList_ = isList_ || rowOf(objects.kind).plural == member_; });
  }

  void takeMember(const json& value) {
    Database& database = snapshot_.database;
    if (member_ == kKind) {
      requireFormat(value);
      known_ = true;
    } else if (member_ == "taken") {
      read(value, snapshot_.taken, member_);
    } else if (member_ == "server") {
      read(value, database.server, member_);
    } else if (member_ == "gaps") {
      read(value, database.gaps, member_);
    } else if (member_ == rowOf(Kind::database).singular) {
      read(value, database.settings, member_);
    } else if (!isList_) {
      refuse({}, "has the member \"" + member_ + "\", which is not known");
    } else {
      require(value.is_array(), member_, "is not an array");
    }
  }

  void takeObject(const json& value) {
    const std::string where = member_ + "[" + std::to_string(++count_) + "]";
    forEachObjects([&](const auto& objects) {
      if (rowOf(objects.kind).plural == member_)
        read(value, (snapshot_.database.*objects.member).emplace_back(), where);
    });
  }

  /// The parser keeps the last of several members of one name; such a text is refused.
  void followNames(json::parse_event_t event, const json& parsed) {
    using Event = json::parse_event_t;
    if (event == Event::object_start) names_.emplace_back();
    if (event == Event::key) names_.back().push_back(parsed.get<std::string>());
    if (event != Event::object_end) return;
    std::vector<std::string>& names = names_.back();
    std::ranges::sort(names);
    const auto twin = std::ranges::adjacent_find(names);
    if (twin != names.end()) {
      refuse(member_ + (isList_ ? "[" + std::to_string(count_ + 1) + "]" : ""),
             "has the member \"" + *twin + "\" twice");
    }
    names_.pop_back();
  }

  Snapshot& snapshot_;
  std::string member_;
  std::size_t count_ = 0;
  bool isList_ = false;
  bool known_ = false;  ///< as a snapshot of the format that is read
  std::vector<std::vector<std::string>> names_;
};

}  // namespace

Snapshot readSnapshot(std::string_view text) {
  Snapshot snapshot;
  Elements elements(snapshot);
  try {
    // All of it has been taken by then.
    [[maybe_unused]] const json rest = json::parse(text, std::ref(elements));
  } catch (const json::parse_error& error) {
    const std::size_t at = std::min(error.byte, text.size());
    const auto line = 1 + std::ranges::count(text.substr(0, at), '\n');
    refuse("line " + std::to_string(line),
           at == text.size() ? "the file ends too early" : "is not valid JSON");
  } catch (const json::out_of_range&) {
    refuse({}, "contains a number that is out of range");
  }
  require(elements.isKnown(), {}, "is not a snapshot: it is empty");
  return snapshot;
}

}  // namespace kelvane::inventory
