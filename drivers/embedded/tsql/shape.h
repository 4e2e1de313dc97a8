// What a batch is besides the contents of its strings: programs send the same batches again and
// again with other names in quotes, and one tree serves for all of them.
//
// Plain values, no shared state.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/lexer.h"

namespace kelvane::tsql {

/// The bytes [begin, end) between the quotes of a string.
struct TextSpan {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
};

/// Batches with equal keys differ in nothing but the contents of `texts`, which stand at the same
/// places in all of them. Strings that are empty, of several lines or with a quote inside belong to
/// the key.
struct BatchShape {
  std::string key;
  std::vector<TextSpan> texts;
};

BatchShape shapeOf(std::string_view batch);

/// A tree whose literals know their slots among the texts of the shape.
struct ShapedBatch {
  StatementList statements;
  /// Whether every text became a literal. One that became something else, such as the heading of a
  /// column, makes the tree one for this batch alone.
  bool servesShape = false;
};

/// As parseBatch of parser.h, for a batch of that shape.
ShapedBatch parseBatch(std::string_view batch, const BatchShape& shape, ParseOptions options);

}  // namespace kelvane::tsql
