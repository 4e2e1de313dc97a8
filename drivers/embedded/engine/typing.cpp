#include "drivers/embedded/engine/typing.h"

#include <algorithm>
#include <cctype>

namespace kelvane::embedded {
namespace {

constexpr int kMaxPrecision = 38;

ColumnType numericResult(int whole, int scale, bool nullable) {
  scale = std::min(scale, kMaxPrecision);
  return numericType(std::clamp(whole + scale, 1, kMaxPrecision), scale, nullable);
}

int hierarchyOf(TypeKind kind) { return fullHierarchy(systemType(kind)); }

}  // namespace

TypeFamily familyOf(TypeKind kind) {
  if (isCharacter(kind)) return TypeFamily::Character;
  if (isBinary(kind)) return TypeFamily::Binary;
  return isTemporal(kind) ? TypeFamily::Temporal : TypeFamily::Number;
}

bool isExactFraction(TypeKind kind) {
  return kind == TypeKind::Numeric || kind == TypeKind::Decimal || kind == TypeKind::Money ||
         kind == TypeKind::Smallmoney;
}

bool isApproximate(TypeKind kind) { return kind == TypeKind::Float || kind == TypeKind::Real; }

int precisionOf(const ColumnType& type) {
  if (type.precision) return *type.precision;
  switch (type.kind) {
    case TypeKind::Bit:
      return 1;
    case TypeKind::Tinyint:
      return 3;
    case TypeKind::Smallint:
    case TypeKind::Usmallint:
      return 5;
    case TypeKind::Bigint:
      return 19;
    case TypeKind::Ubigint:
      return 20;
    case TypeKind::Money:
      return 19;
    default:
      return 10;
  }
}

int scaleOf(const ColumnType& type) {
  if (type.kind == TypeKind::Money || type.kind == TypeKind::Smallmoney) return 4;
  return type.scale.value_or(0);
}

bool isZeroFilled(const ColumnType& type) {
  return type.kind == TypeKind::Binary && !type.nullable;
}

bool isWithoutZeros(const ColumnType& type) {
  return type.kind == TypeKind::Varbinary || (type.kind == TypeKind::Binary && type.nullable);
}

bool isWide(const ColumnType& type) {
  constexpr int kDigitsOfDouble = 15;
  return type.kind == TypeKind::Ubigint ||
         (isExactFraction(type.kind) && type.kind != TypeKind::Smallmoney &&
          precisionOf(type) > kDigitsOfDouble);
}

std::string shownName(TypeKind kind) {
  std::string name(systemType(kind).name);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return name;
}

ColumnType plainType(TypeKind kind, bool nullable) {
  return declaredType(kind, std::nullopt, std::nullopt, nullable);
}
ColumnType intType(bool nullable) { return plainType(TypeKind::Int, nullable); }
ColumnType floatType(bool nullable) { return plainType(TypeKind::Float, nullable); }
ColumnType varcharType(int length, bool nullable) {
  return declaredType(TypeKind::Varchar, std::max(length, 1), std::nullopt, nullable);
}
ColumnType varbinaryType(int length, bool nullable) {
  return declaredType(TypeKind::Varbinary, std::max(length, 1), std::nullopt, nullable);
}
ColumnType numericType(int precision, int scale, bool nullable) {
  return declaredType(TypeKind::Numeric, precision, scale, nullable);
}

bool convertsImplicitly(TypeKind from, TypeKind to) {
  const TypeFamily source = familyOf(from);
  const TypeFamily target = familyOf(to);
  if (source == target) return convertsExplicitly(from, to);
  switch (source) {
    case TypeFamily::Character:
      return target != TypeFamily::Number;
    case TypeFamily::Binary:
      return target == TypeFamily::Character || target == TypeFamily::Number;
    case TypeFamily::Number:
      return target == TypeFamily::Binary;
    case TypeFamily::Temporal:
      return target == TypeFamily::Character;
  }
  return false;
}

bool convertsExplicitly(TypeKind from, TypeKind to) {
  const TypeFamily source = familyOf(from);
  const TypeFamily target = familyOf(to);
  const auto isDay = [](TypeKind kind) { return kind == TypeKind::Date; };
  const auto isTimeOfDay = [](TypeKind kind) {
    return kind == TypeKind::Time || kind == TypeKind::Bigtime;
  };
  if (source == TypeFamily::Temporal) {
    return target != TypeFamily::Number && !(isDay(from) && isTimeOfDay(to)) &&
           !(isTimeOfDay(from) && isDay(to));
  }
  const bool isPlain = target == TypeFamily::Character || target == TypeFamily::Binary;
  return isPlain ||
         (!isLong(from) && !(source == TypeFamily::Number && target == TypeFamily::Temporal));
}

void requireImplicit(TypeKind from, TypeKind to, std::uint32_t line) {
  if (convertsImplicitly(from, to)) return;
  throw tsql::ServerError(message::noImplicitConversion, line, shownName(from), shownName(to));
}

ColumnType commonType(const ColumnType& a, const ColumnType& b, std::uint32_t line) {
  const bool nullable = a.nullable || b.nullable;
  const bool meetsText =
      isTemporal(a.kind) != isTemporal(b.kind) && isCharacter(a.kind) != isCharacter(b.kind);
  // `date` and `time` rank behind all texts, which are converted to them all the same.
  const bool aLeads = meetsText ? isTemporal(a.kind) : hierarchyOf(a.kind) <= hierarchyOf(b.kind);
  const ColumnType& leader = aLeads ? a : b;
  const ColumnType& other = aLeads ? b : a;
  requireImplicit(other.kind, leader.kind, line);
  if (familyOf(a.kind) == familyOf(b.kind)) {
    if (isLong(leader.kind)) return withNullability(leader, nullable);
    if (isLong(other.kind)) return withNullability(other, nullable);
    if (leader.precision) {
      const int scale = std::max(scaleOf(a), scaleOf(b));
      const int whole = std::max(precisionOf(a) - scaleOf(a), precisionOf(b) - scaleOf(b));
      return numericResult(whole, scale, nullable);
    }
    if (isCharacter(a.kind)) {
      const bool unicode = isUnicode(a.kind) || isUnicode(b.kind);
      const auto characters = [](const ColumnType& t) {
        return isUnicode(t.kind) ? t.length / 2 : t.length;
      };
      const bool fixed = isFixedWidthText(a.kind) && isFixedWidthText(b.kind);
      const TypeKind kind = unicode ? (fixed ? TypeKind::Unichar : TypeKind::Univarchar)
                                    : (fixed ? TypeKind::Char : TypeKind::Varchar);
      return declaredType(kind, std::max(characters(a), characters(b)), std::nullopt, nullable);
    }
    if (isBinary(a.kind)) return varbinaryType(std::max(a.length, b.length), nullable);
  }
  return withNullability(leader, nullable);
}

ColumnType arithmeticType(const ColumnType& a, const ColumnType& b, char op, std::uint32_t line) {
  const auto number = [&](const ColumnType& type, const ColumnType& other) {
    if (familyOf(type.kind) == TypeFamily::Number) return type;
    const TypeKind wanted = familyOf(other.kind) == TypeFamily::Number ? other.kind : TypeKind::Int;
    requireImplicit(type.kind, wanted, line);
    return plainType(wanted, type.nullable);
  };
  const ColumnType left = number(a, b);
  const ColumnType right = number(b, a);
  const bool nullable = left.nullable || right.nullable;
  const ColumnType& leader = hierarchyOf(left.kind) <= hierarchyOf(right.kind) ? left : right;
  if (leader.precision) {
    const int scaleA = scaleOf(left), scaleB = scaleOf(right);
    const int wholeA = precisionOf(left) - scaleA, wholeB = precisionOf(right) - scaleB;
    switch (op) {
      case '*':
        return numericResult(wholeA + wholeB + 1, scaleA + scaleB, nullable);
      case '/': {
        // A quotient loses digits behind the point rather than before it.
        const int wanted = std::max(scaleA + precisionOf(right) - scaleB + 1, 6);
        const int scale = std::min(wanted, std::max(kMaxPrecision - wholeA - scaleB, 6));
        return numericResult(wholeA + scaleB, scale, nullable);
      }
      case '%':
        return numericResult(std::max(wholeA, wholeB), std::max(scaleA, scaleB), nullable);
      default:
        return numericResult(std::max(wholeA, wholeB) + 1, std::max(scaleA, scaleB), nullable);
    }
  }
  if (leader.kind == TypeKind::Bit) return intType(nullable);
  return plainType(leader.kind, nullable).precision ? withNullability(leader, nullable)
                                                    : plainType(leader.kind, nullable);
}

}  // namespace kelvane::embedded
