#include "cli/screen/clock.h"

#include <array>
#include <charconv>
#include <ctime>

#include "cli/screen/variable.h"

namespace kelvane::cli {

std::string timestamp() {
  std::time_t seconds = std::time(nullptr);
  if (const auto epoch = variable("SOURCE_DATE_EPOCH"))
    std::from_chars(epoch->data(), epoch->data() + epoch->size(), seconds);
  std::tm moment{};
  gmtime_r(&seconds, &moment);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &moment);
  return text.data();
}

}  // namespace kelvane::cli
