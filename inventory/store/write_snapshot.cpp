#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "inventory/store/fields.h"
#include "inventory/store/snapshot.h"
#include "model/text.h"

namespace kelvane::inventory {
namespace {

using json = nlohmann::ordered_json;

bool isUtf8(const std::string& text) {
  const auto isAscii = [](char letter) { return static_cast<unsigned char>(letter) < 0x80; };
  return std::ranges::all_of(text, isAscii) || toUtf8(toUtf16(text)) == text;
}

std::string hexDigits(const std::string& bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string digits;
  digits.reserve(2 * bytes.size());
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    digits += kDigits[code >> 4U];
    digits += kDigits[code & 0xFU];
  }
  return digits;
}

json written(const std::string& text) {
  if (!isUtf8(text)) return json::object({{"bytes", hexDigits(text)}});
  if (text.find('\n') == text.npos) return text;
  // A line a line, so that those who compare versions of the file see which of them changed.
  json lines = json::array();
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size() - 1) + 1;
    lines.push_back(text.substr(begin, end - begin));
    begin = end;
  }
  return lines;
}
json written(bool value) { return value; }
template <std::integral Number>
json written(Number value) {
  return value;
}
template <class Number>
json written(const std::optional<Number>& value) {
  return *value;
}
json written(Definition::State state) {
  return std::string(kStates[static_cast<std::size_t>(state)].second);
}
template <class Item>
json written(const std::vector<Item>& items);
template <class Value>
json written(const Rare<Value>& value);

template <HasMembers Record>
json written(const Record& record) {
  static const Record kNew{};
  json object = json::object();
  forEachMember<Record>([&](std::string_view name, auto member) {
    if (record.*member == kNew.*member) return;
    object[std::string(name)] = written(record.*member);
  });
  return object;
}

template <class Value>
json written(const Rare<Value>& value) {
  return written(*value);
}

template <class Item>
json written(const std::vector<Item>& items) {
  json array = json::array();
  for (const Item& item : items) array.push_back(written(item));
  return array;
}

/// A member of the whole; its lines stand a level deeper than those of a text of its own.
class Members {
 public:
  explicit Members(std::ostream& out) : out_(out) { out_ << '{'; }
  void add(std::string_view name, const json& value) {
    begin(name);
    indented(value, 1);
  }
  template <class Item>
  void add(std::string_view name, const std::vector<Item>& items) {
    if (items.empty()) return;
    begin(name);
    out_ << '[';
    const char* separator = "\n";
    for (const Item& item : items) {
      out_ << separator << std::string(2 * kIndent, ' ');
      indented(written(item), 2);
      separator = ",\n";
    }
    out_ << '\n' << std::string(kIndent, ' ') << ']';
  }
  void end() { out_ << "\n}\n"; }

 private:
  static constexpr std::size_t kIndent = 2;

  void begin(std::string_view name) {
    out_ << (first_ ? "\n" : ",\n") << std::string(kIndent, ' ') << '"' << name << "\": ";
    first_ = false;
  }
  void indented(const json& value, std::size_t level) {
    const std::string text = value.dump(static_cast<int>(kIndent));
    const std::string margin(level * kIndent, ' ');
    for (std::size_t begin = 0; begin <= text.size();) {
      const std::size_t end = std::min(text.find('\n', begin), text.size());
      if (begin > 0) out_ << '\n' << margin;
      out_ << std::string_view(text).substr(begin, end - begin);
      begin = end + 1;
    }
  }

  std::ostream& out_;
  bool first_ = true;
};

}  // namespace

void writeSnapshot(const Snapshot& snapshot, std::ostream& out) {
  Members members(out);
  members.add("kelvane snapshot", kSnapshotFormat);
  if (!snapshot.taken.empty()) members.add("taken", json(snapshot.taken));
  members.add("server", written(snapshot.database.server));
  members.add("gaps", snapshot.database.gaps);
  members.add(rowOf(Kind::database).singular, written(snapshot.database.settings));
  forEachObjects([&](const auto& objects) {
    members.add(rowOf(objects.kind).plural, snapshot.database.*objects.member);
  });
  members.end();
}

}  // namespace kelvane::inventory
