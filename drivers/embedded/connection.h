// The embedded catalog: a small server in the process, filled by T-SQL scripts and read through
// ordinary connections.
//
// Lifetime: connections and their recordsets refer to their catalog and must not outlive it.
// Threading: a catalog and everything that came from it belong to one thread at a time; distinct
// catalogs are independent.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ado/ado.h"
#include "drivers/embedded/options.h"

namespace kelvane::embedded {

class Server;

/// Lets catalogs of different threads get out of each other's way: SQLite then keeps no account of
/// its memory, for which all threads would wait on one lock. For the start of a program; it does
/// nothing once anything in the process has used SQLite.
void prepareForThreads();

class EmbeddedCatalog {
 public:
  /// An empty database, as the server creates one.
  explicit EmbeddedCatalog(const CatalogOptions& options = {});
  ~EmbeddedCatalog();
  EmbeddedCatalog(EmbeddedCatalog&&) noexcept;
  EmbeddedCatalog& operator=(EmbeddedCatalog&&) noexcept;

  /// The databases that have objects of their own, in the order in which they were created.
  std::vector<std::string> databases() const;
  /// New connections start in that database. False if there is none of the name.
  bool useDatabase(const std::string& name);

  /// A session of the database owner, in the database that the last script was in, or that
  /// useDatabase named. Options,
  /// temporary tables and cursors are the connection's own.
  ///
  /// A forward-only recordset computes its rows as they are asked for; statements that change its
  /// tables in the meantime may make it fail.
  std::unique_ptr<ado::Connection> connect();

  /// For what else stands on the same server, such as the loading of scripts.
  Server& server() { return *server_; }

 private:
  std::unique_ptr<Server> server_;
};

}  // namespace kelvane::embedded
