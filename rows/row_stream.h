// The rows of a side, packed by a thread of their own while somebody else compares those before
// them.
//
// Lifetime: what the rows are read from outlives the stream and is the stream's alone until that
// goes. Threading: one thread asks; the stream's own thread opens and reads the source.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "rows/leniency.h"
#include "rows/packed_row.h"
#include "rows/row_source.h"

namespace kelvane::rows {

/// A cell of packed rows: what of a source it comes from, and how.
struct PackedColumn {
  std::size_t column = 0;
  Form form = Form::asItIs;
  Leniency folds = {};
};

struct RowLayout {
  std::vector<PackedColumn> cells;
  std::size_t keyCells = 0;  ///< the first ones
};

/// A row in a batch: its key, and all of it.
struct Row {
  std::string_view key, cells;
};

class RowStream {
 public:
  /// `cancel` ends what the source waits for; it is called by another thread, again and again,
  /// where the stream goes before its rows have all come.
  RowStream(OpenRows open, RowLayout layout, std::function<void()> cancel = {});
  ~RowStream();
  RowStream(const RowStream&) = delete;
  RowStream& operator=(const RowStream&) = delete;

  /// Goes to the next row. False behind the last one. A row lives until the next call.
  /// Throws what reading threw, behind the rows before it.
  bool next();
  const Row& row() const { return row_; }
  std::int64_t rows() const { return passed_; }

 private:
  struct Batch {
    struct Extent {
      std::uint32_t begin, key, end;
    };
    std::string cells;
    std::vector<Extent> rows;
  };

  void read();
  bool handOver(Batch& batch);
  bool takeBatch();

  const OpenRows open_;
  const RowLayout layout_;
  const std::function<void()> cancel_;

  Batch batch_;
  std::size_t at_ = 0;
  Row row_;
  std::int64_t passed_ = 0;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Batch> full_;
  std::size_t bytes_ = 0;     // of those
  std::vector<Batch> spare_;  // whose memory is used again
  std::exception_ptr failure_;
  bool isRead_ = false, isAbandoned_ = false;
  std::thread reader_;
};

}  // namespace kelvane::rows
