// What the server says where SQLite refuses a statement that was translated.
//
// A pure function.
#pragma once

#include <cstdint>

#include "drivers/embedded/store/sqlite.h"
#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

tsql::ServerError storeRefusal(const StoreError& error, std::uint32_t line);

}  // namespace kelvane::embedded
