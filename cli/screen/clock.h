// The time that outputs tell.
//
// Lifetime and threading: a free function; one thread, as the environment itself.
#pragma once

#include <string>

namespace kelvane::cli {

// "2026-11-22T08:00:00Z": now, or what SOURCE_DATE_EPOCH says (in seconds), so that outputs can be
// the same each time.
std::string timestamp();

}  // namespace kelvane::cli
