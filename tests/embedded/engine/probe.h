// A catalog with a connection, whose answers are drawn as text.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "drivers/embedded/connection.h"
#include "drivers/embedded/script.h"

namespace kelvane::embedded {

class Probe {
 public:
  /// Fails the test when the script does not load.
  explicit Probe(std::string_view script = {}, const CatalogOptions& options = {});

  /// The results of a batch one after the other: a line of names, then one for each row, values
  /// between ` | `, null as `-`. A result without columns is `(closed)`, an error `error 208: ...`.
  std::string ask(std::string_view sql, const ado::OpenMode& mode = ado::kClientCursor);
  /// The rows alone.
  std::string rows(std::string_view sql);
  /// The rows in the order of their texts.
  std::string sortedRows(std::string_view sql);
  /// Number and text of the error that the batch ends in.
  std::string refusal(std::string_view sql);

  EmbeddedCatalog catalog;
  std::unique_ptr<ado::Connection> connection;
};

}  // namespace kelvane::embedded
