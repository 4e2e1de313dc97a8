// Compares pieces of tables by several pairs of sides at once. They are taken in the order in which
// they were cut, so that what is told of them is the same however many there are.
//
// Lifetime: sides and functions outlive it; when it goes before all pieces are taken, it cancels
// what sides wait for. Threading: one thread makes it, takes from it and destroys it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

#include "cli/verbs/row_piece.h"
#include "rows/kept_rows.h"

namespace kelvane::cli {

// A piece whose rows that differ wait until it is taken.
struct LanePiece {
  RowPiece piece;
  std::size_t task = 0;  // as the caller counts
  rows::KeptRows differing = {};
};

class RowLanes {
 public:
  // The next piece, which a pair of sides that has nothing to do may be asked about; null: nothing
  // is left for that one. Called by one thread at a time.
  using Cut = std::function<std::unique_ptr<LanePiece>(const RowLane& lane)>;
  using Passed = std::function<void(std::size_t task, std::int64_t rows)>;

  RowLanes(std::vector<RowLane> lanes, Cut cut, Passed passed, const std::stop_token& stop);
  ~RowLanes();
  RowLanes(const RowLanes&) = delete;
  RowLanes& operator=(const RowLanes&) = delete;

  // Waits for the next piece in the order of the cuts; null: nothing more comes. Throws what a lane
  // threw that is no error of its piece.
  std::unique_ptr<LanePiece> take();

 private:
  struct Slot {
    std::unique_ptr<LanePiece> piece;
    bool isDone = false;
  };

  void work(const RowLane& lane);
  Slot* next(const RowLane& lane);

  std::vector<RowLane> lanes_;
  Cut cut_;
  Passed passed_;
  std::stop_source stop_;

  std::mutex cutting_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Slot> slots_;  // in the order of the cuts
  std::size_t working_ = 0;
  std::exception_ptr failure_;
  std::stop_callback<std::function<void()>> whenStopped_;
  std::vector<std::thread> threads_;
};

}  // namespace kelvane::cli
