// The SQLite functions that translated statements call.
//
// Registered once for a database; they refer to the catalog and to what is running, which must
// outlive it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/variables.h"

namespace kelvane::embedded {

class Session;

/// The session and the frame whose statement is being stepped.
struct Running {
  Session* session = nullptr;
  /// Runs a function of the schema.
  Cell (*call)(Session& session, int functionId, const Row& arguments) = nullptr;
  const Caller* caller = nullptr;
  Variables* variables = nullptr;
  /// The identity values given last, by table. A later statement goes on from there if nothing but
  /// their rows has been written in between.
  struct Identities {
    std::int64_t last = 0;
    std::int64_t given = 0;  ///< by the statement
    std::uint64_t statement = 0;
    std::int64_t changes = 0;  ///< of the store, before the statement
    std::uint64_t rollbacks = 0;
    std::uint64_t namesVersion = 0;
  };
  std::map<std::string, Identities> identities = {};
  std::uint64_t statement = 0;  ///< counts them
  std::int64_t lastIdentity = 0;
  /// How many timestamps the databases have given, by their numbers. A rollback takes none back.
  std::map<int, std::uint64_t> timestamps = {};
  /// When the statement asked for the time first: it sees no other.
  std::optional<Moment> now = {};
  /// Where random numbers stand, and the one that the statement got.
  std::uint64_t random = 0x330E;
  std::optional<double> statementsRandom = {};
  /// The columns, and their lengths in characters, that were too narrow for a text of the
  /// statement.
  std::map<std::string, int, std::less<>> tooNarrow = {};
  /// Changes with what names mean.
  std::uint64_t namesVersion = 0;
  /// Whether what the store does now counts as steps of the batch.
  bool counted = false;

  void beginStatement() {
    ++statement;
    now.reset();
    statementsRandom.reset();
  }
};

/// The value of a timestamp column.
Blob timestampOf(std::uint64_t count);

void registerFunctions(Catalog& catalog, Running& running);

}  // namespace kelvane::embedded
