#include "drivers/embedded/engine/definitions.h"

#include <algorithm>
#include <optional>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/definition_rules.h"
#include "drivers/embedded/engine/star_expansion.h"
#include "drivers/embedded/engine/statement_kinds.h"
#include "drivers/embedded/engine/used_objects.h"
#include "drivers/embedded/tsql/overloaded.h"

namespace kelvane::embedded {

using namespace tsql;

// One after the other, whatever becomes of those before.
void Definitions::dropObjects(const Drop& statement) {
  std::optional<ServerError> failure;
  for (const ObjectName& name : statement.names) {
    try {
      if (statement.kind == DropKind::Table && name.name.starts_with('#')) {
        temporaries_.drop(name);
      } else if (statement.kind == DropKind::Index && name.owner.starts_with('#')) {
        temporaries_.dropIndex(name);
      } else {
        const bool isIndex = statement.kind == DropKind::Index;
        const InDatabase there(session_, isIndex ? std::string() : name.database);
        server_.catalog.drop({statement.kind, {name}, statement.override}, session_.caller);
        server_.namesChanged();
      }
    } catch (const ServerError& error) {
      if (failure) reporter_.tell(*frame_.current(), *failure);
      failure = error;
    }
  }
  if (failure) throw *failure;
}

std::vector<NamedColumn> Definitions::viewColumns(const Query& query) {
  const Plan plan = frame_.plan([&](Translator& t) { return t.select(query); });
  if (!plan.temporaries.empty()) throw ServerError(message::viewOfTemporary, query.range.line);
  std::vector<NamedColumn> columns;
  columns.reserve(plan.columns.size());
  for (const ResultColumn& column : plan.columns) columns.push_back({column.name, column.type});
  return columns;
}

// Scripts of one database often use views of another, which nobody has brought. A server would
// refuse the view; to leave it out would make databases equal that are not.
void Definitions::keepWithoutColumns(const CreateView& view, std::string_view text,
                                     const UnknownDatabase& error) {
  if (!session_.acceptsAnyDatabase) throw error;
  server_.catalog.createView(view, text, std::nullopt, session_.caller);
  Notice notice{ServerMessage(message::viewWithoutColumns, view.name.name, error.database),
                frame_.line()};
  const ObjectInfo kept = server_.catalog.requireObject(view.name, session_.caller);
  notice.withoutColumns = server_.catalog.userName(kept.uid).value_or("") + "." + kept.name;
  reporter_.outcome().notice(notice);
}

void Definitions::permission(const Permission& statement, std::string_view text) {
  if (statement.isBuiltin) return reporter_.ignored("a permission on the builtin function");
  const auto isVariable = [](const std::string& name) { return name.starts_with('@'); };
  Permission named = statement;
  for (std::string& grantee : named.grantees) {
    if (!isVariable(grantee)) continue;
    grantee = Frame::textOf(frame_.variable(grantee, frame_.line()));
  }
  const std::string_view untraced = server_.catalog.permission(named, text, session_.caller);
  if (!untraced.empty()) reporter_.ignored(std::string(untraced));
}

namespace {

// What else may be wrong with a check shows when a row is written.
void requireColumns(const std::vector<const Expr*>& checks, const ObjectName& table, Frame& frame) {
  TranslationContext context = frame.context();
  context.tableColumns = nullptr;
  Translator translator(context);
  NamedTable named;
  named.name = table;
  const Scope scope{nullptr, {translator.sourceOf(named)}, Clause::Definition};
  for (const Expr* check : checks) {
    try {
      translator.condition(*check, &scope, Translator::Polarity::Any);
    } catch (const ServerError& error) {
      if (error.is(message::unknownColumn)) throw;
    }
  }
}

// Whose rows are then looked at; those of a new check are not.
bool addsReference(const AlterTable& table) {
  return std::ranges::any_of(table.actions, [](const AlterAction& action) {
    const auto references = [](const Constraint& constraint) {
      return std::holds_alternative<ForeignKeyConstraint>(constraint.node);
    };
    if (const auto* add = std::get_if<AddConstraint>(&action)) return references(add->constraint);
    const auto* column = std::get_if<AddColumn>(&action);
    return column != nullptr && std::ranges::any_of(column->column.constraints, references);
  });
}

// The database that the statement works in, where it says so.
std::string databaseNamed(const tsql::Statement& statement) {
  return std::visit(Overloaded{[](const CreateTable& s) { return s.name.database; },
                               [](const AlterTable& s) { return s.table.database; },
                               [](const CreateIndex& s) { return s.table.database; },
                               [](const Permission& s) {
                                 return s.database.empty() ? s.object.database : s.database;
                               },
                               [](const auto&) { return std::string(); }},
                    statement.node);
}

// Tells of changed names at its end.
class NamesChange {
 public:
  explicit NamesChange(Server& server) : server_(server) {}
  ~NamesChange() { server_.namesChanged(); }
  NamesChange(const NamesChange&) = delete;
  NamesChange& operator=(const NamesChange&) = delete;

