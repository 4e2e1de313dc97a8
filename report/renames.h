// Objects that are missing on each side under another name: what a tree of differences cannot tell.
//
// Lifetime: results own what they hold unless said. Threading: none of their own.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "findings/rename.h"
#include "model/diff_schema.h"
#include "model/schema.h"

namespace kelvane {

// Pairs tables, views, procedures, functions and types that `differences` has on one side only,
// where their contents (without own names, numbers of rows and permissions) are equal and of no
// other, or where they are nearly equal. Lines count the less, the more objects of the schemas have
// them. Objects that are nearly equal are looked for only where
// few are missing.
std::vector<Rename> probableRenames(const diffSchema& differences, const Schema& source,
                                    const Schema& target);

// Finds the guess about an object that is missing on a side; the guesses outlive it.
class RenameIndex {
 public:
  explicit RenameIndex(const std::vector<Rename>& renames);
  // `side`: where the object is. Null for most.
  const Rename* of(std::string_view kind, enumLocation side, std::u16string_view fullName) const;

 private:
  std::map<std::tuple<std::string_view, enumLocation, std::u16string_view>, const Rename*> renames_;
};

}  // namespace kelvane
