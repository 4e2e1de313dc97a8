#include "support/tds_server/abilities.h"

#include <algorithm>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/moment.h"
#include "support/tds_server/wire.h"

namespace kelvane::tds {

using namespace embedded;

namespace {

// Numbers of bits in the list of requests, which names the types that a client knows too.
enum RequestBit : std::size_t {
  kNotifications = 3,
  kBulkCopy = 5,
  kCursors = 6,
  kLongTexts = 28,
  kLongBinaries = 29,
  kUrgentNotifications = 44,
  kNullableBits = 50,
  kBigIntegers = 51,
  kWideFormats = 59,
  kUnsignedSmall = 61,
  kUnsigned = 62,
  kUnsignedBig = 63,
  kUnsignedNullable = 64,
  kDates = 71,
  kTimes = 72,
  kUnitexts = 80,
  kBigMoments = 93,
};

constexpr std::size_t kTokenHeader = 3, kListHeader = 2;
constexpr int kRequests = 1;

// Where the bytes of the requests stand in the token; the first one has the highest bits.
struct Place {
  std::size_t begin = 0, length = 0;
};

Place requestsOf(std::string_view token) {
  std::size_t at = kTokenHeader;
  while (at + kListHeader <= token.size()) {
    const auto length = static_cast<std::uint8_t>(token[at + 1]);
    const std::size_t begin = at + kListHeader;
    if (token[at] == kRequests) return {begin, std::min<std::size_t>(length, token.size() - begin)};
    at = begin + length;
  }
  return {};
}

std::size_t byteOf(const Place& place, std::size_t bit) {
  return place.begin + place.length - 1 - bit / 8;
}

constexpr int kLongestShortText = 255;

void become(ColumnType& type, TypeKind kind, std::optional<int> first = {}) {
  const bool identity = type.identity;
  type = declaredType(kind, first, {}, type.nullable);
  type.identity = identity;
}

void makeUnsignedReadable(ColumnType& type) {
  constexpr int kDigitsOfUint = 10, kDigitsOfUbigint = 20;
  if (type.kind == TypeKind::Usmallint) become(type, TypeKind::Int);
  if (type.kind == TypeKind::Uint) become(type, TypeKind::Numeric, kDigitsOfUint);
  if (type.kind == TypeKind::Ubigint) become(type, TypeKind::Numeric, kDigitsOfUbigint);
}

void makeReadable(ColumnType& type, const Abilities& abilities) {
  constexpr int kDigitsOfBigint = 19;
  // Three bytes of UTF-8 hold whatever two of UTF-16 do.
  if (isUnicode(type.kind) && !abilities.longBinaries) {
    if (isLong(type.kind)) {
      become(type, TypeKind::Text);
    } else {
      become(type, TypeKind::Varchar, type.length / 2 * 3);
    }
  }
  if (!isLong(type.kind) && type.length > kLongestShortText) {
    if (isCharacter(type.kind) && !isUnicode(type.kind) && !abilities.longTexts)
      become(type, TypeKind::Text);
    if (isBinary(type.kind) && !abilities.longBinaries) become(type, TypeKind::Image);
  }
  if (!abilities.unsignedIntegers) makeUnsignedReadable(type);
  if (type.kind == TypeKind::Bigint && !abilities.bigIntegers)
    become(type, TypeKind::Numeric, kDigitsOfBigint);
  if (!abilities.bigMoments) {
    if (type.kind == TypeKind::Bigdatetime) become(type, TypeKind::Datetime);
    if (type.kind == TypeKind::Bigtime) become(type, TypeKind::Time);
  }
  const bool isUnknownDate = type.kind == TypeKind::Date && !abilities.dates;
  const bool isUnknownTime = type.kind == TypeKind::Time && !abilities.times;
  if (isUnknownDate || isUnknownTime) become(type, TypeKind::Datetime);
}

}  // namespace

Abilities readAbilities(std::string_view capabilities) {
  Abilities abilities;
  if (capabilities.empty()) return abilities;
  const Place place = requestsOf(capabilities);
  const auto has = [&](std::size_t bit) {
    return bit / 8 < place.length && (capabilities[byteOf(place, bit)] >> (bit % 8) & 1) != 0;
  };
  abilities.longTexts = has(kLongTexts);
  abilities.longBinaries = has(kLongBinaries);
  abilities.bigIntegers = has(kBigIntegers);
  abilities.wideFormats = has(kWideFormats);
  abilities.unsignedIntegers =
      has(kUnsignedSmall) && has(kUnsigned) && has(kUnsignedBig) && has(kUnsignedNullable);
  abilities.dates = has(kDates);
  abilities.times = has(kTimes);
  abilities.unitexts = has(kUnitexts);
  abilities.bigMoments = has(kBigMoments);
  return abilities;
}

std::string grantedCapabilities(std::string capabilities) {
  const Place place = requestsOf(capabilities);
  for (const std::size_t bit :
       {kNotifications, kBulkCopy, kCursors, kUrgentNotifications, kNullableBits}) {
    if (bit / 8 >= place.length) continue;
    char& byte = capabilities[byteOf(place, bit)];
    byte = static_cast<char>(byte & ~(1 << (bit % 8)));
  }
  return capabilities;
}

std::vector<ResultColumn> readableColumns(std::vector<ResultColumn> columns,
                                          const Abilities& abilities) {
  for (ResultColumn& column : columns) makeReadable(column.type, abilities);
  return columns;
}

Cell readableValue(const Cell& value, const ColumnType& from, const ColumnType& to) {
  const auto* number = std::get_if<std::int64_t>(&value);
  if (number == nullptr) return value;
  if (from.kind == TypeKind::Ubigint && to.precision)
    return exactNumber(std::to_string(static_cast<std::uint64_t>(*number)));
  // What is rounded up may belong to the next day.
  return isTemporal(to.kind) ? Cell(roundToTicks(*number)) : value;
}

}  // namespace kelvane::tds
