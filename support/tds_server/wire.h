// The bytes of TDS 5.0: numbers and counted texts, packets, character sets.
//
// Plain values; one thread at a time.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvane::tds {

enum class PacketType : std::uint8_t {
  oldLanguage = 0x01,
  login = 0x02,
  reply = 0x04,
  attention = 0x06,
  request = 0x0F,
};

inline constexpr std::size_t kPacketHeader = 8;
inline constexpr std::size_t kSmallestPacket = 512;

/// The bytes of tokens, numbers with their low byte first.
class TokenBytes {
 public:
  template <class Number>
  void number(Number value) {
    static_assert(std::endian::native == std::endian::little);
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
  }
  void byte(int value) { bytes.push_back(static_cast<char>(value)); }
  void word(std::size_t value) { number(static_cast<std::uint16_t>(value)); }
  void doubleWord(std::size_t value) { number(static_cast<std::uint32_t>(value)); }
  /// Its length in one byte, then the text. Throws std::length_error when it does not fit, as does
  /// `counted`.
  void shortText(std::string_view text);
  /// A token with a length in two bytes.
  void counted(int token, std::string_view content);

  std::string bytes;
};

/// Reads a message; what lies beyond its end reads as zeros and blank text.
class MessageReader {
 public:
  explicit MessageReader(std::string_view bytes) : rest_(bytes) {}
  bool atEnd() const { return rest_.empty(); }
  std::size_t left() const { return rest_.size(); }
  std::uint8_t byte() { return number<std::uint8_t>(); }
  template <class Number>
  Number number() {
    Number value{};
    const std::string_view from = text(sizeof value);
    if (from.size() == sizeof value) from.copy(reinterpret_cast<char*>(&value), sizeof value);
    return value;
  }
  std::string_view text(std::size_t length) {
    const std::string_view piece = rest_.substr(0, length);
    rest_.remove_prefix(piece.size());
    return piece;
  }

 private:
  std::string_view rest_;
};

/// Puts messages into packets.
class PacketWriter {
 public:
  void append(std::string_view tokens);
  void endMessage();
  /// Holds from the next message on.
  void packetSize(std::size_t size) { wantedSize_ = size; }
  /// Finished packets; whoever sends them takes them away.
  std::string ready;

 private:
  void emit(std::string_view payload, bool last);

  std::size_t size_ = kSmallestPacket;
  std::size_t wantedSize_ = kSmallestPacket;
  std::string payload_;
};

/// Puts packets together into messages.
class PacketReader {
 public:
  struct Message {
    PacketType type;
    std::string payload;
  };
  void append(std::string_view bytes) { bytes_ += bytes; }
  /// None while the next message is incomplete.
  std::optional<Message> next();
  /// No packet begins like this.
  bool broken() const { return broken_; }

 private:
  std::string bytes_;
  std::string payload_;
  bool broken_ = false;
};

/// What the texts of a connection are made of on the wire.
enum class CharacterSet { utf8, iso1 };
std::string_view nameOf(CharacterSet set);
std::optional<CharacterSet> characterSet(std::string_view name);
/// Characters that the set does not have become question marks.
std::string encoded(std::string_view utf8, CharacterSet set);
std::string decoded(std::string_view bytes, CharacterSet set);

}  // namespace kelvane::tds
