// The target of a change script as it is behind the script: a copy of what the script concerns, in
// the embedded catalog.
//
// Lifetime: owns its catalog; the target outlives the constructor. Threading: as Side.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/sides/catalog_copy.h"
#include "cli/sides/proof.h"
#include "cli/sides/side.h"

namespace kelvane::cli {

class ChangedCopy final : public Side {
 public:
  // With the rows of these tables. Throws RuntimeError for rows that cannot be read.
  ChangedCopy(const Trial& trial, const CatalogCopy::Rows& rows);

  ado::Connection& connection() override { return *connection_; }
  bool isEmbedded() const override { return true; }
  // Why it is not what it should be, a line each.
  const std::vector<std::string>& obstacles() const { return copy_.obstacles(); }

 private:
  CatalogCopy copy_;
  std::unique_ptr<ado::Connection> connection_;
};

}  // namespace kelvane::cli
