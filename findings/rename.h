// The guess that an object of one side is an object of the other under another name.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <string>

namespace kelvane {

struct Rename {
  std::string kind;               // in one word: table
  std::u16string source, target;  // full names
  int likeness = 0;               // of the contents, in percent
};

}  // namespace kelvane
