#include "cli/verbs/row_lanes.h"

#include <chrono>
#include <utility>

namespace kelvane::cli {
namespace {

// Beyond it lanes wait for the slowest one: each may have a file of rows that differ.
constexpr std::size_t kMostPieces = 64;

class KeepingWatch final : public PieceWatch {
 public:
  KeepingWatch(LanePiece& piece, std::function<void(std::int64_t)> passed, std::stop_token stop)
      : PieceWatch(piece.piece, std::move(passed), std::move(stop)), differing_(piece.differing) {}
  void rowsDiffer(const rows::DifferingRows& rows) override { differing_.add(rows); }

 private:
  rows::KeptRows& differing_;
};

}  // namespace

RowLanes::RowLanes(std::vector<RowLane> lanes, Cut cut, Passed passed, const std::stop_token& stop)
    : lanes_(std::move(lanes)),
      cut_(std::move(cut)),
      passed_(std::move(passed)),
      working_(lanes_.size()),
      whenStopped_(stop, [this] {
        stop_.request_stop();
        const std::lock_guard lock(mutex_);
        changed_.notify_all();
      }) {
  threads_.reserve(lanes_.size());
  for (const RowLane& lane : lanes_) threads_.emplace_back([this, &lane] { work(lane); });
}

RowLanes::~RowLanes() {
  stop_.request_stop();
  {
    std::unique_lock lock(mutex_);
    changed_.notify_all();
    // A cancellation that comes just before a statement is sent does nothing.
    constexpr std::chrono::milliseconds kAgain(200);
    while (!changed_.wait_for(lock, kAgain, [this] { return working_ == 0; })) {
      for (const RowLane& lane : lanes_) {
        for (RowSide* side : lane) side->cancel();
      }
    }
  }
  for (std::thread& thread : threads_) thread.join();
}

std::unique_ptr<LanePiece> RowLanes::take() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] {
    return failure_ || (slots_.empty() ? working_ == 0 : slots_.front().isDone);
  });
  if (failure_) std::rethrow_exception(failure_);
  if (slots_.empty()) return nullptr;
  auto piece = std::move(slots_.front().piece);
  slots_.pop_front();
  changed_.notify_all();
  return piece;
}

// Cuts are made one after the other, so that pieces stand in their order.
RowLanes::Slot* RowLanes::next(const RowLane& lane) {
  const std::lock_guard cutting(cutting_);
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return slots_.size() < kMostPieces || stop_.stop_requested(); });
  }
  if (stop_.stop_requested()) return nullptr;
  auto piece = cut_(lane);
  if (!piece) return nullptr;
  const std::lock_guard lock(mutex_);
  return &slots_.emplace_back(Slot{std::move(piece)});
}

void RowLanes::work(const RowLane& lane) {
  std::exception_ptr failure;
  try {
    while (Slot* slot = next(lane)) {
      LanePiece& piece = *slot->piece;
      KeepingWatch watch(
          piece, [&](std::int64_t rows) { passed_(piece.task, rows); }, stop_.get_token());
      if (!piece.piece.isKnown) comparePiece(piece.piece, lane, watch);
      const std::lock_guard lock(mutex_);
      slot->isDone = true;
      changed_.notify_all();
    }
  } catch (...) {
    failure = std::current_exception();
  }
  const std::lock_guard lock(mutex_);
  if (failure && !failure_) failure_ = failure;
  --working_;
  changed_.notify_all();
}

}  // namespace kelvane::cli
