#include "drivers/embedded/engine/plan.h"

#include "drivers/embedded/engine/convert.h"

namespace kelvane::embedded {

std::optional<Cell> constantValue(const Parameter& parameter) {
  switch (parameter.source) {
    case Parameter::Source::Literal:
      return parameter.name;
    case Parameter::Source::Number:
      return exactNumber(parameter.name);
    case Parameter::Source::Real:
      return realNumber(parameter.name);
    default:
      return std::nullopt;
  }
}

}  // namespace kelvane::embedded
