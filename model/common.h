// The text that a host reads after a failure.
//
// Lifetime and threading: free functions over what they are given.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/runtime_error.h"

namespace kelvane {

// One error that a data provider has left pending on its connection.
struct ProviderError {
  std::int32_t Number = 0;
  std::u16string Description;
  std::int32_t NativeError = 0;
  std::u16string Source;
  std::u16string SQLState;
  bool operator==(const ProviderError&) const = default;
};

// Five lines and an empty one for each pending error; without any (or without a connection, a null
// `pending`), three lines on the run-time error `current`, and a fourth when the system recorded a
// code.
std::u16string DescribeErrors(const std::vector<ProviderError>* pending,
                              const RuntimeError& current);

}  // namespace kelvane
