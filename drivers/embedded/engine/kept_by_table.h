// What is read from the catalog once for a table and kept until a definition changes.
//
// A cache serves one server. No shared state.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

namespace kelvane::embedded {

template <class Facts>
class KeptByTable {
 public:
  /// `version` changes with every definition; `read` gives the facts.
  template <class Read>
  std::shared_ptr<const Facts> of(int tableId, std::uint64_t version, Read&& read) {
    if (version != version_) facts_.clear();
    version_ = version;
    auto& kept = facts_[tableId];
    if (!kept) kept = std::make_shared<const Facts>(read());
    return kept;
  }

 private:
  std::uint64_t version_ = 0;
  std::map<int, std::shared_ptr<const Facts>> facts_;
};

}  // namespace kelvane::embedded
