// Types as one declares them, from how the catalog stores them.
//
// Plain values.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>

#include "inventory/records.h"

namespace kelvane::inventory {

/// How the catalog describes the type of a column.
struct StoredType {
  int type = 0, userType = 0, length = 0;
  std::optional<int> precision, scale;
  int hierarchy = 0;  ///< of a row of systypes
};

class Types {
 public:
  /// The bytes of a character of nchar and of unichar.
  void setCharacterSizes(int ncharSize, int unicharSize) {
    ncharSize_ = ncharSize > 0 ? ncharSize : 1;
    unicharSize_ = unicharSize > 0 ? unicharSize : 2;
  }
  void addSystemType(int userType, int hierarchy, std::string name);
  void addUserType(int userType, QualifiedName name) { userTypes_[userType] = std::move(name); }

  /// Of a column or parameter.
  DataType declared(const StoredType& stored) const;
  /// What a user-defined type is based on.
  DataType base(const StoredType& stored) const;

  static bool isUserType(int userType) { return userType > kLargestSystemType; }

 private:
  static constexpr int kLargestSystemType = 100;

  DataType ofServer(int userType, const StoredType& stored) const;

  int ncharSize_ = 1, unicharSize_ = 2;
  std::unordered_map<int, std::string> systemTypes_;  ///< those without a row in the table here
  std::unordered_map<int, int> byHierarchy_;          ///< user type numbers of those
  std::unordered_map<int, QualifiedName> userTypes_;
};

}  // namespace kelvane::inventory
