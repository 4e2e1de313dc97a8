// Writes those parts of the type library that the component's own tables describe: its records, and
// the interface of the switches. Usage: describe_type_library RECORDS SWITCHES (files to write)
#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "com/record_list.h"
#include "model/fields.h"
#include "model/text.h"
#include "settings/comparison_options.h"

namespace {

using namespace kelvane;

template <class Type>
std::string_view recordName;
#define KELVANE_RECORD_NAME(number, record) \
  template <>                               \
  constexpr std::string_view recordName<kelvane::record> = #record;
KELVANE_RECORDS(KELVANE_RECORD_NAME)
#undef KELVANE_RECORD_NAME

template <class Value>
struct AutomationType {
  static std::string name() { return std::string(recordName<Value>); }
};
template <>
struct AutomationType<std::u16string> {
  static std::string name() { return "BSTR"; }
};
template <>
struct AutomationType<std::int32_t> {
  static std::string name() { return "long"; }
};
template <>
struct AutomationType<std::int16_t> {
  static std::string name() { return "short"; }
};
template <>
struct AutomationType<Boolean> {
  static std::string name() { return "VARIANT_BOOL"; }
};
template <>
struct AutomationType<enumLocation> {
  static std::string name() { return "enum enumLocation"; }
};
template <>
struct AutomationType<enumDiffType> {
  static std::string name() { return "enum enumDiffType"; }
};
template <class Item>
struct AutomationType<Array<Item>> {
  static std::string name() { return "SAFEARRAY(" + AutomationType<Item>::name() + ")"; }
};

template <class Record>
void writeRecord(std::ostream& out, int number) {
  out << "typedef [uuid(" KELVANE_RECORD_ID << std::hex << std::setw(2) << std::setfill('0')
      << number << std::dec << ")] struct " << recordName<Record> << " {\n";
  std::apply(
      [&]<class... Value>(const Field<Record, Value>&... field) {
        ((out << "  " << AutomationType<Value>::name() << ' ' << field.name << ";\n"), ...);
      },
      kFields<Record>);
  if constexpr (std::is_same_v<Record, Table>) out << "  IDispatch* RsData;\n";
  out << "} " << recordName<Record> << ";\n\n";
}

// Their values are put by reference, as hosts expect it of them.
constexpr auto kPutByReference =
    std::to_array<std::u16string_view>({u"Users_SystemPermissions", u"Users_ObjectPermissions",
                                        u"Groups_SystemPermissions", u"Groups_ObjectPermissions"});

void writeSwitches(std::ostream& out) {
  int id = 0;
  for (const Switch& one : kSwitches) {
    const std::string name = toUtf8(one.name);
    const bool byReference = std::ranges::count(kPutByReference, one.name) != 0;
    out << "[propget, id(" << id << ")] HRESULT " << name
        << "([out, retval] VARIANT_BOOL* result);\n[propput, id(" << id << ")] HRESULT " << name
        << (byReference ? "([in, out] VARIANT_BOOL* newValue);\n"
                        : "([in] VARIANT_BOOL newValue);\n");
    ++id;
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::cerr << "usage: describe_type_library RECORDS SWITCHES\n";
    return 2;
  }
  std::ofstream records(arguments[1], std::ios::binary);
#define KELVANE_WRITE(number, record) writeRecord<kelvane::record>(records, number);
  KELVANE_RECORDS(KELVANE_WRITE)
#undef KELVANE_WRITE
  std::ofstream switches(arguments[2], std::ios::binary);
  writeSwitches(switches);
  return records.flush() && switches.flush() ? 0 : 1;
}
