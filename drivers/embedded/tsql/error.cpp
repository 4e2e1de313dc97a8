#include "drivers/embedded/tsql/error.h"

namespace kelvane::tsql {

ServerError handledError() {
  constexpr std::uint32_t kUnknownLine = 0;
  try {
    throw;
  } catch (const ServerError& error) {
    return error;
  } catch (const std::exception& error) {
    return {message::failure, kUnknownLine, error.what()};
  }
}

}  // namespace kelvane::tsql
