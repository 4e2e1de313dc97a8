// The cursors of a session.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "drivers/embedded/catalog/result.h"
#include "drivers/embedded/engine/parsed_batch.h"
#include "drivers/embedded/tsql/ast/cursors.h"

namespace kelvane::embedded {

class Cursors {
 public:
  /// `batch` is the one that the statement is of; the cursor keeps it.
  void declare(const tsql::DeclareCursor& statement, std::shared_ptr<ParsedBatch> batch);

  struct Declared {
    std::shared_ptr<ParsedBatch> batch;
    const tsql::Query* query = nullptr;
  };
  /// Throws 557 where there is none of the name.
  Declared declared(const std::string& name, std::uint32_t line) const;

  /// With the rows of its query, before the first of them.
  void open(const std::string& name, ResultSet rows);
  /// Throw 557 where there is none of the name.
  void close(const std::string& name, std::uint32_t line);
  void deallocate(const std::string& name, std::uint32_t line);

  struct Fetched {
    const ResultSet& rows;   ///< all of the cursor
    const Row* row;          ///< null where there is none
    std::int64_t count = 0;  ///< rows that the cursor has given so far
  };
  /// `offset` gives that of `absolute` and `relative`. Throws 557, and 559 for a cursor that is not
  /// open.
  Fetched fetch(const tsql::FetchCursor& fetch, const std::function<std::int64_t()>& offset,
                std::uint32_t line);

  /// Whether the last fetch of any of them gave a row, or there was none.
  bool fetchedRow() const { return fetchedRow_; }
  /// Rows of the one that was opened last.
  std::int64_t openedRows() const { return openedRows_; }

 private:
  struct Cursor {
    Declared declared;
    bool scroll = false;
    std::optional<ResultSet> rows = {};  ///< while it is open
    std::size_t next = 0;                ///< the row behind the one that it stands on
    std::int64_t fetched = 0;
  };
  Cursor& find(const std::string& name, std::uint32_t line);
  static std::int64_t wantedRow(const tsql::FetchCursor& fetch, const Cursor& cursor,
                                const std::function<std::int64_t()>& offset, std::uint32_t line);

  std::map<std::string, Cursor, std::less<>> cursors_;
  bool fetchedRow_ = true;
  std::int64_t openedRows_ = 0;
};

}  // namespace kelvane::embedded
