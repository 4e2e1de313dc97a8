// How many steps a batch may take, so that one without an end ends.
#pragma once

#include <cstdint>

#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

class Steps {
 public:
  explicit Steps(std::uint64_t most) : most_(most), left_(most) {}

  /// Another batch of a client begins, with all the steps that one may take.
  void begin() {
    left_ = most_;
    ranOut_ = false;
  }
  /// Throws when the batch has taken all of its steps.
  void count() {
    if (left_ == 0) {
      ranOut_ = true;
      throw tsql::ServerError(message::endlessBatch, 0, most_);
    }
    --left_;
  }
  /// Whether it has thrown since the batch began.
  bool ranOut() const { return ranOut_; }

 private:
  const std::uint64_t most_;
  std::uint64_t left_;
  bool ranOut_ = false;
};

}  // namespace kelvane::embedded
