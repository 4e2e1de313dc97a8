#include "tests/embedded/tsql/dump.h"

#include <array>
#include <initializer_list>

#include "drivers/embedded/tsql/parser.h"

namespace kelvane::tsql {
namespace {

constexpr std::array kBinaryNames = {"+", "-",  "*", "/",  "%", "&",  "|",  "^", "||",
                                     "=", "<>", "<", "<=", ">", ">=", "*=", "=*"};
constexpr std::array kJoinNames = {"inner", "left", "right", "full", "cross"};
constexpr std::array kDropNames = {"table", "view",    "procedure", "function", "trigger",
                                   "rule",  "default", "index",     "database", "role"};

std::string join(std::initializer_list<std::string> parts) {
  std::string result;
  for (const std::string& part : parts)
    if (!part.empty()) result += (result.empty() ? "" : " ") + part;
  return result;
}

template <class... Parts>
std::string list(Parts... parts) {
  return "(" + join({std::string(parts)...}) + ")";
}

std::string text(const std::string& s) { return s; }

// Each element of a sequence, with a blank between two.
template <class Sequence, class Show>
std::string each(const Sequence& sequence, Show show) {
  std::string result;
  for (const auto& element : sequence) result += (result.empty() ? "" : " ") + show(element);
  return result;
}

std::string words(const std::vector<std::string>& names) { return each(names, text); }

// A list with a head, or nothing when it has no elements.
std::string clause(const std::string& head, const std::string& rest) {
  return rest.empty() ? "" : list(head, rest);
}

std::string flag(bool set, const char* word) { return set ? word : ""; }

std::string show(const ExprPtr& expr) { return expr ? dump(*expr) : ""; }
std::string show(const QueryPtr& query) { return dump(*query); }
std::string show(const StatementPtr& statement) { return statement ? dump(*statement) : ""; }
std::string all(const std::vector<ExprPtr>& exprs) {
  return each(exprs, [](const ExprPtr& e) { return show(e); });
}
std::string all(const StatementList& statements) {
  return each(statements, [](const StatementPtr& s) { return show(s); });
}

std::string show(const ObjectName& name) {
  std::string result = name.name;
  if (!(name.owner + name.database + name.server).empty()) result = name.owner + "." + result;
  if (!(name.database + name.server).empty()) result = name.database + "." + result;
  return name.server.empty() ? result : name.server + "." + result;
}

std::string show(const DataType& type) {
  std::string result = (type.owner.empty() ? "" : type.owner + ".") + type.name;
  if (type.length) result += "(" + std::to_string(*type.length);
  if (type.scale) result += "," + std::to_string(*type.scale);
  return type.length ? result + ")" : result;
}

std::string negatable(const char* word, bool negated) {
  return std::string(negated ? "not-" : "") + word;
}

struct ExprDump {
  std::string operator()(const Literal& l) const {
    switch (l.kind) {
      case LiteralKind::String:
        return "'" + l.text + "'";
      case LiteralKind::Binary:
        return "0x" + l.text;
      case LiteralKind::Money:
        return "$" + l.text;
      case LiteralKind::Null:
        return "null";
      case LiteralKind::Float:
        return "float:" + l.text;
      default:
        return l.text;
    }
  }
  std::string operator()(const Variable& v) const { return v.name; }
  std::string operator()(const GlobalVariable& v) const { return v.name; }
  std::string operator()(const ColumnRef& c) const {
    const std::string name = c.quoted ? "[" + c.column + "]" : c.column;
    return c.table.empty() ? name : show(c.table) + "." + name;
  }
  std::string operator()(const Star& s) const {
    return s.table.empty() ? "*" : show(s.table) + ".*";
  }
  std::string operator()(const Unary& u) const {
    constexpr std::array kNames = {"+", "-", "~", "not"};
    return list(kNames[static_cast<std::size_t>(u.op)], show(u.operand));
  }
  std::string operator()(const Binary& b) const {
    return list(kBinaryNames[static_cast<std::size_t>(b.op)], show(b.left), show(b.right));
  }
  std::string operator()(const Logical& l) const {
    return list(l.op == LogicalOp::And ? "and" : "or", all(l.operands));
  }
  std::string operator()(const Like& l) const {
    return list(negatable("like", l.negated), show(l.value), show(l.pattern), show(l.escape));
  }
  std::string operator()(const InList& i) const {
    return list(negatable("in", i.negated), show(i.value), all(i.list));
  }
  std::string operator()(const InSubquery& i) const {
    return list(negatable("in", i.negated), show(i.value), show(i.query));
  }
  std::string operator()(const Between& b) const {
    return list(negatable("between", b.negated), show(b.value), show(b.low), show(b.high));
  }
  std::string operator()(const IsNull& i) const {
    return list(negatable("null?", i.negated), show(i.value));
  }
  std::string operator()(const Exists& e) const { return list("exists", show(e.query)); }
  std::string operator()(const ScalarSubquery& s) const { return list("scalar", show(s.query)); }
  std::string operator()(const Quantified& q) const {
    return list(kBinaryNames[static_cast<std::size_t>(q.op)], show(q.value),
                q.quantifier == Quantifier::Any ? "any" : "all", show(q.query));
  }
  std::string operator()(const Case& c) const {
    const auto branch = [](const CaseBranch& b) { return list(show(b.when), show(b.then)); };
    return list("case", show(c.operand), each(c.branches, branch),
                clause("else", show(c.otherwise)));
  }
  std::string operator()(const Call& c) const {
    if (!c.parenthesized) return c.function.name;
    return list(show(c.function), flag(c.distinct, "distinct"), all(c.arguments));
  }
  std::string operator()(const Convert& c) const {
    return list("convert", show(c.type), show(c.value), show(c.style));
  }
};

std::string show(const TableRefPtr& table) {
  return std::visit(
      Overloaded{
          [](const NamedTable& t) {
            const std::string hints = words(t.hints);
            if (t.alias.empty() && hints.empty()) return show(t.name);
            return list(show(t.name), t.alias, clause("hints", hints));
          },
          [](const DerivedTable& t) { return list(show(t.query), t.alias, words(t.columns)); },
          [](const Join& j) {
            return list(kJoinNames[static_cast<std::size_t>(j.kind)], show(j.left), show(j.right),
                        show(j.on));
          },
      },
      table->node);
}

std::string tables(const std::vector<TableRefPtr>& from) {
  return clause("from", each(from, [](const TableRefPtr& t) { return show(t); }));
}

std::string show(const SelectItem& item) {
  const std::string& name = item.variable.empty() ? item.alias : item.variable;
  return name.empty() ? show(item.value)
                      : list(item.variable.empty() ? "as" : "set", name, show(item.value));
}

std::string show(const Select& s) {
  return list("select", flag(s.distinct, "distinct"), s.top ? "top " + std::to_string(*s.top) : "",
              each(s.items, [](const SelectItem& i) { return show(i); }),
              clause("into", show(s.into)), tables(s.from), clause("where", show(s.where)),
              clause(s.groupByAll ? "group-all" : "group", all(s.groupBy)),
              clause("having", show(s.having)));
}

std::string show(const Assignment& a) {
  const std::string column = a.qualifier.empty() ? a.column : show(a.qualifier) + "." + a.column;
  return list(a.variable.empty() ? column : a.variable, show(a.value));
}

std::string all(const std::vector<Assignment>& assignments) {
  return each(assignments, [](const Assignment& a) { return show(a); });
}

std::string show(const Execute& e) {
  const auto argument = [](const ExecuteArgument& a) {
    std::string result = a.value ? show(a.value) : "default";
    if (a.bareWord) result = "word:" + result;
    if (!a.name.empty()) result = a.name + "=" + result;
    return a.output ? result + ":output" : result;
  };
  const std::string name = e.procedure.empty() ? e.procedureVariable : show(e.procedure);
  return list("exec", e.number == 1 ? name : name + ";" + std::to_string(e.number),
              clause("status", e.statusVariable), each(e.arguments, argument),
              flag(e.recompile, "recompile"));
}

std::string show(const ExecuteImmediate& e) { return list("exec-text", show(e.text)); }

// definitions

std::string show(Clustering c) {
  constexpr std::array kNames = {"", "clustered", "nonclustered"};
  return kNames[static_cast<std::size_t>(c)];
}

std::string options(const std::vector<StorageOption>& list) {
  return clause("with", each(list, [](const StorageOption& o) {
                  return o.value ? o.name + "=" + std::to_string(*o.value) : o.name;
                }));
}

std::string keys(const std::vector<IndexKey>& list) {
  return each(list, [](const IndexKey& k) {
    const std::string key = k.column.empty() ? show(k.expression) : k.column;
    return k.order == SortOrder::Descending ? key + ":desc" : key;
  });
}

std::string show(const Constraint& c) {
  const std::string body =
      std::visit(Overloaded{
                     [](const KeyConstraint& k) {
                       return list(k.primary ? "primary" : "unique", show(k.clustering),
                                   keys(k.columns), options(k.options), clause("on", k.segment));
                     },
                     [](const ForeignKeyConstraint& k) {
                       return list("foreign", words(k.columns), "->", show(k.table),
                                   words(k.referenced), flag(k.matchFull, "full"));
                     },
                     [](const CheckConstraint& k) { return list("check", show(k.condition)); },
                 },
                 c.node);
  return c.name.empty() ? body : list("constraint", c.name, body);
}

std::string show(const ColumnDefinition& c) {
  constexpr std::array kNull = {"", "null", "not-null"};
  return list(c.name, show(c.type), clause("as", show(c.computed)),
              flag(c.materialized, "materialized"),
              c.defaultClause ? list("default", show(c.defaultClause->value)) : "",
              kNull[static_cast<std::size_t>(c.nullability)], flag(c.identity, "identity"),
              each(c.constraints, [](const Constraint& k) { return show(k); }));
}

std::string show(const AlterAction& action) {
  return std::visit(
      Overloaded{
          [](const AddColumn& a) { return list("add", show(a.column)); },
          [](const AddConstraint& a) { return list("add", show(a.constraint)); },
          [](const DropColumn& a) { return list("drop", a.column); },
          [](const DropConstraint& a) { return list("drop-constraint", a.constraint); },
          [](const ModifyColumn& a) { return list("modify", show(a.column)); },
          [](const ReplaceDefault& a) { return list("replace", a.column, show(a.value.value)); },
          [](const ChangeLock& a) { return list("lock", a.scheme); },
          [](const ChangePartitions& a) {
            return list("partition", a.count ? std::to_string(*a.count) : "none");
          },
          [](const SwitchTrigger& a) { return list(a.enable ? "enable" : "disable", a.trigger); },
          [](const ChangeStorage& a) { return options(a.options); },
      },
      action);
}

std::string show(const std::vector<Parameter>& parameters) {
  return clause("parameters", each(parameters, [](const Parameter& p) {
                  return list(p.name, show(p.type), show(p.defaultValue), flag(p.output, "output"));
                }));
}

struct StatementDump {
  std::string operator()(const SelectStatement& s) const { return show(s.query); }
  std::string operator()(const Insert& s) const {
    const std::string source =
        std::visit(Overloaded{[](const InsertValues& v) { return list("values", all(v.values)); },
                              [](const InsertDefaults&) { return std::string("defaults"); },
                              [](const auto& other) { return show(other); }},
                   s.source);
    return list("insert", show(s.table), clause("columns", words(s.columns)), source);
  }
  std::string operator()(const Update& s) const {
    return list("update", show(s.target), all(s.assignments), tables(s.from),
                clause("where", show(s.where)), clause("current", s.currentOf));
  }
  std::string operator()(const Delete& s) const {
    return list("delete", show(s.target), tables(s.from), clause("where", show(s.where)),
                clause("current", s.currentOf));
  }
  std::string operator()(const Truncate& s) const { return list("truncate", show(s.table)); }
  std::string operator()(const Declare& s) const {
    return list("declare", each(s.variables, [](const VariableDeclaration& v) {
                  return list(v.name, show(v.type), show(v.initial));
                }));
  }
  std::string operator()(const DeclareCursor& s) const {
    return list("cursor", s.name, show(s.query));
  }
  std::string operator()(const OpenCursor& s) const { return list("open", s.name); }
  std::string operator()(const CloseCursor& s) const { return list("close", s.name); }
  std::string operator()(const DeallocateCursor& s) const { return list("deallocate", s.name); }
  std::string operator()(const FetchCursor& s) const {
    return list("fetch", s.direction, show(s.offset), s.name, clause("into", words(s.into)));
  }
  std::string operator()(const SetOption& s) const {
    return list("set", words(s.names), words(s.values));
  }
  std::string operator()(const SetVariables& s) const { return list("set", all(s.assignments)); }
  std::string operator()(const Block& s) const { return list("block", all(s.statements)); }
  std::string operator()(const If& s) const {
    return list("if", show(s.condition), show(s.then), show(s.otherwise));
  }
  std::string operator()(const While& s) const {
    return list("while", show(s.condition), show(s.body));
  }
  std::string operator()(const Break&) const { return "break"; }
  std::string operator()(const Continue&) const { return "continue"; }
  std::string operator()(const Return& s) const { return list("return", show(s.value)); }
  std::string operator()(const Goto& s) const { return list("goto", s.label); }
  std::string operator()(const Label& s) const { return s.name + ":"; }
  std::string operator()(const Print& s) const {
    return list("print", show(s.format), all(s.arguments));
  }
  std::string operator()(const RaiseError& s) const {
    return list("raiserror", show(s.number), show(s.format), all(s.arguments));
  }
  std::string operator()(const WaitFor& s) const {
    return list("waitfor", s.untilTime ? "time" : "delay", show(s.value));
  }
  std::string operator()(const Execute& s) const { return show(s); }
  std::string operator()(const ExecuteImmediate& s) const { return show(s); }
  std::string operator()(const Transaction& s) const {
    constexpr std::array kNames = {"begin", "commit", "rollback", "save"};
    return list(kNames[static_cast<std::size_t>(s.action)], "tran", s.name);
  }
  std::string operator()(const UseDatabase& s) const { return list("use", s.database); }
  std::string operator()(const SetUser& s) const { return list("setuser", s.user.value_or("")); }
  std::string operator()(const Utility& s) const { return list("utility", s.verb); }
  std::string operator()(const CreateTable& s) const {
    return list("table", show(s.name),
                each(s.columns, [](const ColumnDefinition& c) { return show(c); }),
                each(s.constraints, [](const Constraint& c) { return show(c); }),
                clause("lock", s.lockScheme), options(s.options), clause("on", s.segment),
                s.partitioning ? list("partition", s.partitioning->method) : "");
  }
  std::string operator()(const AlterTable& s) const {
    return list("alter", show(s.table),
                each(s.actions, [](const AlterAction& a) { return show(a); }));
  }
  std::string operator()(const CreateIndex& s) const {
    return list("index", s.name, flag(s.unique, "unique"), show(s.clustering), show(s.table),
                keys(s.keys), options(s.options), clause("on", s.segment));
  }
  std::string operator()(const CreateView& s) const {
    return list("view", show(s.name), clause("columns", words(s.columns)), show(s.query),
                flag(s.checkOption, "check-option"));
  }
  std::string operator()(const CreateProcedure& s) const {
    return list("procedure", show(s.name), s.number == 1 ? "" : std::to_string(s.number),
                show(s.parameters), flag(s.recompile, "recompile"), all(s.body));
  }
  std::string operator()(const CreateFunction& s) const {
    return list("function", show(s.name), show(s.parameters), show(s.returns), all(s.body));
  }
  std::string operator()(const CreateTrigger& s) const {
    return list("trigger", show(s.name), show(s.table), flag(s.events.insert, "insert"),
                flag(s.events.update, "update"), flag(s.events.remove, "delete"), all(s.body));
  }
  std::string operator()(const CreateRule& s) const {
    return list("rule", show(s.name), show(s.condition));
  }
  std::string operator()(const CreateDefault& s) const {
    return list("default", show(s.name), show(s.value));
  }
  std::string operator()(const Drop& s) const {
    return list("drop", kDropNames[static_cast<std::size_t>(s.kind)],
                each(s.names, [](const ObjectName& n) { return show(n); }));
  }
  std::string operator()(const Permission& s) const {
    const auto privilege = [](const Privilege& p) {
      return p.columns.empty() ? p.name : list(p.name, words(p.columns));
    };
    std::string what;  // privileges of several words need their commas
    for (const Privilege& p : s.privileges) what += (what.empty() ? "" : ", ") + privilege(p);
    return list(s.action == PermissionAction::Grant ? "grant" : "revoke", what,
                clause("roles", words(s.roles)),
                clause("on", join({show(s.object), words(s.columns)})),
                clause("to", words(s.grantees)), clause("by", s.grantor),
                flag(s.grantOption, "grant-option"), flag(s.cascade, "cascade"));
  }
};

}  // namespace

std::string dump(const Expr& expr) { return std::visit(ExprDump{}, expr.node); }

std::string dump(const Query& q) {
  std::string result;
  for (const UnionTerm& term : q.terms) {
    const std::string select = show(term.select);
    result = result.empty() ? select : list(term.all ? "union-all" : "union", result, select);
  }
  const auto order = [](const OrderItem& item) {
    return show(item.value) + (item.order == SortOrder::Descending ? ":desc" : "");
  };
  const auto compute = [](const ComputeClause& c) {
    return list("compute", all(c.aggregates), clause("by", all(c.by)));
  };
  constexpr std::array kFor = {"", "for-read-only", "for-browse", "for-update"};
  return join({result, clause("order", each(q.orderBy, order)), each(q.compute, compute),
               kFor[static_cast<std::size_t>(q.forClause)], words(q.updateColumns)});
}

std::string dump(const Statement& statement) { return std::visit(StatementDump{}, statement.node); }

std::string parsed(std::string_view batch, ParseOptions options) {
  try {
    return all(parseBatch(batch, options));
  } catch (const ServerError& error) {
    return std::to_string(error.number) + " " + std::to_string(error.line) + ": " + error.text();
  }
}

}  // namespace kelvane::tsql
