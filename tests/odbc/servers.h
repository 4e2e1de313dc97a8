// The servers that the driver is tested with.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "drivers/odbc/connection.h"
#include "model/text.h"

namespace kelvane::testing {

// Debian's driver for SQLite, without a data source: it is found by its name among the installed
// ones.
inline std::unique_ptr<odbc::Connection> sqlite(const std::string& file = ":memory:") {
  return odbc::connect(u"Driver=SQLite3;Database=" + toUtf16(file));
}

}  // namespace kelvane::testing
