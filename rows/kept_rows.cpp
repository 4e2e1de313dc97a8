#include "rows/kept_rows.h"

#include <cstddef>
#include <cstring>

namespace kelvane::rows {
namespace {

struct Sizes {
  std::size_t key, source;
};

}  // namespace

std::string recordOf(const DifferingRows& rows) {
  const Sizes sizes{rows.keySize, rows.source.size()};
  std::string record(sizeof sizes, 0);
  std::memcpy(record.data(), &sizes, sizeof sizes);
  return record.append(rows.source).append(rows.target);
}

DifferingRows rowsOf(std::string_view record) {
  Sizes sizes{};
  std::memcpy(&sizes, record.data(), sizeof sizes);
  record.remove_prefix(sizeof sizes);
  return {record.substr(0, sizes.source), record.substr(sizes.source), sizes.key};
}

}  // namespace kelvane::rows
