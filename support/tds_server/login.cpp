#include "support/tds_server/login.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "support/tds_server/wire.h"

namespace kelvane::tds {
namespace {

// Fields of the record: texts of a fixed width with their length in the byte behind it.
struct TextField {
  std::size_t offset;
  std::size_t width;
};
constexpr TextField kHost{0, 30}, kUser{31, 30}, kPassword{62, 30}, kProcess{93, 30},
    kApplication{140, 30}, kCharacterSet{525, 30}, kPacketSize{557, 6};
constexpr std::size_t kVersion = 458, kCapabilities = 568, kMajorVersion = 5;
constexpr char kCapabilityToken = '\xE2';

std::string textOf(std::string_view record, const TextField& field) {
  const std::size_t length = static_cast<std::uint8_t>(record[field.offset + field.width]);
  return std::string(record.substr(field.offset, std::min(length, field.width)));
}

}  // namespace

std::optional<Login> readLogin(std::string_view record) {
  if (record.size() < kCapabilities || record[kVersion] != kMajorVersion) return std::nullopt;
  Login login;
  login.user = textOf(record, kUser);
  login.password = textOf(record, kPassword);
  login.host = textOf(record, kHost);
  login.process = textOf(record, kProcess);
  login.application = textOf(record, kApplication);
  login.characterSet = textOf(record, kCharacterSet);
  login.packetSize = std::strtoul(textOf(record, kPacketSize).c_str(), nullptr, 10);
  constexpr std::size_t kTokenHeader = 3;  // the token and its length
  const std::string_view behind = record.substr(kCapabilities);
  if (behind.starts_with(kCapabilityToken)) {
    const auto length = MessageReader(behind.substr(1)).number<std::uint16_t>();
    login.capabilities = behind.substr(0, kTokenHeader + length);
  }
  return login;
}

}  // namespace kelvane::tds
