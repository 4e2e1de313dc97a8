#include "rows/spool.h"

#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <stdio.h>
#include <system_error>

namespace kelvane::rows {
namespace {

constexpr std::size_t kPieceBytes = 64U << 10U;
using Length = std::uint64_t;

void seek(std::FILE* file, std::int64_t at) {
  if (fseeko(file, at, SEEK_SET) != 0)
    throw std::system_error(errno, std::generic_category(), "a temporary file could not be read");
}

void takeAll(std::string_view texts, const std::function<void(std::string_view)>& take) {
  while (!texts.empty()) {
    Length size = 0;
    std::memcpy(&size, texts.data(), sizeof size);
    take(texts.substr(sizeof size, size));
    texts.remove_prefix(sizeof size + size);
  }
}

}  // namespace

void Spool::add(List& list, std::string_view text) {
  const auto size = std::bit_cast<std::array<char, sizeof(Length)>>(Length{text.size()});
  list.waiting_.append(size.data(), size.size()).append(text);
  ++list.count_;
  if (list.waiting_.size() >= kPieceBytes) flush(list);
}

void Spool::flush(List& list) {
  if (file_ == nullptr) file_ = unnamedFile();
  seek(file_.get(), size_);
  write(file_.get(), list.waiting_.data(), list.waiting_.size());
  list.pieces_.push_back({size_, list.waiting_.size()});
  size_ += static_cast<std::int64_t>(list.waiting_.size());
  list.waiting_.clear();
}

void Spool::forEach(const List& list, const std::function<void(std::string_view)>& take) {
  std::string piece;
  for (const auto& [at, size] : list.pieces_) {
    seek(file_.get(), at);
    piece.resize(size);
    read(file_.get(), piece.data(), piece.size());
    takeAll(piece, take);
  }
  takeAll(list.waiting_, take);
}

}  // namespace kelvane::rows
