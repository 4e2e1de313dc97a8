// Remembers where scripts make objects.
//
// Lifetime: the server outlives it. Threading: that of the catalog.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/script.h"
#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/script.h"

namespace kelvane::embedded {

class MadeObjects {
 public:
  explicit MadeObjects(Server& server) : server_(server) {}

  /// After the session has run the batch. What a batch makes with a text of its own is not found.
  void note(std::string_view file, const tsql::Batch& batch, Session& session);
  /// Those that are still there, under the names that they have now.
  std::vector<MadeObject> all() const;

 private:
  struct Made {
    std::string database, file;
    std::uint32_t line;
  };
  struct Origin {
    std::string_view file;
    std::uint32_t firstLine;  ///< of the batch
    std::uint32_t least;      ///< where its first statement begins
  };

  void note(const tsql::Statement& statement, const Origin& origin, Session& session);
  void note(const tsql::ObjectName& name, std::uint32_t line, const Origin& origin,
            Session& session);

  Server& server_;
  std::map<int, Made> made_;  ///< by the id of the object
};

}  // namespace kelvane::embedded
