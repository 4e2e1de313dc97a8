// Reads what a database declares, with a number of statements that does not depend on its size.
//
// Free functions; the connection is the caller's and is used by one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "ado/ado.h"
#include "inventory/kinds.h"
#include "inventory/records.h"
#include "model/runtime_error.h"

namespace kelvane::inventory {

/// Whose meaning status bits have. For some facts the server's bits are not published, and the
/// embedded catalog has bits of its own: read from a server, they would say what nobody declared.
enum class StatusBits : std::uint8_t { server, embedded };

struct ReadOptions {
  StatusBits bits = StatusBits::server;
  bool rowCounts = false;
  /// Which objects to read; none: all. Asked before anything but the name of an object is kept. The
  /// owner is empty for kinds that have none.
  std::function<bool(Kind kind, const QualifiedName& name)> wants = {};
  /// Called for each further procedure of a group that is not wanted.
  std::function<void(const QualifiedName& name, int number)> leftOut = {};
};

/// Told of the progress, and asked whether to go on, before each statement and often within one.
class ReadEvents {
 public:
  virtual ~ReadEvents() = default;
  /// `done` of `of` statements are behind; `what` is what the next one reads.
  virtual void reading(std::string_view /*what*/, std::size_t /*done*/, std::size_t /*of*/) {}
  virtual bool wantsToStop() { return false; }
};

/// Thrown by read() because ReadEvents said so.
class ReadingStopped : public RuntimeError {
 public:
  ReadingStopped();
};

/// What the login may not read, what the catalog does not have in full, and what moved meanwhile,
/// is among the gaps; the rest is read. Throws ado::Failure when the connection is lost or a
/// statement exceeds its time limit, and ReadingStopped.
Database read(ado::Connection& connection, const ReadOptions& options = {},
              ReadEvents* events = nullptr);

}  // namespace kelvane::inventory
