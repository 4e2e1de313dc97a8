#include "drivers/embedded/engine/used_objects.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "drivers/embedded/engine/statement_kinds.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

using Kind = UsedObject::Kind;

class UseCollector {
 public:
  void statement(const tsql::Statement& statement) {
    std::visit([this](const auto& node) { visit(node); }, statement.node);
  }

  std::vector<UsedObject> used;

 private:
  using Places =
      std::map<std::tuple<std::string, std::string, std::string, Kind, int>, std::size_t>;

  // The reference is valid until the next call.
  UsedObject& use(const ObjectName& name, Kind kind, int number = 0) {
    const auto [place, isNew] = places_.emplace(
        std::tuple(name.database, name.owner, name.name, kind, number), used.size());
    if (isNew) used.push_back({.name = name, .kind = kind, .number = number});
    return used[place->second];
  }

  bool isStored(const ObjectName& name) const {
    const bool isFired =
        inTrigger_ && name.owner.empty() && (name.name == "inserted" || name.name == "deleted");
    return !name.empty() && name.server.empty() && !name.name.starts_with('#') && !isFired;
  }

  void read(const ObjectName& name) {
    if (isStored(name)) use(name, Kind::Table).isRead = true;
  }
  void write(const ObjectName& name) {
    if (isStored(name)) use(name, Kind::Table).isWritten = true;
  }

  // expressions and queries

  void expression(const ExprPtr& expr) {
    if (expr) expression(*expr);
  }
  void expression(const Expr& expr) {
    if (const auto* e = as<InSubquery>(expr)) query(*e->query);
    if (const auto* e = as<Exists>(expr)) query(*e->query);
    if (const auto* e = as<ScalarSubquery>(expr)) query(*e->query);
    if (const auto* e = as<Quantified>(expr)) query(*e->query);
    if (const auto* e = as<Call>(expr)) use(e->function, Kind::Function);
    eachOperand(expr, [this](const Expr& operand) { expression(operand); });
  }
  void expressions(const std::vector<ExprPtr>& list) {
    for (const ExprPtr& expr : list) expression(expr);
  }

  void query(const Query& query) {
    for (const UnionTerm& term : query.terms) select(term.select);
    for (const OrderItem& item : query.orderBy) expression(item.value);
    for (const ComputeClause& clause : query.compute) expressions(clause.aggregates);
  }

  void select(const Select& select) {
    std::vector<const NamedTable*> tables;
    from(select.from, tables);
    for (const SelectItem& item : select.items) {
      const auto* star = item.value ? as<Star>(*item.value) : nullptr;
      if (star != nullptr) {
        allColumns(*star, tables);
      } else {
        expression(item.value);
      }
    }
    if (!select.into.empty()) write(select.into);
    expression(select.where);
    expressions(select.groupBy);
    expression(select.having);
  }

  void allColumns(const Star& star, const std::vector<const NamedTable*>& tables) {
    for (const NamedTable* table : tables) {
      const std::string& shown = table->alias.empty() ? table->name.name : table->alias;
      const bool isMeant = star.table.empty() || star.table.name == shown;
      if (isMeant && isStored(table->name)) use(table->name, Kind::Table).allColumns = true;
    }
  }

  // Adds the tables that have a name.
  void from(const std::vector<TableRefPtr>& list, std::vector<const NamedTable*>& tables) {
    for (const TableRefPtr& table : list) from(*table, tables);
  }
  void from(const TableRef& table, std::vector<const NamedTable*>& tables) {
    std::visit(Overloaded{[&](const NamedTable& named) {
                            read(named.name);
                            tables.push_back(&named);
                          },
                          [&](const DerivedTable& derived) { query(*derived.query); },
                          [&](const Join& join) {
                            from(*join.left, tables);
                            from(*join.right, tables);
                            expression(join.on);
                          }},
               table.node);
  }

  // The target may be an alias of the from list.
  template <class Node>
  void change(const Node& node) {
    std::vector<const NamedTable*> tables;
    from(node.from, tables);
    const auto aliased = std::ranges::find_if(tables, [&](const NamedTable* table) {
      return node.target.owner.empty() && table->alias == node.target.name;
    });
    write(aliased == tables.end() ? node.target : (*aliased)->name);
    expression(node.where);
  }

  // statements

  void statements(const StatementList& list) {
    for (const StatementPtr& one : list) statement(*one);
  }
  void optional(const StatementPtr& one) {
    if (one) statement(*one);
  }
  void assignments(const std::vector<Assignment>& list) {
    for (const Assignment& assignment : list) expression(assignment.value);
  }

  void visit(const SelectStatement& s) { query(*s.query); }
  void visit(const Insert& s) {
    write(s.table);
    std::visit(
        Overloaded{[&](const InsertValues& values) { expressions(values.values); },
                   [](const InsertDefaults&) {}, [&](const QueryPtr& rows) { query(*rows); }},
        s.source);
  }
  void visit(const Update& s) {
    change(s);
    assignments(s.assignments);
  }
  void visit(const Delete& s) { change(s); }
  void visit(const Truncate& s) { write(s.table); }
  void visit(const Merge& s) {
    std::vector<const NamedTable*> tables;
    write(s.target.name);
    from(*s.source, tables);
    expression(s.on);
    for (const MergeClause& clause : s.clauses) {
      expression(clause.condition);
      assignments(clause.assignments);
      expressions(clause.values);
    }
  }
  void visit(const Declare& s) {
    for (const VariableDeclaration& variable : s.variables) expression(variable.initial);
  }
  void visit(const DeclareCursor& s) { query(*s.query); }
  void visit(const SetVariables& s) { assignments(s.assignments); }
  void visit(const Block& s) { statements(s.statements); }
  void visit(const If& s) {
    expression(s.condition);
    optional(s.then);
    optional(s.otherwise);
  }
  void visit(const While& s) {
    expression(s.condition);
    optional(s.body);
  }
  void visit(const Return& s) { expression(s.value); }
  void visit(const Print& s) { expressions(s.arguments); }
  void visit(const RaiseError& s) { expressions(s.arguments); }
  void visit(const RollbackTrigger& s) { optional(s.raise); }
  void visit(const Execute& s) {
    if (isStored(s.procedure)) use(s.procedure, Kind::Procedure, s.number);
  }
  void visit(const CreateView& s) { query(*s.query); }
  void visit(const CreatePrecomputed& s) { query(*s.query); }
  void visit(const CreateProcedure& s) { statements(s.body); }
  void visit(const CreateFunction& s) { statements(s.body); }
  void visit(const CreateTrigger& s) {
    inTrigger_ = true;
    statements(s.body);
  }
  void visit(const OneOf<OpenCursor, CloseCursor, DeallocateCursor, FetchCursor, SetOption, Break,
                         Continue, Goto, Label, WaitFor, ExecuteImmediate, Transaction, UseDatabase,
                         SetUser, Utility, CreateLogin, EncryptionKey, ModifyOwner, CreateTable,
                         AlterTable, CreateIndex, CreateRule, CreateDefault, CreateSchema, Drop,
                         Permission> auto&) {}

  Places places_;
  bool inTrigger_ = false;
};

}  // namespace

std::vector<UsedObject> usedObjects(const tsql::Statement& definition) {
  UseCollector collector;
  collector.statement(definition);
  return std::move(collector.used);
}

}  // namespace kelvane::embedded
