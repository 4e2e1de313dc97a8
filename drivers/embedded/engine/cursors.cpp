#include "drivers/embedded/engine/cursors.h"

#include <algorithm>
#include <utility>

#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

using tsql::ServerError;

void Cursors::declare(const tsql::DeclareCursor& statement, std::shared_ptr<ParsedBatch> batch) {
  cursors_[statement.name] = {{std::move(batch), statement.query.get()}, statement.scroll};
}

Cursors::Declared Cursors::declared(const std::string& name, std::uint32_t line) const {
  const auto found = cursors_.find(name);
  if (found == cursors_.end()) throw ServerError(message::cursorNotFound, line, name);
  return found->second.declared;
}

void Cursors::open(const std::string& name, ResultSet rows) {
  // A function that its query called may have deallocated it.
  const auto found = cursors_.find(name);
  if (found == cursors_.end()) return;
  Cursor& cursor = found->second;
  openedRows_ = static_cast<std::int64_t>(rows.rows.size());
  cursor.rows = std::move(rows);
  cursor.next = 0;
  cursor.fetched = 0;
}

Cursors::Cursor& Cursors::find(const std::string& name, std::uint32_t line) {
  const auto found = cursors_.find(name);
  if (found == cursors_.end()) throw ServerError(message::cursorNotFound, line, name);
  return found->second;
}

void Cursors::close(const std::string& name, std::uint32_t line) { find(name, line).rows.reset(); }

void Cursors::deallocate(const std::string& name, std::uint32_t line) {
  find(name, line);
  cursors_.erase(name);
}

// The row that a fetch goes to, from 0; one outside of the rows where there is none.
std::int64_t Cursors::wantedRow(const tsql::FetchCursor& fetch, const Cursor& cursor,
                                const std::function<std::int64_t()>& offset, std::uint32_t line) {
  const auto next = static_cast<std::int64_t>(cursor.next);
  if (fetch.direction.empty() || fetch.direction == "next") return next;
  if (!cursor.scroll) {
    throw ServerError(message::notScrollCursor, line, fetch.name, fetch.direction);
  }
  const auto size = static_cast<std::int64_t>(cursor.rows->rows.size());
  if (fetch.direction == "prior") return next - 2;
  if (fetch.direction == "first") return size == 0 ? -1 : 0;
  if (fetch.direction == "last") return size - 1;
  const std::int64_t by = offset();
  if (fetch.direction == "relative") return next - 1 + by;
  return by < 0 ? size + by : by - 1;
}

Cursors::Fetched Cursors::fetch(const tsql::FetchCursor& fetch,
                                const std::function<std::int64_t()>& offset, std::uint32_t line) {
  Cursor& cursor = find(fetch.name, line);
  if (!cursor.rows) throw ServerError(message::cursorNotOpen, line, fetch.name);
  const auto size = static_cast<std::int64_t>(cursor.rows->rows.size());
  const auto at = std::clamp<std::int64_t>(wantedRow(fetch, cursor, offset, line), -1, size);
  fetchedRow_ = at >= 0 && at < size;
  cursor.next = static_cast<std::size_t>(at + 1);
  cursor.fetched += fetchedRow_ ? 1 : 0;
  const Row* row = fetchedRow_ ? &cursor.rows->rows[static_cast<std::size_t>(at)] : nullptr;
  return {*cursor.rows, row, cursor.fetched};
}

}  // namespace kelvane::embedded
