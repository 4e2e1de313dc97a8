// T-SQL that makes a database again: batches by object, and the order in which they run.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/kinds.h"

namespace kelvane::inventory {

/// In the order of running: what a phase uses is made by those before it.
enum class Phase : std::uint8_t {
  settings,    ///< owner of the database, segments, messages
  principals,  ///< groups, roles, users, aliases, and the rights to create objects
  values,      ///< defaults, rules, types, encryption keys
  tables,
  indexes,
  references,  ///< foreign keys, logical keys
  bindings,    ///< defaults and rules of columns and types, caches, marks for replication
  compiled,    ///< views, functions, procedures
  triggers,
  permissions,
  endings,  ///< disabled triggers, thresholds, options of the database
  closing,  ///< options with which the database takes no more statements
};

struct Batch {
  Phase phase;
  std::string text;  ///< without the line `go`
  std::string user;  ///< who runs it; none for the owner of the database
  bool quotedIdentifier = false;
  bool isText = false;  ///< kept by the server, to the last blank
};

/// An object with all that belongs to it.
struct ScriptedObject {
  Kind kind;
  std::string name;            ///< as a person reads it: dbo.customer
  std::string file;            ///< tables/dbo.customer.sql
  std::vector<Batch> batches;  ///< by phase
};

/// Something that the script does not make.
struct Omission {
  std::string what, reason;
};

struct Script {
  std::vector<ScriptedObject> objects;  ///< within a phase they run in this order
  std::vector<Omission> omissions;      ///< in the order of the objects that they belong to
};

/// Where the files of a kind are: encryption-keys.
std::string folderOf(Kind kind);

/// Adds a statement without effect where there is none: a script without statements does not load.
void addStatementIfNone(Script& script);

/// All of it, phase by phase, with texts as they are to the last blank. `begin` is called before
/// each object of a phase, with its position.
void write(const Script& script, std::ostream& out,
           const std::function<void(std::size_t object)>& begin = {});
/// One object alone, to be read: with headings of phases, and texts as they stand. One that ends
/// within a line is marked.
void write(const ScriptedObject& object, std::ostream& out);

}  // namespace kelvane::inventory
