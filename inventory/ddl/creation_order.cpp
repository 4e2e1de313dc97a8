#include "inventory/ddl/creation_order.h"

#include <map>
#include <string>
#include <utility>

#include "inventory/ddl/former_names.h"
#include "inventory/ddl/use_graph.h"
#include "inventory/ddl/used_names.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

template <class... Visits>
struct Visitor : Visits... {
  using Visits::operator()...;
};
// clang 16 does not find it.
template <class... Visits>
Visitor(Visits...) -> Visitor<Visits...>;

std::string textOf(const ProcedureGroup& group) {
  std::string text;
  for (const Procedure* one : group) text += one->definition.text + '\n';
  return text;
}

struct Node {
  Kind kind;
  const QualifiedName* name;
  Phase phase;
};

Node nodeOf(const decltype(Creation::record)& record) {
  return std::visit(Visitor{
                        [](const Default* one) {
                          return Node{Kind::defaultObject, &one->name, Phase::values};
                        },
                        [](const Rule* one) {
                          return Node{Kind::rule, &one->name, Phase::values};
                        },
                        [](const UserType* one) {
                          return Node{Kind::type, &one->name, Phase::values};
                        },
                        [](const EncryptionKey* one) {
                          return Node{Kind::encryptionKey, &one->name, Phase::values};
                        },
                        [](const Table* one) {
                          return Node{Kind::table, &one->name, Phase::tables};
                        },
                        [](const View* one) {
                          return Node{Kind::view, &one->name, Phase::compiled};
                        },
                        [](const Function* one) {
                          return Node{Kind::function, &one->name, Phase::compiled};
                        },
                        [](const ProcedureGroup& group) {
                          return Node{Kind::procedure, &group.front()->name, Phase::compiled};
                        },
                    },
                    record);
}

/// Views, functions and procedures as their texts name them in whatever place, so that procedures
/// too come behind those that they call.
void addCompiled(const Database& database, std::vector<Creation>& all) {
  std::vector<Creation> compiled;
  std::vector<NamedText> texts;
  for (const View& one : database.views) {
    compiled.push_back({&one, Phase::compiled});
    texts.push_back({one.name.name, one.definition.text, one.definition.quotedIdentifier});
  }
  for (const Function& one : database.functions) {
    compiled.push_back({&one, Phase::compiled});
    texts.push_back({one.name.name, one.definition.text, one.definition.quotedIdentifier});
  }
  std::map<std::pair<std::string_view, std::string_view>, ProcedureGroup> groups;
  std::vector<ProcedureGroup*> inOrder;
  for (const Procedure& one : database.procedures) {
    ProcedureGroup& group = groups[{one.name.owner, one.name.name}];
    if (group.empty()) inOrder.push_back(&group);
    group.push_back(&one);
  }
  std::vector<std::string> groupTexts;
  groupTexts.reserve(inOrder.size());
  for (const ProcedureGroup* group : inOrder) {
    const Procedure& first = *group->front();
    texts.push_back({first.name.name, groupTexts.emplace_back(textOf(*group)),
                     first.definition.quotedIdentifier});
    compiled.push_back({*group, Phase::compiled});
  }
  for (const std::size_t at : inOrderOfUse(texts, database.server.ignoresCase))
    all.push_back(std::move(compiled[at]));
}

class Ordering {
 public:
  explicit Ordering(const Database& database)
      : database_(database), graph_(database.server.database, database.server.ignoresCase) {
    const auto add = [&](const auto& records) {
      for (const auto& one : records) all_.push_back({&one, {}});
    };
    add(database.defaults);
    add(database.rules);
    add(database.types);
    add(database.encryptionKeys);
    add(database.tables);
    addCompiled(database, all_);
    for (Creation& one : all_) {
      const Node node = nodeOf(one.record);
      one.phase = node.phase;
      const std::size_t at = graph_.add(node.kind, node.name->owner, node.name->name);
      if (node.kind == Kind::type) types_.emplace(shown(*node.name), at);
    }
    addFormerNames();
  }

  CreationOrder run() {
    for (std::size_t at = 0; at < all_.size(); ++at) addUses(at);
    makeEarly();
    findLate();
    CreationOrder result;
    result.late = std::move(late_);
    result.all.reserve(all_.size());
    for (const std::size_t at : graph_.order()) result.all.push_back(std::move(all_[at]));
    return result;
  }

 private:
  /// What a part of a table calls.
  struct Part {
    std::size_t table;
    const void* record;
    std::vector<std::size_t> functions;
  };