 private:
  Server& server_;
};

}  // namespace

RowValues Definitions::rowValues() {
  return {
      [this](const Expr& value, const ColumnType& type) { return frame_.evaluate(value, &type); },
      [this](const Cell& value, const ColumnType& from, const ColumnType& to) {
        return convertCell(value, from, to, {ConversionForm::Explicit, 0, frame_.line()});
      },
      [this](const Expr& expression, const ObjectName& table) {
        TranslationContext made = frame_.context();
        made.tableColumns = nullptr;
        return Translator(made).typeOf(expression, table);
      }};
}

void Definitions::createTable(const CreateTable& statement) {
  const std::string_view text = frame_.batch()->text;
  const auto checks = checksOf(statement);
  if (checks.empty()) {
    return server_.catalog.createTable(statement, text, rowValues(), session_.caller);
  }
  Savepoint savepoint(server_.catalog.store());
  server_.catalog.createTable(statement, text, rowValues(), session_.caller);
  requireColumns(checks, statement.name, frame_);
  savepoint.keep();
}

void Definitions::alterTable(const AlterTable& statement) {
  const auto checks = checksOf(statement);
  Savepoint savepoint(server_.catalog.store());
  server_.catalog.alterTable(statement, frame_.batch()->text, rowValues(), session_.caller);
  const bool refers = addsReference(statement);
  if (refers || !checks.empty()) server_.namesChanged();
  if (!checks.empty()) requireColumns(checks, statement.table, frame_);
  if (refers) frame_.runTests(frame_.orphanTests(statement.table));
  savepoint.keep();
}

// All of it or nothing.
void Definitions::createSchema(const CreateSchema& schema) {
  if (server_.catalog.userName(session_.caller.uid) != schema.authorization) {
    throw ServerError(message::schemaOfAnother, frame_.line(), schema.authorization);
  }
  Savepoint savepoint(server_.catalog.store());
  for (const auto& statement : schema.statements) {
    session_.caller.line = statement->range.line;
    run(*statement);
  }
  savepoint.keep();
}

namespace {

struct Defined {
  const ObjectName& name;
  int number = 0;  ///< of the procedure in its group
};

/// The object that a definition with a body or a query makes.
std::optional<Defined> definedBy(const tsql::Statement& statement) {
  using Result = std::optional<Defined>;
  return std::visit(
      Overloaded{
          [](const CreateProcedure& s) -> Result {
            return Defined{s.name, s.number};
          },
          [](const OneOf<CreateView, CreatePrecomputed, CreateFunction, CreateTrigger> auto& s)
              -> Result { return Defined{s.name}; },
          [](const auto&) -> Result { return std::nullopt; }},
      statement.node);
}

}  // namespace

void Definitions::requireAllowedInTransaction(const tsql::Statement& statement) const {
  const std::string_view command = commandName(statement);
  const std::string& database = session_.caller.database;
  const bool isAllowed = command.empty() || session_.transactions.depth() == 0 ||
                         server_.catalog.allowsDefinitionsInTransaction(database);
  if (!isAllowed) {
    throw ServerError(message::definitionInTransaction, frame_.line(), command, database);
  }
}

void Definitions::run(const tsql::Statement& statement) {
  Catalog& catalog = server_.catalog;
  const InDatabase there(session_, databaseNamed(statement));
  const Caller& caller = session_.caller;
  const std::string_view text = frame_.batch()->text;
  const auto stored = [&] {
    return withExpandedStars(statement, text, catalog, caller, session_.temporaries);
  };
  std::visit(
      Overloaded{[&](const OneOf<CreateTable, AlterTable, CreateRule, CreateDefault> auto& s) {
                   requireLegal(s, frame_.line());
                 },
                 [](const auto&) {}},
      statement.node);
  if (const auto* table = std::get_if<CreateTable>(&statement.node)) {
    if (table->name.name.starts_with('#')) return temporaries_.create(*table);
  }
  if (const auto* index = std::get_if<CreateIndex>(&statement.node)) {
    if (index->table.name.starts_with('#')) return temporaries_.createIndex(*index);
  }
  if (const auto* alter = std::get_if<AlterTable>(&statement.node)) {
    if (alter->table.name.starts_with('#')) return temporaries_.alter(*alter);
  }
  requireAllowedInTransaction(statement);
  if (const auto* drop = std::get_if<Drop>(&statement.node)) return dropObjects(*drop);
  if (const auto* schema = std::get_if<CreateSchema>(&statement.node)) return createSchema(*schema);
  // A definition that fails is undone, which is a change for those who looked in between.
  const NamesChange change(server_);
  std::visit(Overloaded{
                 [&](const CreateTable& s) { createTable(s); },
                 [&](const AlterTable& s) { alterTable(s); },
                 [&](const CreateIndex& s) { catalog.createIndex(s, text, rowValues(), caller); },
                 [&](const CreateView& s) {
                   try {
                     catalog.createView(s, stored(), viewColumns(*s.query), caller);
                   } catch (const UnknownDatabase& error) {
                     keepWithoutColumns(s, statement.range.in(text), error);
                   }
                 },
                 [&](const CreatePrecomputed& s) {
                   catalog.createPrecomputed(s, statement.range.in(text), viewColumns(*s.query),
                                             caller);
                 },
                 [&](const CreateProcedure& s) {
                   catalog.createProcedure(s, stored(), caller);
                   if (!s.name.name.starts_with('#')) return;
                   session_.temporaryProcedures.insert(catalog.requireObject(s.name, caller).id);
                 },
                 [&](const CreateFunction& s) { catalog.createFunction(s, stored(), caller); },
                 [&](const CreateTrigger& s) { catalog.createTrigger(s, stored(), caller); },
                 [&](const CreateRule& s) { catalog.createRule(s, text, caller); },
                 [&](const CreateDefault& s) { catalog.createDefault(s, text, caller); },
                 [&](const Permission& s) { permission(s, text); },
                 [&](const CreateLogin& s) { catalog.createLogin(s, caller); },
                 [&](const EncryptionKey& s) { catalog.encryptionKey(s, caller); },
                 [&](const ModifyOwner& s) { catalog.modifyOwner(s, caller); },
                 // Both are done above.
                 [](const OneOf<Drop, CreateSchema> auto&) {},
                 []<class Node>(const Node&) requires(!Definition<Node>){},
             },
             statement.node);
  if (const auto defined = definedBy(statement)) {
    catalog.saveUses(defined->name, defined->number, usedObjects(statement), caller);
  }
}

}  // namespace kelvane::embedded
