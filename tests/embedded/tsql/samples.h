// Tables of (batch, expected tree or error).
#pragma once

#include <gtest/gtest.h>
#include <initializer_list>

#include "tests/embedded/tsql/dump.h"

namespace kelvane::tsql {

struct Sample {
  std::string_view batch;
  std::string_view expected;
};

inline void expectParsed(std::initializer_list<Sample> samples, ParseOptions options = {}) {
  for (const Sample& s : samples) EXPECT_EQ(parsed(s.batch, options), s.expected) << s.batch;
}

}  // namespace kelvane::tsql