  void addFormerNames() {
    const FormerNames former(database_);
    if (former.all().empty()) return;
    std::map<std::pair<Kind, std::string>, std::size_t> numbers;
    for (std::size_t at = 0; at < all_.size(); ++at) {
      const Node node = nodeOf(all_[at].record);
      numbers.emplace(std::pair(node.kind, shown(*node.name)), at);
    }
    for (const RenamedObject& one : former.all()) {
      const auto found = numbers.find({one.kind, shown(one.name)});
      if (found != numbers.end()) graph_.addName(found->second, one.name.owner, one.former);
    }
  }

  void addUses(std::size_t at) {
    std::visit(Visitor{
                   [&](const Default* one) { addValue(at, one->name, one->definition); },
                   [&](const Rule* one) { addValue(at, one->name, one->definition); },
                   [](const UserType*) {},
                   [](const EncryptionKey*) {},
                   [&](const Table* one) { addTable(at, *one); },
                   [&](const View* one) { addText(at, one->name, one->definition); },
                   [&](const Function* one) {
                     addText(at, one->name, one->definition);
                     addTypes(at, one->parameters);
                   },
                   [&](const ProcedureGroup& group) {
                     for (const Procedure* one : group) {
                       addText(at, one->name, one->definition);
                       addTypes(at, one->parameters);
                     }
                   },
               },
               all_[at].record);
  }
  void addText(std::size_t at, const QualifiedName& name, const Definition& text) {
    graph_.addUses(at, name.owner, text.text, text.quotedIdentifier);
  }
  void addType(std::size_t at, const DataType& type) {
    if (type.owner.isDefault()) return;
    const auto found = types_.find(shown(QualifiedName{*type.owner, type.name}));
    if (found != types_.end()) graph_.addUse(at, found->second);
  }
  void addTypes(std::size_t at, const std::vector<Parameter>& parameters) {
    for (const Parameter& one : parameters) addType(at, one.type);
  }

  std::vector<std::size_t> functionsIn(const QualifiedName& of, std::string_view text,
                                       bool quotedIdentifier) const {
    std::vector<std::size_t> functions;
    if (database_.functions.empty()) return functions;
    graph_.forEachUsed(of.owner, text, quotedIdentifier, [&](std::size_t used) {
      if (std::holds_alternative<const Function*>(all_[used].record)) functions.push_back(used);
    });
    return functions;
  }
  void addValue(std::size_t at, const QualifiedName& name, const Definition& text) {
    const auto functions = functionsIn(name, text.text, text.quotedIdentifier);
    for (const std::size_t used : functions) graph_.addUse(at, used);
    if (functions.empty()) return;
    // Nothing needs it before the bindings.
    all_[at].phase = Phase::tables;
    early_.push_back(at);
  }
  void addTable(std::size_t at, const Table& table) {
    for (const Column& column : table.columns) {
      addType(at, column.type.type);
      addPart(at, table, &column, column.computed->text, column.computed->quotedIdentifier);
      addPart(at, table, &column, column.defaultValue->text, false);
    }
    for (const Check& check : table.checks)
      addPart(at, table, &check, check.condition.text, check.condition.quotedIdentifier);
    for (const Index& index : table.indexes) {
      for (const KeyColumn& key : index.columns) {
        if (!key.isExpression) continue;
        for (const std::size_t used : functionsIn(table.name, key.name, false))
          early_.push_back(used);
      }
    }
  }
  void addPart(std::size_t at, const Table& table, const void* record, std::string_view text,
               bool quotedIdentifier) {
    if (text.empty()) return;
    std::vector<std::size_t> functions = functionsIn(table.name, text, quotedIdentifier);
    if (functions.empty()) return;
    for (const std::size_t used : functions) graph_.addUse(at, used);
    early_.push_back(at);
    parts_.push_back({at, record, std::move(functions)});
  }

  /// What tables call is created among them, and all that it needs.
  void makeEarly() {
    if (early_.empty()) return;
    const std::vector<bool> isEarly = graph_.closure(early_);
    for (std::size_t at = 0; at < all_.size(); ++at) {
      if (isEarly[at] && all_[at].phase == Phase::compiled) all_[at].phase = Phase::tables;
    }
  }

  /// Cuts circles at the parts of tables.
  void findLate() {
    if (parts_.empty()) return;
    const std::vector<std::size_t> circles = graph_.circles();
    for (const Part& part : parts_) {
      for (const std::size_t used : part.functions) {
        if (circles[used] != circles[part.table]) continue;
        late_.insert(part.record);
        graph_.removeUse(part.table, used);
      }
    }
  }

  const Database& database_;
  UseGraph graph_;
  std::vector<Creation> all_;
  std::map<std::string, std::size_t> types_;
  std::vector<std::size_t> early_;
  std::vector<Part> parts_;
  std::unordered_set<const void*> late_;
};

}  // namespace

CreationOrder creationOrder(const Database& database) { return Ordering(database).run(); }

}  // namespace kelvane::inventory
