// A value that most records do not have, at the cost of a pointer.
//
// Lifetime: owns the value; copies are copies of the value. Threading: as the value.
#pragma once

#include <concepts>
#include <memory>
#include <utility>

namespace kelvane::inventory {

/// Reads as a `Value`; the default one takes no memory of its own.
template <class Value>
class Rare {
 public:
  using value_type = Value;

  Rare() = default;
  Rare(Value value) { *this = std::move(value); }
  Rare(const Rare& other) { *this = *other; }
  Rare(Rare&&) noexcept = default;
  Rare& operator=(const Rare& other) { return *this = *other; }
  Rare& operator=(Rare&&) noexcept = default;
  Rare& operator=(Value value) {
    if (value == Value{}) {
      value_.reset();
    } else {
      value_ = std::make_unique<Value>(std::move(value));
    }
    return *this;
  }
  ~Rare() = default;

  const Value& operator*() const {
    static const Value kNone{};
    return value_ ? *value_ : kNone;
  }
  const Value* operator->() const { return &**this; }
  bool isDefault() const { return !value_; }

  friend bool operator==(const Rare& a, const Rare& b) { return a.value_ == b.value_ || *a == *b; }

 private:
  std::unique_ptr<const Value> value_;
};

}  // namespace kelvane::inventory
