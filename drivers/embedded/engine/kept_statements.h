// Prepared statements by their texts, kept for whoever needs the same text next.
//
// Refers to the store, which must outlive it.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "drivers/embedded/store/sqlite.h"

namespace kelvane::embedded {

class KeptStatements {
 public:
  explicit KeptStatements(Database& store) : store_(store) {}

  /// A statement for the text, a kept one if there is one; it goes back with `giveBack`.
  Statement take(const std::string& sql) {
    const auto kept = statements_.find(sql);
    if (kept == statements_.end() || !kept->second) return store_.prepare(sql);
    return *std::exchange(kept->second, std::nullopt);
  }

  void giveBack(const std::string& sql, Statement statement) {
    constexpr std::size_t kMost = 256;
    statement.reset();
    const auto place = statements_.find(sql);
    if (place != statements_.end()) {
      place->second = std::move(statement);
      return;
    }
    if (statements_.size() >= kMost) statements_.clear();
    statements_.emplace(sql, std::move(statement));
  }

 private:
  Database& store_;
  /// None while somebody has it.
  std::unordered_map<std::string, std::optional<Statement>> statements_;
};

}  // namespace kelvane::embedded
