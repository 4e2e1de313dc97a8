// The data-access interface that the component calls: connections that hosts lend, recordsets,
// fields, errors.
//
// Lifetime: a connection belongs to the host and outlives every recordset opened on it. A recordset
// is released by destroying it, at any time. Fields live as long as their recordset's current
// result. Threading: a connection and its recordsets belong to one thread at a time; distinct
// connections are independent.
//
// A driver reports failure by first adding to its connection's errors() and then throwing
// ado::Failure.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ado/value.h"
#include "model/common.h"
#include "model/runtime_error.h"

namespace kelvane::ado {

using Error = ProviderError;

// What a driver throws when the server, the network or the driver itself refuses.
class Failure : public RuntimeError {
 public:
  using RuntimeError::RuntimeError;
};

enum class CursorLocation : std::int32_t { server = 2, client = 3 };
enum class CursorType : std::int32_t { unspecified = -1, forwardOnly = 0 };
enum class LockType : std::int32_t { unspecified = -1, readOnly = 1 };
enum class ObjectState : std::int32_t { closed = 0, open = 1 };

// How a statement is to be opened.
struct OpenMode {
  CursorLocation location = CursorLocation::client;
  CursorType cursorType = CursorType::unspecified;
  LockType lockType = LockType::unspecified;
  std::int32_t options = -1;
};

// All rows are fetched at once: the record count is known and the rows can be sorted.
inline constexpr OpenMode kClientCursor{};
// Rows are fetched as they are asked for; memory does not grow with them.
inline constexpr OpenMode kForwardOnly{CursorLocation::server, CursorType::forwardOnly,
                                       LockType::readOnly, -1};

using TakePart = std::function<void(const Value& part)>;

// A column of the current result and its value in the current row.
class Field {
 public:
  virtual ~Field() = default;
  // Empty for an expression without a name.
  virtual const std::u16string& Name() const = 0;
  // Raises RuntimeError when there is no current row, Failure when the row cannot be read.
  virtual ado::Value Value() const = 0;
  // Gives the value, or one part of a text or of bytes after the other, each of which lives until
  // `take` returns. Who reads a row so, reads each of its columns once, in their order. Raises what
  // Value() raises, also between two parts.
  virtual void Parts(const TakePart& take) const { take(Value()); }
};

// The results of one statement, one after the other, and within the current result its rows.
class Recordset {
 public:
  virtual ~Recordset() = default;

  // closed: the current result has no columns (a statement without rows, or nothing left).
  virtual ObjectState State() const = 0;
  // The number of rows of the current result, or -1 when the cursor does not know it
  // (forward-only).
  virtual std::int32_t RecordCount() const = 0;
  // Whether the rows are used up. True for a result without rows; raises RuntimeError when closed.
  virtual bool EndOfRows() const = 0;
  virtual void MoveNext() = 0;
  // Goes on to the statement's next result, which may be closed. False, and closed, when there is
  // none. An error that the server raised behind the current result is thrown here.
  virtual bool NextRecordset() = 0;

  virtual std::int32_t FieldCount() const = 0;
  // By ordinal, 0-based. Raises RuntimeError(itemNotFound).
  virtual const Field& Fields(std::int32_t ordinal) const = 0;
  // By name without regard to case, the first that matches. Raises RuntimeError(itemNotFound).
  virtual const Field& Fields(std::u16string_view name) const = 0;

  // Sorts the rows of a client-side cursor: column names, each with ASC (default) or DESC, between
  // commas. Text is compared in lower case, nulls come first, equal rows keep their order.
  // Goes to the first row.
  virtual void Sort(std::u16string_view criteria) = 0;
};

class Connection {
 public:
  virtual ~Connection() = default;

  // Runs a text and opens its first result. Errors left by an earlier call are cleared first.
  virtual std::unique_ptr<Recordset> Open(std::u16string_view source, const OpenMode& mode) = 0;

  // What the last call left pending, in the order in which it arrived.
  virtual const std::vector<Error>& Errors() const = 0;
};

}  // namespace kelvane::ado
