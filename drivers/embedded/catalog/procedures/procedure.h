// The frame of a system procedure: its arguments, its messages, and the tables of procedures that
// the catalog answers to.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/writer.h"

namespace kelvane::embedded {

/// Ends a procedure with one error message and status 1; what it wrote is undone.
struct ProcedureFailure {
  ServerMessage message;
};

class ProcedureRun {
 public:
  ProcedureRun(CatalogWriter& writer, std::vector<std::optional<std::string>> arguments)
      : writer_(writer), arguments_(std::move(arguments)) {}

  CatalogWriter& writer() { return writer_; }
  Catalog& catalog() { return writer_.catalog(); }
  Database& store() { return writer_.store(); }
  const Caller& caller() const { return writer_.caller(); }
  ProcedureResult& result() { return result_; }

  /// None when it was not given, or given as null. Trailing blanks never count.
  std::optional<std::string> argument(std::size_t position) const;
  /// Also when it was given as null.
  bool isGiven(std::size_t position) const { return position < arguments_.size(); }
  /// "" when it was not given.
  std::string text(std::size_t position) const { return argument(position).value_or(""); }

  /// An argument that is one name, which quotes may stand around.
  std::optional<std::string> name(std::size_t position);

  template <class... Arguments>
  [[noreturn]] void fail(message::Message<sizeof...(Arguments)> message,
                         const Arguments&... arguments) const {
    throw ProcedureFailure{{message, arguments...}};
  }
  template <class... Arguments>
  void print(message::Message<sizeof...(Arguments)> message, const Arguments&... arguments) {
    result_.messages.emplace_back(message, arguments...);
  }

  /// The value that an output parameter has at the end.
  void give(std::size_t position, std::optional<std::string> value) {
    result_.outputs.push_back({position, {}, std::move(value)});
  }

  /// Says that `what` was accepted but is not kept.
  void ignore(std::string what) { result_.ignored.push_back(std::move(what)); }

  /// Whether types of release 15 are there: unless the catalog is a 12.5.
  bool takesTypesOf15() const { return writer_.catalog().options().release != Release::ase125; }

  /// A result's column for names: wider where the catalog takes longer names than a 12.5.
  ResultColumn nameColumn(std::string name, int width, bool nullable);
  /// Whether names in arguments may stand in double quotes.
  bool quotedNames() { return catalog().readsQuotedNames(caller()); }

  /// An object of the current database named by a text. Fails with 17460 or 17461.
  ObjectInfo requireObject(std::string_view name);

 private:
  CatalogWriter& writer_;
  std::vector<std::optional<std::string>> arguments_;
  ProcedureResult result_;
};

struct Procedure {
  std::string_view name;
  std::string_view parameters;  ///< their names, separated by blanks, or kAnyParameters
  std::size_t required;         ///< how many of them must be given
  void (*run)(ProcedureRun& run);
};

/// Instead of the names of parameters: any number of arguments with any names.
inline constexpr std::string_view kAnyParameters = "*";

std::span<const Procedure> attributeProcedures();
std::span<const Procedure> columnProcedures();
std::span<const Procedure> compiledProcedures();
std::span<const Procedure> databaseProcedures();
std::span<const Procedure> helpProcedures();
std::span<const Procedure> operationProcedures();
std::span<const Procedure> serverProcedures();
std::span<const Procedure> reportProcedures();
std::span<const Procedure> typeProcedures();
std::span<const Procedure> userProcedures();
std::span<const Procedure> objectProcedures();
std::span<const Procedure> metadataProcedures();
std::span<const Procedure> keyProcedures();
std::span<const Procedure> privilegeProcedures();

}  // namespace kelvane::embedded
