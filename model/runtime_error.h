// Failures that a component's member raises to its caller.
//
// Lifetime: thrown by value. Threading: none of their own.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace kelvane {

// Numbers of the failures that the component itself raises. They are stable; hosts may test them.
enum class ErrorNumber : std::int32_t {
  invalidArgument = 5,   // a position or key that a collection does not have
  outOfRange = 9,        // an index that an array does not have
  typeMismatch = 13,     // a value that cannot become the type that is needed
  failure = 51,          // anything that the component has no number for
  notSet = 91,           // an object reference that is needed and not set
  invalidNull = 94,      // a null where text or a number is needed
  noSuchProperty = 438,  // a property that an item does not have
  duplicateKey = 457,    // a key that a collection already has
  itemNotFound = 3265,   // a field ordinal or name that a recordset does not have
};

class RuntimeError : public std::exception {
 public:
  RuntimeError(ErrorNumber number, std::u16string description, std::u16string source = u"Kelvane");
  RuntimeError(std::int32_t number, std::u16string description, std::u16string source,
               std::int32_t lastDllError = 0);

  std::int32_t Number() const { return number_; }
  const std::u16string& Description() const { return description_; }
  const std::u16string& Source() const { return source_; }
  // The operating system's error code of the failing call, 0 when there was none.
  std::int32_t LastDllError() const { return lastDllError_; }
  // The description as UTF-8.
  const char* what() const noexcept override { return what_.c_str(); }

  // What `failure` says as a RuntimeError: itself when it is one, otherwise number 51 (or, for a
  // std::system_error, with the system's code) and its text.
  static RuntimeError describe(const std::exception_ptr& failure);

 private:
  std::int32_t number_;
  std::u16string description_;
  std::u16string source_;
  std::int32_t lastDllError_;
  std::string what_;
};

// What `object` points to. Raises ErrorNumber::notSet, with the object's name, when it is null.
template <class T>
T& required(T* object, std::u16string_view name, std::u16string_view source = u"Kelvane") {
  if (!object)
    throw RuntimeError(ErrorNumber::notSet, std::u16string(name) + u" is not set",
                       std::u16string(source));
  return *object;
}

}  // namespace kelvane
