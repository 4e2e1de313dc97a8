#include "rows/long_value.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace kelvane::rows {
namespace {

// In bytes.
constexpr std::size_t kPiece = std::size_t{128} << 10U, kBeginning = 2000;
constexpr std::size_t kDigest = SHA256_DIGEST_LENGTH;

struct Head {
  std::uint64_t size, characters;
};

void appendDigest(SHA256_CTX& context, std::string& digests) {
  std::array<std::uint8_t, kDigest> digest{};
  SHA256Final(digest.data(), &context);
  digests.append(reinterpret_cast<const char*>(digest.data()), digest.size());
}

bool isLead(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isTrail(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

}  // namespace

void LongValue::add(std::u16string_view part) {
  for (const char16_t unit : part) {
    if (isTrail(unit)) ++trails_;
    // Two units of a pair are four bytes.
    utf8Size_ += unit < 0x80 ? 1 : unit < 0x800 || isLead(unit) || isTrail(unit) ? 2 : 3;
  }
  addBytes(std::as_bytes(std::span(part)));
}

void LongValue::add(ado::Bytes part) {
  kind_ = CellKind::longBytes;
  addBytes(part);
}

void LongValue::addBytes(ado::Bytes part) {
  const auto* at = reinterpret_cast<const char*>(part.data());
  if (beginning_.size() < kBeginning)
    beginning_.append(at, std::min(part.size(), kBeginning - beginning_.size()));
  for (std::size_t left = part.size(); left > 0;) {
    const std::size_t room = kPiece - size_ % kPiece, taken = std::min(room, left);
    SHA256Update(&piece_, reinterpret_cast<const std::uint8_t*>(at), taken);
    size_ += taken;
    at += taken;
    left -= taken;
    if (taken < room) continue;
    appendDigest(piece_, digests_);
    SHA256Init(&piece_);
  }
}

void LongValue::appendTo(std::string& row) const {
  const Head head{size_, kind_ == CellKind::longText ? characters() : 0};
  std::string content(sizeof(Head), '\0');
  std::memcpy(content.data(), &head, sizeof(Head));
  content += beginning_ + digests_;
  if (size_ % kPiece != 0) {
    SHA256_CTX last = piece_;
    appendDigest(last, content);
  }
  appendCell(row, kind_, content);
}

ado::Value LongView::begins(std::u16string& storage) const {
  if (!isText) return std::as_bytes(std::span(beginning));
  storage.resize(beginning.size() / sizeof(char16_t));
  std::memcpy(storage.data(), beginning.data(), beginning.size());
  if (!storage.empty() && isLead(storage.back())) storage.pop_back();
  return std::u16string_view(storage);
}

std::optional<LongView> longValueIn(const Cell& cell) {
  if (cell.kind != CellKind::longText && cell.kind != CellKind::longBytes) return std::nullopt;
  Head head{};
  std::memcpy(&head, cell.content.data(), sizeof(Head));
  const bool isText = cell.kind == CellKind::longText;
  return LongView{isText, isText ? head.size / sizeof(char16_t) : head.size, head.characters,
                  cell.content.substr(sizeof(Head), kBeginning),
                  cell.content.substr(sizeof(Head) + kBeginning)};
}

DifferentPart firstDifferentPart(const LongView& one, const LongView& other) {
  const auto [left, right] = std::ranges::mismatch(one.digests, other.digests);
  const auto piece = static_cast<std::uint64_t>(left - one.digests.begin()) / kDigest;
  const std::uint64_t units = kPiece / (one.isText ? sizeof(char16_t) : 1);
  return {piece * units + 1, std::min((piece + 1) * units, std::max(one.size, other.size))};
}

}  // namespace kelvane::rows
