// Random schemas, as records and, in changing spellings, as a script.
#pragma once

#include <string>

#include "model/schema.h"

namespace kelvane::cli {

struct GeneratedSchema {
  Schema declared;
  std::string script;
};
GeneratedSchema generatedSchema(unsigned seed);

}  // namespace kelvane::cli
