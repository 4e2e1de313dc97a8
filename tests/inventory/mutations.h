// Changes a value of a record to another one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "inventory/records.h"

namespace kelvane::inventory {

inline void mutate(bool& value) { value = !value; }
inline void mutate(std::int32_t& value) { ++value; }
inline void mutate(std::string& value) { value += "x"; }
template <class Number>
inline void mutate(std::optional<Number>& value) {
  value = static_cast<Number>(value.value_or(6) + 1);
}
inline void mutate(QualifiedName& value) { mutate(value.owner); }
inline void mutate(DatabaseObjectName& value) { mutate(value.database); }
inline void mutate(DataType& value) { mutate(value.scale), mutate(value.precision); }
inline void mutate(ColumnType& value) { mutate(value.type.name); }
inline void mutate(DefaultValue& value) { mutate(value.text); }
inline void mutate(Definition& value) { mutate(value.text); }
inline void mutate(GivenName& value) { mutate(value.name); }
inline void mutate(std::vector<std::string>& value) { value.emplace_back("x"); }
inline void mutate(std::vector<KeyColumn>& value) { value.push_back({"x", false, true}); }
template <class Value>
inline void mutate(Rare<Value>& value) {
  Value changed = *value;
  mutate(changed);
  value = std::move(changed);
}

}  // namespace kelvane::inventory
