#include "rows/long_value.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <variant>

namespace kelvane::rows {
namespace {

// In bytes.
constexpr std::size_t kPiece = std::size_t{128} << 10U, kBeginning = 2000;
constexpr std::size_t kDigest = SHA256_DIGEST_LENGTH;
constexpr std::size_t kMostBytes = kLongestWhole * sizeof(char16_t);

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

bool isLong(const ado::Value& value) {
  if (const auto* text = std::get_if<std::u16string_view>(&value))
    return text->size() > kLongestWhole;
  const auto* bytes = std::get_if<ado::Bytes>(&value);
  return bytes != nullptr && bytes->size() > kMostBytes;
}

void LargeValue::add(const ado::Value& part) {
  if (const auto* text = std::get_if<std::u16string_view>(&part)) {
    trails_ += static_cast<std::uint64_t>(std::ranges::count_if(*text, isTrail));
    addBytes(std::as_bytes(std::span(*text)));
  } else if (const auto* bytes = std::get_if<ado::Bytes>(&part)) {
    isText_ = false;
    addBytes(*bytes);
  } else {
    pack(part, Form::asItIs, other_);
  }
}

void LargeValue::addBytes(ado::Bytes bytes) {
  const std::string_view part(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const bool wasLong = size_ > kMostBytes;
  if (wasLong) return digest(part);
  beginning_ += part;
  if (beginning_.size() <= kMostBytes) {
    size_ = beginning_.size();
    return;
  }
  size_ = 0;
  SHA256Init(&piece_);
  digest(beginning_);
  beginning_.resize(kBeginning);
  beginning_.shrink_to_fit();
}

void LargeValue::digest(std::string_view part) {
  while (!part.empty()) {
    const std::size_t room = kPiece - size_ % kPiece;
    const std::string_view taken = part.substr(0, room);
    SHA256Update(&piece_, reinterpret_cast<const std::uint8_t*>(taken.data()), taken.size());
    size_ += taken.size();
    part.remove_prefix(taken.size());
    if (taken.size() < room) continue;
    appendDigest(piece_, digests_);
    SHA256Init(&piece_);
  }
}

void LargeValue::appendTo(std::string& row) const {
  if (!other_.empty()) {
    row += other_;
    return;
  }
  if (size_ <= kMostBytes)
    return appendCell(row, isText_ ? CellKind::text : CellKind::bytes, beginning_);
  const Head head{size_, isText_ ? size_ / sizeof(char16_t) - trails_ : 0};
  std::string content(sizeof(Head), '\0');
  std::memcpy(content.data(), &head, sizeof(Head));
  content += beginning_ + digests_;
  if (size_ % kPiece != 0) {
    SHA256_CTX last = piece_;
    appendDigest(last, content);
  }
  appendCell(row, isText_ ? CellKind::longText : CellKind::longBytes, content);
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
