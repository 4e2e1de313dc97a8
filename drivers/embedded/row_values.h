// Values of the embedded server as the data-access interface shows them.
//
// A Value may look into the buffer that was passed in; it ends when the buffer changes.
#pragma once

#include <string>

#include "ado/value.h"
#include "drivers/embedded/catalog/result.h"

namespace kelvane::embedded {

struct ValueBuffer {
  Cell cell;
  std::u16string text;
};

/// Fixed-width texts that cannot be null come with their blanks.
ado::Value shownValue(Cell cell, const ColumnType& type, ValueBuffer& buffer);

}  // namespace kelvane::embedded
