#include "cli/verbs/resume_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "cli/screen/console.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kHead = "kelvane data, compared so far, 1";
constexpr std::string_view kNothing = "-";  // for a text without characters

std::string hexOf(std::string_view bytes) {
  if (bytes.empty()) return std::string(kNothing);
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string hex;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    hex += kDigits[value >> 4U];
    hex += kDigits[value & 15U];
  }
  return hex;
}

struct Malformed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Line {
 public:
  explicit Line(const std::string& text) : words_(text) {}

  std::string word() {
    std::string word;
    if (!(words_ >> word)) throw Malformed("a word is missing");
    return word;
  }
  std::int64_t number() {
    std::int64_t number = 0;
    if (!(words_ >> number)) throw Malformed("a number is missing");
    return number;
  }
  std::string bytes() {
    const std::string hex = word();
    if (hex == kNothing) return {};
    if (hex.size() % 2 != 0 || hex.find_first_not_of("0123456789abcdef") != std::string::npos)
      throw Malformed("hexadecimal digits are missing");
    std::string bytes;
    for (std::size_t at = 0; at < hex.size(); at += 2)
      bytes += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
    return bytes;
  }

 private:
  std::istringstream words_;
};

using CountMember = std::int64_t& (*)(rows::RowCounts&);
constexpr std::array<CountMember, 6> kCounts{
    [](rows::RowCounts& counts) -> std::int64_t& { return counts.rows[0]; },
    [](rows::RowCounts& counts) -> std::int64_t& { return counts.rows[1]; },
    [](rows::RowCounts& counts) -> std::int64_t& { return counts.equal; },
    [](rows::RowCounts& counts) -> std::int64_t& { return counts.changed; },
    [](rows::RowCounts& counts) -> std::int64_t& { return counts.alone[0]; },
    [](rows::RowCounts& counts) -> std::int64_t& { return counts.alone[1]; },
};

void write(const std::string& name, TableState state, std::ostream& out) {
  out << "table " << hexOf(name) << ' ' << hexOf(state.plan) << ' '
      << (state.isWhole ? "whole" : "part") << ' ' << hexOf(state.begin);
  for (const CountMember member : kCounts) out << ' ' << member(state.counts);
  const auto& changed = state.counts.changedValues;
  out << ' ' << changed.size();
  for (const std::int64_t count : changed) out << ' ' << count;
  out << ' ' << state.samples.size() << '\n';
  for (const RowSample& sample : state.samples)
    out << "row " << sample.keySize << ' ' << hexOf(sample.cells[0]) << ' '
        << hexOf(sample.cells[1]) << '\n';
}

// Of the lines behind the head.
std::pair<std::string, TableState> tableIn(std::istream& lines, const std::string& first) {
  Line line(first);
  if (line.word() != "table") throw Malformed("no table");
  std::string name = line.bytes();
  TableState state;
  state.plan = line.bytes();
  state.isWhole = line.word() == "whole";
  state.begin = line.bytes();
  for (const CountMember member : kCounts) member(state.counts) = line.number();
  for (std::int64_t left = line.number(); left > 0; --left)
    state.counts.changedValues.push_back(line.number());
  for (std::int64_t left = line.number(); left > 0; --left) {
    std::string text;
    std::getline(lines, text);
    Line row(text);
    if (row.word() != "row") throw Malformed("no row");
    RowSample& sample = state.samples.emplace_back();
    sample.keySize = static_cast<std::size_t>(row.number());
    sample.cells = {row.bytes(), row.bytes()};
  }
  return {std::move(name), std::move(state)};
}

}  // namespace

ResumeFile::ResumeFile(std::string path, std::string comparison)
    : path_(std::move(path)), comparison_(std::move(comparison)) {
  std::error_code none;
  if (!std::filesystem::exists(path_, none)) return;
  // A device may never end.
  if (!std::filesystem::is_regular_file(path_, none))
    throw CommandError({path_ + ": is not a regular file"});
  std::ifstream file(path_, std::ios::binary);
  if (!file) {
    throw CommandError({path_ + ": " + std::strerror(errno)});
  }
  std::ostringstream text;
  text << file.rdbuf();
  read(text.str());
}

void ResumeFile::read(const std::string& text) {
  std::istringstream lines(text);
  std::string line;
  try {
    std::getline(lines, line);
    if (line != kHead) throw Malformed("another beginning");
    std::getline(lines, line);
    if (Line(line).bytes() != comparison_)
      throw CommandError({path_ + ": is of another comparison: of other sides or with other "
                                  "options; repeat that one, or remove the file"});
    while (std::getline(lines, line)) tables_.insert(tableIn(lines, line));
  } catch (const Malformed& what) {
    throw CommandError({path_ + ": is no file of --resume (" + what.what() + "); remove it"});
  }
}

const TableState* ResumeFile::find(const std::string& table, const std::string& plan) const {
  const auto found = tables_.find(table);
  return found == tables_.end() || found->second.plan != plan ? nullptr : &found->second;
}

void ResumeFile::keep(const std::string& table, TableState state) {
  tables_.insert_or_assign(table, std::move(state));
  write();
}

void ResumeFile::write() const {
  const std::string beside = path_ + ".new";
  std::ofstream file(beside, std::ios::binary | std::ios::trunc);
  file << kHead << '\n' << hexOf(comparison_) << '\n';
  for (const auto& [name, state] : tables_) cli::write(name, state, file);
  file.close();
  if (!file || std::rename(beside.c_str(), path_.c_str()) != 0)
    throw CommandError({path_ + ": cannot be written: " + std::strerror(errno)});
}

void ResumeFile::remove() {
  if (std::remove(path_.c_str()) != 0 && errno != ENOENT)
    throw CommandError({path_ + ": cannot be removed: " + std::strerror(errno)});
}

}  // namespace kelvane::cli
