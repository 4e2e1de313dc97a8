#include "drivers/embedded/engine/globals.h"

#include <array>

#include "drivers/embedded/engine/typing.h"

namespace kelvane::embedded {
namespace {

struct Global {
  std::string_view name;
  std::string_view text = {};  // of a character variable
  std::int64_t number = 0;
  bool changes = false;
};

constexpr std::array kGlobals = {
    Global{"@@version",
           "Adaptive Server Enterprise/12.5.4/EBF 13387/P/Linux Intel/Enterprise "
           "Linux/ase1254/2006/32-bit/OPT/Sat May 20 00:55:26 2006"},
    Global{"@@servername", "EMBEDDED"},
    Global{"@@language", "us_english"},
    Global{"@@rowcount", {}, 0, true},
    Global{"@@error", {}, 0, true},
    Global{"@@trancount", {}, 0, true},
    Global{"@@identity", {}, 0, true},
    Global{"@@nestlevel", {}, 0, true},
    Global{"@@sqlstatus", {}, 0, true},
    Global{"@@procid", {}, 0, true},
    Global{"@@transtate", {}, 0, true},
    Global{"@@fetch_status", {}, 0, true},
    Global{"@@spid", {}, 1},
    Global{"@@langid", {}, 0},
    Global{"@@ncharsize", {}, 1},
    Global{"@@unicharsize", {}, 2},
    Global{"@@maxcharlen", {}, 1},
    Global{"@@char_convert", {}, 0},
    Global{"@@isolation", {}, 1},
    Global{"@@tranchained", {}, 0},
    Global{"@@textsize", {}, 32768},
    Global{"@@maxpagesize", {}, 2048},
    Global{"@@pagesize", {}, 2048},
    Global{"@@max_connections", {}, 25},
    Global{"@@mingroupid", {}, 16384},
    Global{"@@maxgroupid", {}, 1048576},
    Global{"@@minuserid", {}, -32768},
    Global{"@@maxuserid", {}, 2147483647},
    Global{"@@version_number", {}, 12540},
    Global{"@@options", {}, 0},
};

const Global* find(std::string_view name) {
  for (const Global& global : kGlobals) {
    if (global.name == name) return &global;
  }
  return nullptr;
}

}  // namespace

std::optional<ColumnType> globalVariableType(std::string_view name) {
  const Global* global = find(name);
  if (global == nullptr) return std::nullopt;
  return global->text.empty() ? intType() : varcharType(255, false);
}

Cell fixedGlobalVariable(std::string_view name) {
  const Global* global = find(name);
  if (global == nullptr || global->changes) return {};
  return global->text.empty() ? Cell(global->number) : Cell(std::string(global->text));
}

}  // namespace kelvane::embedded
