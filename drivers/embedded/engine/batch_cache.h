// The batches of a session by their shapes: a tree, and the plans with it, serves again when the
// same batch comes again with other texts in its quotes.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "drivers/embedded/engine/parsed_batch.h"
#include "drivers/embedded/tsql/lexer.h"

namespace kelvane::embedded {

class BatchCache {
 public:
  /// A kept batch of the same shape with the texts of this one, or a new one, which is kept if its
  /// shape has come before. Throws as tsql::parseBatch does.
  std::shared_ptr<ParsedBatch> parse(std::string_view text, tsql::ParseOptions how);

 private:
  bool isNewShape(std::string_view key);

  /// By the keys of their shapes, of those that came more than once: most batches of a script never
  /// come again.
  std::unordered_map<std::string, std::shared_ptr<ParsedBatch>> batches_;
  std::unordered_set<std::size_t> shapes_;  ///< hashes of the keys that came at all
  std::size_t keptText_ = 0;                ///< bytes of their texts
};

/// A batch that is not kept. Throws as tsql::parseBatch does.
std::shared_ptr<ParsedBatch> parsedAlone(std::string_view text, tsql::ParseOptions how);

}  // namespace kelvane::embedded
