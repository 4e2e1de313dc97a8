// Finds objects of one kind that each side has under another name, by what they consist of.
//
// Lifetime: owns what it is given. Threading: one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "findings/rename.h"

namespace kelvane::findings {

/// What an object consists of, a line each, without its own name.
struct Contents {
  std::string name;  ///< without the owner
  std::u16string fullName;
  std::vector<std::string> lines;
};

/// The text with a mark where it has the name as a whole word.
std::string withoutName(std::string_view text, std::string_view name);

/// The text without the blanks and line ends that it ends with.
std::string_view withoutEnd(std::string_view text);

/// Adds each line of a definition, without the name.
void addLines(std::string_view definition, std::string_view name, std::vector<std::string>& lines);

/// How many objects have a line, and the same contents: the more have it, the less it says about
/// which object it is. What every table of a database has makes no two of them alike.
class LineWeights {
 public:
  using Hashes = std::vector<std::size_t>;  // sorted

  void add(std::size_t side, Hashes lines);
  double of(std::size_t line) const;
  /// Whether no two objects of a side have these contents, and not all of them are common ones.
  bool isOwn(const Hashes& lines) const;

 private:
  using Counts = std::unordered_map<std::size_t, std::array<std::int32_t, 2>>;
  std::array<std::size_t, 2> all_{};
  Counts objects_;   // that have a line
  Counts contents_;  // objects that have the same ones
};

class RenameSearch {
 public:
  enum class Presence : std::uint8_t { both, alone };

  explicit RenameSearch(std::string_view kind) : kind_(kind) {}

  /// All objects of the kind; `alone` are those that the other side (0: source, 1: target) lacks.
  void add(std::size_t side, Contents contents, Presence presence);
  /// Pairs those whose contents are equal and of no other, then the most alike. Those that are
  /// nearly equal are looked for only where few are alone.
  void find(std::vector<Rename>& renames);

 private:
  struct Candidate {
    std::string name;
    std::u16string fullName;
    std::string contents;
    LineWeights::Hashes lines;
    double weight = 0;
    bool isPaired = false;
  };
  using Side = std::vector<Candidate*>;

  void pair(Candidate& source, Candidate& target, int likeness, std::vector<Rename>& renames);
  template <class KeyOf>
  void pairUnique(KeyOf keyOf, std::vector<Rename>& renames);
  void pairAlike(std::vector<Rename>& renames);
  void forgetPaired();
  double sum(const LineWeights::Hashes& lines) const;
  int likeness(const Candidate& source, const Candidate& target) const;

  std::string kind_;
  LineWeights weights_;
  std::array<std::vector<Candidate>, 2> candidates_;
  std::array<Side, 2> left_;
};

}  // namespace kelvane::findings
