#include "rows/row_stream.h"

#include <chrono>
#include <utility>

namespace kelvane::rows {
namespace {

// Large enough for the hand-over to cost nothing, small enough to stay in the processor's cache.
constexpr std::size_t kBatchBytes = 256U << 10U;
constexpr std::size_t kBatchRows = 4096;
constexpr std::size_t kMostBatches = 4;
// A batch of one large row may be larger than all others together.
constexpr std::size_t kMostBytes = kMostBatches * 2 * kBatchBytes;

constexpr std::chrono::milliseconds kBetweenCancels(200);

}  // namespace

RowStream::RowStream(OpenRows open, RowLayout layout, std::function<void()> cancel)
    : open_(std::move(open)),
      layout_(std::move(layout)),
      cancel_(std::move(cancel)),
      reader_([this] {
        try {
          read();
        } catch (...) {
          const std::scoped_lock lock(mutex_);
          failure_ = std::current_exception();
        }
        const std::scoped_lock lock(mutex_);
        isRead_ = true;
        changed_.notify_all();
      }) {}

RowStream::~RowStream() {
  {
    std::unique_lock lock(mutex_);
    isAbandoned_ = true;
    changed_.notify_all();
    // A cancellation that comes just before a statement is sent does nothing.
    while (cancel_ && !changed_.wait_for(lock, kBetweenCancels, [&] { return isRead_; })) {
      lock.unlock();
      cancel_();
      lock.lock();
    }
  }
  reader_.join();
}

void RowStream::read() {
  const auto source = open_();
  const std::vector<PackedColumn>& cells = layout_.cells;
  std::u16string storage;
  Batch batch;
  const auto size = [&] { return static_cast<std::uint32_t>(batch.cells.size()); };
  while (source->next()) {
    Batch::Extent extent{size(), 0, 0};
    for (std::size_t at = 0; at < cells.size(); ++at) {
      if (at == layout_.keyCells) extent.key = size();
      const auto& [column, form, folds] = cells[at];
      if (form == Form::large) {
        source->packLarge(column, batch.cells);
        continue;
      }
      const ado::Value value = source->value(column);
      pack(folds.folds() ? folded(value, folds, storage) : value, form, batch.cells);
    }
    extent.end = size();
    if (cells.size() == layout_.keyCells) extent.key = extent.end;
    batch.rows.push_back(extent);
    if ((batch.cells.size() >= kBatchBytes || batch.rows.size() >= kBatchRows) && !handOver(batch))
      return;
  }
  handOver(batch);
}

bool RowStream::handOver(Batch& batch) {
  std::unique_lock lock(mutex_);
  const auto hasRoom = [&] {
    return full_.empty() ||
           (full_.size() < kMostBatches && bytes_ + batch.cells.size() <= kMostBytes);
  };
  changed_.wait(lock, [&] { return hasRoom() || isAbandoned_; });
  if (isAbandoned_) return false;
  bytes_ += batch.cells.size();
  full_.push_back(std::move(batch));
  batch = {};
  if (!spare_.empty()) {
    batch = std::move(spare_.back());
    spare_.pop_back();
    batch.cells.clear();
    batch.rows.clear();
  }
  changed_.notify_all();
  return true;
}

bool RowStream::takeBatch() {
  std::unique_lock lock(mutex_);
  if (batch_.cells.capacity() <= 2 * kBatchBytes) spare_.push_back(std::move(batch_));
  batch_ = {};
  changed_.wait(lock, [&] { return !full_.empty() || isRead_; });
  if (full_.empty()) {
    if (failure_) std::rethrow_exception(failure_);
    return false;
  }
  batch_ = std::move(full_.front());
  full_.pop_front();
  bytes_ -= batch_.cells.size();
  changed_.notify_all();
  return true;
}

bool RowStream::next() {
  while (at_ == batch_.rows.size()) {
    at_ = 0;
    if (!takeBatch()) return false;
  }
  const auto& [begin, key, end] = batch_.rows[at_++];
  const std::string_view cells(batch_.cells);
  row_ = {cells.substr(begin, key - begin), cells.substr(begin, end - begin)};
  ++passed_;
  return true;
}

}  // namespace kelvane::rows
