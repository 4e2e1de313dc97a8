// Batches and what the parser makes of them.
#pragma once

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::tsql {

/// The error, `102 2: Incorrect syntax near ','.`; else the sources of the statements with ` | `
/// between them.
inline std::string parsed(std::string_view batch, ParseOptions options = {}) {
  try {
    std::string statements;
    for (const StatementPtr& statement : parseBatch(batch, options)) {
      statements += statements.empty() ? "" : " | ";
      statements += statement->range.in(batch);
    }
    return statements;
  } catch (const ServerError& error) {
    return std::to_string(error.number) + " " + std::to_string(error.line) + ": " + error.text();
  }
}

struct Sample {
  std::string_view batch;
  std::string_view expected;
};

inline void expectParsed(std::initializer_list<Sample> samples) {
  for (const Sample& s : samples) EXPECT_EQ(parsed(s.batch), s.expected) << s.batch;
}

}  // namespace kelvane::tsql
