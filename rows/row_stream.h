// The rows of one statement, packed by a thread of their own while somebody else compares those
// before them.
//
// Lifetime: the connection outlives the stream and is the stream's alone until that goes.
// Threading: one thread asks; the stream's own thread uses the connection.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ado/ado.h"
#include "rows/packed_row.h"

namespace kelvane::rows {

/// A row in a batch: its key, and all of it.
struct Row {
  std::string_view key, cells;
};

class RowStream {
 public:
  /// The columns of the statement are those of `forms`, the first `keyColumns` of them the key.
  RowStream(ado::Connection& connection, std::u16string statement, std::vector<Form> forms,
            std::size_t keyColumns);
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

  ado::Connection& connection_;
  const std::u16string statement_;
  const std::vector<Form> forms_;
  const std::size_t keyColumns_;

  Batch batch_;
  std::size_t at_ = 0;
  Row row_;
  std::int64_t passed_ = 0;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Batch> full_;
  std::vector<Batch> spare_;  // whose memory is used again
  std::exception_ptr failure_;
  bool isRead_ = false, isAbandoned_ = false;
  std::thread reader_;
};

}  // namespace kelvane::rows
