// What people call an object or a part that differs.
//
// Free functions without state.
#pragma once

#include <string>
#include <string_view>

#include "inventory/compare/changes.h"

namespace kelvane::inventory {

/// "table" and "dbo.t", "column" and "a"; for a constraint whose name the server made what it says:
/// "primary key" and "(a, b)". A permission is a statement, without a word before it.
struct Title {
  std::string_view word;
  std::string name;
  bool isDeclaration = false;  ///< says all that the declaration says
};

/// What is on one side only and has no name of its own is called by its declaration: "primary key"
/// and "clustered (a)". `owner`: of the object around it, who is the grantor unless said otherwise.
Title titleOf(const Change& change, std::string_view owner = {});

/// The owner of an object; empty for what has none.
std::string ownerOf(const Change& change);

/// The name without the owner.
std::string bareNameOf(const Change& change);

}  // namespace kelvane::inventory
