// What every statement that writes the catalog shares: errors, new objects and their names, texts,
// and the removal of objects. Lives for one statement.
#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"

namespace kelvane::embedded {

namespace object_type {
inline constexpr std::string_view kTable = "U";
inline constexpr std::string_view kSystemTable = "S";
inline constexpr std::string_view kView = "V";
inline constexpr std::string_view kProcedure = "P";
inline constexpr std::string_view kFunction = "SF";
inline constexpr std::string_view kTrigger = "TR";
inline constexpr std::string_view kDefault = "D";
inline constexpr std::string_view kRule = "R";
/// Of a condition in a grant. The server's own letters are not published.
inline constexpr std::string_view kPredicate = "PD";
inline constexpr std::string_view kReference = "RI";
inline constexpr std::string_view kComputed = "C";
inline constexpr std::string_view kEncryptionKey = "EK";
inline constexpr std::string_view kExtendedProcedure = "XP";
inline constexpr std::string_view kJavaFunction = "F";
inline constexpr std::string_view kPrecomputed = "RS";
}  // namespace object_type

/// A text of strings and integers.
template <class... Pieces>
std::string concat(const Pieces&... pieces) {
  std::string text;
  const auto append = [&text](const auto& piece) {
    if constexpr (std::integral<std::decay_t<decltype(piece)>>) {
      text += std::to_string(piece);
    } else {
      text += piece;
    }
  };
  (append(pieces), ...);
  return text;
}

struct NewObject {
  std::string_view name;
  std::string_view type;
  int uid = kDboUid;
  int sysstat2 = 0;
  int deltrig = 0;
};

class CatalogWriter {
 public:
  CatalogWriter(Catalog& catalog, const Caller& caller)
      : catalog_(catalog),
        store_(catalog.store()),
        records_(catalog.recordsIn(caller.database)),
        caller_(caller) {}

  Catalog& catalog() { return catalog_; }
  Database& store() { return store_; }
  SystemRecords& records() { return records_; }
  const Caller& caller() const { return caller_; }

  template <class... Arguments>
  [[noreturn]] void fail(message::Message<sizeof...(Arguments)> message,
                         const Arguments&... arguments) const {
    throw tsql::ServerError(message, caller_.line, arguments...);
  }

  /// Owner of an object about to be created under this name. Throws 911 for another database, 2760
  /// for an owner who is no user.
  int ownerFor(const tsql::ObjectName& name);
  /// Throws 2714 when the owner has an object of that name.
  void requireFreeName(std::string_view name, int uid);
  int addObject(const NewObject& object);
  /// An id for the object that the text tells apart from others. What a script declares gets the
  /// same id whatever stands before it, and with it the names that the server makes from ids: to
  /// those who compare two scripts, ids of a running number would make everything differ.
  int newObjectId(std::string_view identity);
  /// An id for an object of a database that is not at hand. It has no rows; object_name and
  /// col_name know what it is called, its columns with the numbers from 1.
  int addElsewhere(const tsql::ObjectName& name, const std::vector<std::string>& columns);
  /// An object of the table, named by the server: parts of the names of table and column, and the
  /// id. `column` may be empty.
  int addUnnamedObject(const ObjectInfo& table, std::string_view column, std::string_view type);

  void saveText(int id, int number, std::string_view text);
  std::string textOf(int id);
  /// The object's own rows everywhere; not those of objects that belong to it.
  void removeObject(int id);
  /// The text of a condition for which no grant on the object is left.
  void removePredicate(int objectId, int predicate);

  /// Throws 208 unless the name is a user table of this database.
  ObjectInfo requireTable(const tsql::ObjectName& name);

 private:
  Catalog& catalog_;
  Database& store_;
  SystemRecords& records_;
  const Caller& caller_;
};

}  // namespace kelvane::embedded
