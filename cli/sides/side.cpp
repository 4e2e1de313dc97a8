#include "cli/sides/side.h"

namespace kelvane::cli {

std::unique_ptr<Side> openSide(const Place& place, const Console& console) {
  if (const auto* server = std::get_if<ServerPlace>(&place)) return openServer(*server);
  return openScripts(std::get<ScriptPlace>(place), console);
}

}  // namespace kelvane::cli
