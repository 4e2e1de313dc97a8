// A difference that a list of known differences accepts.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <string>

#include "inventory/kinds.h"

namespace kelvane {

struct AcceptedDifference {
  std::string difference;  // as the list has it
  std::string reason;
  std::string until;  // the last day, 2027-01-31; empty where there is none
  // Of typed changes: the object with its owner, and the difference without its values.
  inventory::Kind kind = inventory::Kind::database;
  std::string object = {}, place = {};
};

}  // namespace kelvane
