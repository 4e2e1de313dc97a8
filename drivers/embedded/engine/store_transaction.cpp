#include "drivers/embedded/engine/store_transaction.h"

namespace kelvane::embedded {

void StoreTransaction::beginRows() {
  if (openRows_ || store_.inTransaction()) return;
  store_.begin();
  openRows_ = 0;
}

void StoreTransaction::rowsWritten(std::size_t count) {
  constexpr std::size_t kMostRows = 10'000;
  if (!openRows_) return;
  *openRows_ += count;
  if (*openRows_ >= kMostRows) endRows();
}

void StoreTransaction::endRows() {
  if (!openRows_) return;
  openRows_.reset();
  store_.commit();
}

void StoreTransaction::beginBatch() {
  endRows();
  if (store_.inTransaction()) return;
  store_.begin();
  ofBatch_ = true;
}

void StoreTransaction::endBatch() {
  if (!ofBatch_ || userTransactions_ > 0) return;
  ofBatch_ = false;
  store_.commit();
}

}  // namespace kelvane::embedded
