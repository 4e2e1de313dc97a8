// Texts that come for several lists at once and are taken list by list. They wait in one file.
//
// Lifetime: owns its file. Threading: one thread. Throws std::system_error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "rows/unnamed_file.h"

namespace kelvane::rows {

class Spool {
 public:
  class List {
   public:
    std::int64_t count() const { return count_; }

   private:
    friend class Spool;
    struct Piece {
      std::int64_t at;
      std::size_t size;
    };
    std::string waiting_;
    std::vector<Piece> pieces_;
    std::int64_t count_ = 0;
  };

  void add(List& list, std::string_view text);
  /// Nothing more comes soon: what waits in memory goes to the file.
  void close(List& list) {
    if (!list.waiting_.empty()) flush(list);
  }
  /// In the order in which they came.
  void forEach(const List& list, const std::function<void(std::string_view)>& take);

 private:
  void flush(List& list);

  UnnamedFile file_;
  std::int64_t size_ = 0;
};

}  // namespace kelvane::rows
