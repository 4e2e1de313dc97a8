#include "support/tds_server/wire.h"

#include <stdexcept>
#include <utility>

#include "model/text.h"

namespace kelvane::tds {

namespace {

void requireRoom(std::size_t length, std::size_t most) {
  if (length <= most) return;
  throw std::length_error("The protocol has no room for " + std::to_string(length) +
                          " bytes where it takes at most " + std::to_string(most) + ".");
}

}  // namespace

void TokenBytes::shortText(std::string_view text) {
  requireRoom(text.size(), 0xFF);
  byte(static_cast<int>(text.size()));
  bytes += text;
}

void TokenBytes::counted(int token, std::string_view content) {
  requireRoom(content.size(), 0xFFFF);
  byte(token);
  word(content.size());
  bytes += content;
}

void PacketWriter::append(std::string_view tokens) {
  payload_ += tokens;
  const std::size_t room = size_ - kPacketHeader;
  std::string_view rest = payload_;
  // A packet that is just full may be the last one, which says so.
  for (; rest.size() > room; rest.remove_prefix(room)) emit(rest.substr(0, room), false);
  payload_.erase(0, payload_.size() - rest.size());
}

void PacketWriter::endMessage() {
  emit(payload_, true);
  payload_.clear();
  size_ = wantedSize_;
}

void PacketWriter::emit(std::string_view payload, bool last) {
  const std::size_t length = payload.size() + kPacketHeader;
  const auto header = {static_cast<char>(PacketType::reply),
                       static_cast<char>(last ? 1 : 0),
                       static_cast<char>(length >> 8),
                       static_cast<char>(length & 0xFF),
                       '\0',
                       '\0',
                       '\0',
                       '\0'};
  ready.append(header);
  ready += payload;
}

std::optional<PacketReader::Message> PacketReader::next() {
  while (!broken_ && bytes_.size() >= kPacketHeader) {
    const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes_[i]); };
    const std::size_t length = std::size_t{byteAt(2)} << 8 | byteAt(3);
    broken_ = length < kPacketHeader;
    if (broken_ || bytes_.size() < length) break;
    const auto type = static_cast<PacketType>(byteAt(0));
    const bool last = (byteAt(1) & 1) != 0;
    std::string payload = bytes_.substr(kPacketHeader, length - kPacketHeader);
    bytes_.erase(0, length);
    // An attention may come in the middle of anything.
    if (type == PacketType::attention) return Message{type, {}};
    payload_ += payload;
    if (last) return Message{type, std::exchange(payload_, {})};
  }
  return std::nullopt;
}

std::string_view nameOf(CharacterSet set) { return set == CharacterSet::utf8 ? "utf8" : "iso_1"; }

std::optional<CharacterSet> characterSet(std::string_view name) {
  for (const CharacterSet set : {CharacterSet::utf8, CharacterSet::iso1}) {
    if (name == nameOf(set)) return set;
  }
  return std::nullopt;
}

std::string encoded(std::string_view utf8, CharacterSet set) {
  if (set == CharacterSet::utf8) return std::string(utf8);
  std::string bytes;
  for (const char16_t unit : toUtf16(utf8)) {
    const bool secondHalf = unit >= 0xDC00 && unit <= 0xDFFF;
    if (!secondHalf) bytes.push_back(unit <= 0xFF ? static_cast<char>(unit) : '?');
  }
  return bytes;
}

std::string decoded(std::string_view bytes, CharacterSet set) {
  if (set == CharacterSet::utf8) return std::string(bytes);
  std::u16string text;
  for (const char byte : bytes) text.push_back(static_cast<unsigned char>(byte));
  return toUtf8(text);
}

}  // namespace kelvane::tds
