#include "drivers/embedded/engine/digest.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace kelvane::embedded {
namespace {

constexpr std::size_t kBlock = 64;

std::uint32_t byteAt(const Blob& bytes, std::size_t at) {
  return std::to_integer<std::uint32_t>(bytes[at]);
}

// The bytes, a bit, zeros, and the number of bits in the last eight bytes.
Blob filledUp(const Blob& bytes, bool bigEndian) {
  constexpr std::size_t kLength = 8;
  constexpr std::byte kFirstBit{0x80};
  Blob result = bytes;
  result.push_back(kFirstBit);
  while (result.size() % kBlock != kBlock - kLength) result.push_back(std::byte{0});
  const auto bits = static_cast<std::uint64_t>(bytes.size()) * 8;
  for (std::size_t i = 0; i < kLength; ++i) {
    const std::size_t shift = 8 * (bigEndian ? kLength - 1 - i : i);
    result.push_back(static_cast<std::byte>(bits >> shift & 0xFF));
  }
  return result;
}

std::uint32_t wordAt(const Blob& bytes, std::size_t at, bool bigEndian) {
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    word |= byteAt(bytes, at + i) << (8 * (bigEndian ? 3 - i : i));
  }
  return word;
}

void append(Blob& bytes, std::uint32_t word, bool bigEndian) {
  for (unsigned i = 0; i < 4; ++i) {
    bytes.push_back(static_cast<std::byte>(word >> (8 * (bigEndian ? 3 - i : i)) & 0xFF));
  }
}

// The integer part of 2^32 times the sines of 1, 2, ... 64.
constexpr std::array<std::uint32_t, 64> kSines = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

constexpr std::array<std::array<int, 4>, 4> kRotations = {
    {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};

}  // namespace

Blob md5(const Blob& bytes) {
  std::array<std::uint32_t, 4> state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  const Blob filled = filledUp(bytes, false);
  for (std::size_t block = 0; block < filled.size(); block += kBlock) {
    auto [a, b, c, d] = state;
    for (std::size_t i = 0; i < kSines.size(); ++i) {
      const std::size_t round = i / 16;
      std::uint32_t mixed = 0;
      std::size_t word = i;
      if (round == 0) {
        mixed = (b & c) | (~b & d);
      } else if (round == 1) {
        mixed = (d & b) | (~d & c);
        word = (5 * i + 1) % 16;
      } else if (round == 2) {
        mixed = b ^ c ^ d;
        word = (3 * i + 5) % 16;
      } else {
        mixed = c ^ (b | ~d);
        word = 7 * i % 16;
      }
      const std::uint32_t sum = a + mixed + kSines[i] + wordAt(filled, block + 4 * word, false);
      a = std::exchange(d, std::exchange(c, b));
      b += std::rotl(sum, kRotations[round][i % 4]);
    }
    state[0] += a, state[1] += b, state[2] += c, state[3] += d;
  }
  Blob result;
  for (const std::uint32_t word : state) append(result, word, false);
  return result;
}

Blob sha1(const Blob& bytes) {
  std::array<std::uint32_t, 5> state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};
  const Blob filled = filledUp(bytes, true);
  std::array<std::uint32_t, 80> words{};
  for (std::size_t block = 0; block < filled.size(); block += kBlock) {
    for (std::size_t i = 0; i < words.size(); ++i) {
      words[i] = i < 16 ? wordAt(filled, block + 4 * i, true)
                        : std::rotl(words[i - 3] ^ words[i - 8] ^ words[i - 14] ^ words[i - 16], 1);
    }
    auto [a, b, c, d, e] = state;
    for (std::size_t i = 0; i < words.size(); ++i) {
      std::uint32_t mixed = b ^ c ^ d;
      std::uint32_t constant = 0x6ed9eba1;
      if (i < 20) {
        mixed = (b & c) | (~b & d);
        constant = 0x5a827999;
      } else if (i >= 40 && i < 60) {
        mixed = (b & c) | (b & d) | (c & d);
        constant = 0x8f1bbcdc;
      } else if (i >= 60) {
        constant = 0xca62c1d6;
      }
      const std::uint32_t sum = std::rotl(a, 5) + mixed + e + constant + words[i];
      e = std::exchange(d, std::exchange(c, std::exchange(b, a)));
      c = std::rotl(c, 30);
      a = sum;
    }
    state[0] += a, state[1] += b, state[2] += c, state[3] += d, state[4] += e;
  }
  Blob result;
  for (const std::uint32_t word : state) append(result, word, true);
  return result;
}

}  // namespace kelvane::embedded
