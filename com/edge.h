// The edge between the component and its automation hosts: pointers, texts, values, failures.
//
// Lifetime: what is handed to a host is the host's; what a host lends is kept by a Pointer.
// Threading: apartments of one thread each; only the count of live objects is shared between them.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <windows.h>

#include "kelvane_automation.h"
#include "model/boolean.h"
#include "model/runtime_error.h"

namespace kelvane::com {

// Holds a reference to a COM object.
template <class Interface>
class Pointer {
 public:
  Pointer() = default;
  Pointer(std::nullptr_t) {}
  // Shares the object.
  explicit Pointer(Interface* object) : object_(object) {
    if (object_) object_->AddRef();
  }
  // Takes over a reference that the caller owns.
  static Pointer taking(Interface* object) {
    Pointer pointer;
    pointer.object_ = object;
    return pointer;
  }
  Pointer(const Pointer& other) : Pointer(other.object_) {}
  Pointer(Pointer&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Pointer& operator=(Pointer other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Pointer() {
    if (object_) object_->Release();
  }

  Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }
  Interface& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

  // For functions that answer with a reference.
  Interface** receive() {
    *this = nullptr;
    return &object_;
  }
  // Gives the reference away.
  Interface* detach() { return std::exchange(object_, nullptr); }
  // Another interface of the object, unset when it has none such.
  template <class Other>
  Pointer<Other> as() const {
    Pointer<Other> other;
    if (object_)
      object_->QueryInterface(__uuidof(Other), reinterpret_cast<void**>(other.receive()));
    return other;
  }

 private:
  Interface* object_ = nullptr;
};

// A value of any type that automation knows.
class Variant {
 public:
  Variant() { VariantInit(&value_); }
  explicit Variant(std::u16string_view text);
  explicit Variant(std::int32_t number);
  explicit Variant(std::int16_t number);
  explicit Variant(Boolean flag);
  explicit Variant(IDispatch* object);
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  ~Variant() { VariantClear(&value_); }

  VARIANT* get() { return &value_; }
  const VARIANT& operator*() const { return value_; }
  VARIANT* operator->() { return &value_; }

 private:
  VARIANT value_;
};

static_assert(sizeof(OLECHAR) == sizeof(char16_t));

// The text that a host lends; a null is an empty one.
std::u16string_view textOf(BSTR text);
// A copy for a host to own.
BSTR newText(std::u16string_view text);
const wchar_t* wide(const std::u16string& text);

// The ordinary conversions, references followed. They raise RuntimeError(typeMismatch), or
// invalidNull for a null.
std::u16string textOf(const VARIANT& value);
std::int32_t numberOf(const VARIANT& value);
Boolean booleanOf(const VARIANT& value);
Pointer<IDispatch> objectOf(const VARIANT& value);
// Whether an optional argument was left out.
bool isMissing(const VARIANT& value);

// How a failure's number reads as an automation error, and back.
HRESULT resultOf(std::int32_t number);
std::int32_t numberOfResult(HRESULT result);

// Raises what a call answered as RuntimeError, unless it succeeded.
void require(HRESULT result, std::u16string_view what);
// The place for an answer; raises when the host gave none.
template <class Type>
Type& answer(Type* place) {
  if (!place) throw RuntimeError(E_POINTER, u"There is no place for the answer", u"Kelvane");
  return *place;
}

// Hands a failure to the host as its thread's error information, and gives the result to return.
HRESULT report(const std::exception_ptr& failure) noexcept;

// Runs what a member does. No exception leaves it: a failure becomes the result and the error
// information, and a success leaves none.
template <class Body>
HRESULT guarded(Body&& body) noexcept {
  SetErrorInfo(0, nullptr);
  try {
    std::forward<Body>(body)();
    return S_OK;
  } catch (...) {
    return report(std::current_exception());
  }
}

}  // namespace kelvane::com
