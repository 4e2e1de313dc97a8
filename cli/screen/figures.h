// Numbers and times as people read them.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <chrono>
#include <cstddef>
#include <iomanip>
#include <sstream>
#include <string>
#include <string_view>

namespace kelvane::cli {

// "2 tables"; the plural unless said: with an s.
inline std::string counted(std::size_t count, std::string_view one, std::string_view many = {}) {
  const std::string plural = many.empty() ? std::string(one) + "s" : std::string(many);
  return std::to_string(count) + " " + (count == 1 ? std::string(one) : plural);
}

// Begins when it is made.
class Stopwatch {
 public:
  using Clock = std::chrono::steady_clock;

  Clock::duration elapsed() const { return Clock::now() - begin_; }
  // "0.12 s"
  std::string text() const {
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << std::chrono::duration<double>(elapsed()).count()
         << " s";
    return text.str();
  }

 private:
  Clock::time_point begin_ = Clock::now();
};

}  // namespace kelvane::cli
