// Objects of the host that are called by name: its connection, its preferences, its lists, its
// sinks.
//
// Lifetime: keeps a reference to the object. Threading: see edge.h.
#pragma once

#include <map>
#include <span>
#include <string>

#include "com/edge.h"

namespace kelvane::com {

// Members are looked up once. Every call raises RuntimeError: what the object reports as its
// failure, or noSuchProperty for a member that it has not.
class Automation {
 public:
  explicit Automation(Pointer<IDispatch> object) : object_(std::move(object)) {}

  IDispatch* get() const { return object_.get(); }

  // Arguments stand in the order of the call. They are lent: the object may change those that are
  // references.
  void get(const wchar_t* property, Variant& value, std::span<const VARIANT> arguments = {});
  void put(const wchar_t* property, const Variant& value);
  void call(const wchar_t* method, std::span<const VARIANT> arguments = {},
            Variant* result = nullptr);

  std::u16string text(const wchar_t* property);
  std::int32_t number(const wchar_t* property);
  Boolean boolean(const wchar_t* property);
  // Raises ErrorNumber::notSet for none.
  Automation object(const wchar_t* property);
  // An item of a collection: its Item with that index.
  void item(std::int32_t index, Variant& value);

 private:
  DISPID idOf(const wchar_t* member);
  void invoke(const wchar_t* member, WORD kind, std::span<const VARIANT> arguments,
              VARIANT* result);

  Pointer<IDispatch> object_;
  std::map<std::wstring, DISPID, std::less<>> ids_;
};

}  // namespace kelvane::com
