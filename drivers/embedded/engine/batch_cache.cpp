#include "drivers/embedded/engine/batch_cache.h"

#include <functional>
#include <utility>

#include "drivers/embedded/tsql/parser.h"
#include "drivers/embedded/tsql/shape.h"

namespace kelvane::embedded {

std::shared_ptr<ParsedBatch> parsedAlone(std::string_view text, tsql::ParseOptions how) {
  auto batch = std::make_shared<ParsedBatch>(std::string(text));
  batch->statements = tsql::parseBatch(batch->text, how);
  return batch;
}

// One that comes next is no new one.
bool BatchCache::isNewShape(std::string_view key) {
  constexpr std::size_t kMostShapes = 1 << 16;
  if (shapes_.size() >= kMostShapes) shapes_.clear();
  return shapes_.insert(std::hash<std::string_view>{}(key)).second;
}

std::shared_ptr<ParsedBatch> BatchCache::parse(std::string_view text, tsql::ParseOptions how) {
  // Longer batches do not come twice.
  constexpr std::size_t kLongestKept = 16'384;
  // A tree takes some hundred times the memory of its text.
  constexpr std::size_t kMostKept = 1 << 20;
  if (text.size() > kLongestKept) return parsedAlone(text, how);
  tsql::BatchShape shape = tsql::shapeOf(text);
  shape.key += how.quotedIdentifier ? 'q' : ' ';
  if (isNewShape(shape.key)) return parsedAlone(text, how);
  const auto kept = batches_.find(shape.key);
  // A batch that is running, or that a cursor reads, is not to be disturbed.
  if (kept != batches_.end() && kept->second.use_count() > 1) return parsedAlone(text, how);
  std::vector<std::string> texts;
  texts.reserve(shape.texts.size());
  for (const auto& [begin, end] : shape.texts) texts.emplace_back(text, begin, end - begin);
  if (kept != batches_.end()) {
    kept->second->text = text;
    kept->second->texts = std::move(texts);
    return kept->second;
  }
  auto batch = std::make_shared<ParsedBatch>(std::string(text), std::move(texts));
  tsql::ShapedBatch tree = tsql::parseBatch(batch->text, shape, how);
  batch->statements = std::move(tree.statements);
  if (tree.servesShape) {
    if (keptText_ + text.size() > kMostKept) {
      batches_.clear();
      keptText_ = 0;
    }
    keptText_ += text.size();
    batches_.emplace(std::move(shape.key), batch);
  }
  return batch;
}

}  // namespace kelvane::embedded
