// Runs `insert ... values (literals)` without a tree: scripts that bring rows are made of little
// else, and each of their statements has other values.
//
// Belongs to one session and must not outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "drivers/embedded/engine/kept_plans.h"
#include "drivers/embedded/engine/outcome.h"

namespace kelvane::embedded {

class Session;

class RowInserts {
 public:
  explicit RowInserts(Session& session);
  ~RowInserts();
  RowInserts(const RowInserts&) = delete;
  RowInserts& operator=(const RowInserts&) = delete;

  /// Runs a batch of nothing but such statements. Returns how many of its bytes have been run and
  /// need no other treatment: none of a batch with anything else in it, and none from a statement
  /// on that fails.
  std::size_t run(std::string_view batch, Outcome& outcome);

 private:
  enum class Kind : std::uint8_t { Null, Integer, Decimal, Money, Float, Text, QuotedText, Binary };
  // The bytes [begin, end) of a literal, without quotes, sign and prefix.
  struct Value {
    std::uint32_t begin;
    std::uint32_t end;
    Kind kind;
    bool isNegative;
  };
  struct Target;
  struct Row {
    Target* target;
    std::uint32_t begin;
  };
  class Scanner;

  Target* targetFor(std::string_view head, Outcome& outcome);
  std::unique_ptr<Target> makeTarget(std::string_view head, Outcome& outcome);
  bool serves(const Target& target) const;
  void insert(Target& target, std::string_view batch, const Value* values, Outcome& outcome);
  void bind(Target& target, std::size_t column, std::string_view batch, const Value& value);
  bool bindNumber(Target& target, std::size_t column, std::string_view digits, const Value& value);
  bool bindText(Target& target, std::size_t column, std::string_view text);
  void bindConverted(Target& target, std::size_t column, std::string_view batch,
                     const Value& value);

  Session& session_;
  /// By what stands before the first value.
  std::unordered_map<std::string, std::unique_ptr<Target>> targets_;
  /// Of the batch at hand; kept for their memory.
  std::vector<Row> rows_;
  std::vector<Value> values_;
};

}  // namespace kelvane::embedded
