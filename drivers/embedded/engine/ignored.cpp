#include "drivers/embedded/engine/ignored.h"

#include <string_view>

#include "drivers/embedded/catalog/storage_writer.h"
#include "drivers/embedded/engine/set_options.h"
#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

class Collector {
 public:
  void operator()(const SetOption& option) {
    for (const std::string& name : option.names) {
      if (effectOf(name) == SetEffect::None) parts.push_back("set " + name);
    }
  }
  void operator()(const CreateTable& table) {
    for (const ColumnDefinition& column : table.columns) constraints(column.constraints);
    constraints(table.constraints);
    tableOptions(table.options);
  }
  void operator()(const SelectStatement& select) {
    tableOptions(select.query->terms.front().select.intoStorage.options);
    if (!select.query->compute.empty()) parts.emplace_back("compute");
    if (select.query->forClause == ForClause::Browse) parts.emplace_back("for browse");
  }
  void operator()(const CreatePrecomputed& precomputed) { tableOptions(precomputed.options); }
  void operator()(const CreateIndex& index) { indexOptions(index.options); }
  void operator()(const AlterTable& table) {
    for (const AlterAction& action : table.actions) std::visit(*this, action);
  }
  void operator()(const CreateLogin& login) {
    for (const std::string& attribute : login.others) parts.push_back("create login " + attribute);
  }
  void operator()(const EncryptionKey& key) {
    for (const std::string& clause : key.others) parts.push_back("alter encryption key " + clause);
  }
  void operator()(const DeclareCursor& cursor) {
    for (const std::string& option : cursor.options) parts.push_back(option + " cursor");
  }
  void operator()(const Execute& execute) {
    if (execute.recompile) parts.emplace_back("with recompile");
  }
  void operator()(const WaitFor& wait) { parts.push_back("waitfor " + wait.event); }

  void operator()(const AddColumn& action) { constraints(action.column.constraints); }
  void operator()(const AddConstraint& action) { constraint(action.constraint); }
  void operator()(const ChangeStorage& action) { tableOptions(action.options); }
  void operator()(const AlterPartition& action) {
    for (const StorageOption& option : action.options) {
      parts.push_back("modify partition set " + option.name);
    }
  }
  void operator()(const auto&) {}

  std::vector<std::string> parts;

 private:
  void constraints(const std::vector<Constraint>& list) {
    for (const Constraint& one : list) constraint(one);
  }
  void constraint(const Constraint& constraint) {
    if (const auto* key = std::get_if<KeyConstraint>(&constraint.node)) indexOptions(key->options);
  }
  void tableOptions(const std::vector<StorageOption>& options) {
    for (const StorageOption& option : options) {
      if (!keepsTableOption(option.name)) parts.push_back("with " + option.name);
    }
  }
  void indexOptions(const std::vector<StorageOption>& options) {
    for (const StorageOption& option : options) {
      if (!keepsIndexOption(option.name)) parts.push_back("with " + option.name);
    }
  }
};

}  // namespace

std::vector<std::string> ignoredParts(const tsql::Statement& statement) {
  Collector collector;
  std::visit(collector, statement.node);
  collector.parts.insert(collector.parts.end(), statement.hints.begin(), statement.hints.end());
  return std::move(collector.parts);
}

}  // namespace kelvane::embedded
