#include "inventory/ddl/file_names.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <unordered_map>

namespace kelvane::inventory {
namespace {

/// File systems take 255 bytes, and the ending is one of them.
constexpr std::size_t kLongest = 200;

constexpr bool isCapital(char c) { return c >= 'A' && c <= 'Z'; }
constexpr char lower(char c) { return isCapital(c) ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr bool isSafe(char c) {
  return isCapital(c) || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
         c == '$' || c == '#' || c == '@';
}

std::string lowerCase(std::string text) {
  std::ranges::transform(text, text.begin(), lower);
  return text;
}

void append(std::string& text, char c) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(c);
  text += '%';
  text += kDigits[byte >> 4U];
  text += kDigits[byte & 0xFU];
}

/// FNV-1a, which is the same everywhere.
std::string digest(std::string_view text) {
  std::uint32_t hash = 2166136261U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  return std::to_string(hash);
}

/// Names of devices on Windows, with any ending.
bool isDevice(const std::string& name) {
  static constexpr std::array<std::string_view, 4> kAlone{"con", "prn", "aux", "nul"};
  static constexpr std::array<std::string_view, 2> kNumbered{"com", "lpt"};
  const std::string word = lowerCase(name.substr(0, name.find('.')));
  if (std::ranges::find(kAlone, word) != kAlone.end()) return true;
  return word.size() == 4 && word[3] >= '0' && word[3] <= '9' &&
         std::ranges::find(kNumbered, word.substr(0, 3)) != kNumbered.end();
}

std::string shortened(std::string name) {
  if (name.size() <= kLongest) return name;
  const std::string mark = "%~" + digest(name);
  name.resize(kLongest - mark.size());
  return name + mark;
}

std::string withoutCapitals(const std::string& path) {
  std::string name;
  for (const char c : path) {
    if (isCapital(c)) {
      append(name, c);
    } else {
      name += c;
    }
  }
  return name;
}

}  // namespace

std::string fileName(const std::vector<std::string>& parts) {
  std::string name;
  for (const std::string& part : parts) {
    if (!name.empty()) name += '.';
    for (const char c : part) {
      if (isSafe(c)) {
        name += c;
      } else {
        append(name, c);
      }
    }
  }
  if (isDevice(name)) {
    std::string first;
    append(first, name.front());
    name.replace(0, 1, first);
  }
  return shortened(std::move(name));
}

void tellApart(std::vector<ScriptedObject>& objects) {
  std::unordered_map<std::string, std::size_t> count;
  for (const ScriptedObject& object : objects) ++count[lowerCase(object.file)];
  for (ScriptedObject& object : objects) {
    if (count[lowerCase(object.file)] == 1) continue;
    const std::size_t slash = object.file.find('/') + 1, dot = object.file.rfind('.');
    const std::string name = object.file.substr(slash, dot - slash);
    // The digits of %2E are capital letters as well.
    std::string spelled;
    for (std::size_t at = 0; at < name.size(); ++at) {
      const bool isCode = name[at] == '%';
      spelled += isCode ? name.substr(at, 3) : withoutCapitals(name.substr(at, 1));
      if (isCode) at += 2;
    }
    object.file = object.file.substr(0, slash) + shortened(std::move(spelled)) + ".sql";
  }
}

}  // namespace kelvane::inventory
