// Records and their values as a person reads them.
//
// Free functions without state.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "inventory/attributes.h"
#include "inventory/records.h"

namespace kelvane::inventory {

// A value without its label; empty for one that was not declared.
std::string shown(bool value);
std::string shown(const std::string& value);
std::string shown(const std::optional<std::int16_t>& value);
std::string shown(const std::optional<std::int32_t>& value);
std::string shown(const std::optional<std::int64_t>& value);
std::string shown(std::int32_t value);
std::string shown(const QualifiedName& value);       ///< dbo.customer
std::string shown(const DatabaseObjectName& value);  ///< sales.dbo.customer
std::string shown(const DataType& value);            ///< numeric(9,2)
std::string shown(const ColumnType& value);          ///< numeric(9,2) identity
std::string shown(const DefaultValue& value);
std::string shown(const Definition& value);  ///< the text, or why there is none
std::string shown(const GivenName& value);
std::string shown(const KeyColumn& value);                 ///< b desc
std::string shown(const std::vector<std::string>& value);  ///< (a, b)
std::string shown(const std::vector<KeyColumn>& value);    ///< (a, b desc)
template <class Value>
std::string shown(const Rare<Value>& value) {
  return shown(*value);
}

// What an object or part is called behind the word for its kind. Empty for a constraint or
// partition whose name the server made.
template <class Record>
std::string nameOf(const Record& record) {
  return shown(record.name);
}
std::string nameOf(const Procedure& procedure);  ///< dbo.p, dbo.p;2
std::string nameOf(const Trigger& trigger);
std::string nameOf(const LogicalKey& key);
std::string nameOf(const Permission& permission);
std::string nameOf(const Alias& alias);
std::string nameOf(const Message& message);
std::string nameOf(const Threshold& threshold);
std::string nameOf(const Settings& settings);

/// The attributes of a record behind what stands in `line`, but for those that it says already:
/// "char(16) not null, default 0". Texts of definitions are left out.
template <class Record>
std::string withAttributes(std::string line, const Record& record,
                           std::initializer_list<std::string_view> said = {}) {
  const auto add = [&](std::string_view label, const std::string& value) {
    if (!line.empty()) line += ", ";
    line += label;
    if (!label.empty() && !value.empty()) line += ' ';
    line += value;
  };
  forEachAttribute<Record>([&]<class Owner, class Value>(const Attribute<Owner, Value>& one) {
    if (std::ranges::find(said, one.label) != said.end()) return;
    if constexpr (std::is_same_v<Value, bool>) {
      static const Record kUsual{};
      const bool value = record.*one.member;
      if (value != kUsual.*one.member) add(one.label, value ? "" : shown(value));
    } else if constexpr (std::is_same_v<Value, GivenName>) {
      return;
    } else {
      if (one.style == Style::name) return;
      if (std::is_same_v<Value, Definition> && one.style != Style::bare) return;
      const std::string value = shown(record.*one.member);
      if (!value.empty()) add(one.style == Style::bare ? "" : one.label, value);
    }
  });
  return line;
}

// How a record would be declared, in one line, without its name and what it is made of. Two that
// differ in an attribute have different ones; texts of definitions aside.
template <class Record>
std::string declaration(const Record& record) {
  return withAttributes({}, record);
}
std::string declaration(const KeyConstraint& key);   ///< primary key clustered (a, b desc)
std::string declaration(const ForeignKey& key);      ///< (a) references dbo.t (b)
std::string declaration(const Index& index);         ///< unique clustered (a), fillfactor 80
std::string declaration(const Permission& granted);  ///< grant select (a) to clerks

}  // namespace kelvane::inventory
