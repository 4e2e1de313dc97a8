#include "rows/table_order.h"

#include <algorithm>
#include <map>
#include <utility>

namespace kelvane::rows {
namespace {

using namespace inventory;

using Name = std::pair<std::string, std::string>;

Name nameOf(const Table& table) { return {table.name.owner, table.name.name}; }

bool isHere(const Database& database, const DatabaseObjectName& name) {
  return name.database.empty() || name.database == database.server.database;
}

class Order {
 public:
  Order(const Database& database, const std::vector<const Table*>& tables) : database_(database) {
    for (const Table* table : tables) tables_.emplace(nameOf(*table), Visit{table});
  }

  std::vector<OrderedTable> all() {
    for (auto& [name, visit] : tables_) this->visit(visit);
    for (std::size_t at = 0; at < ordered_.size(); ++at) {
      for (const ForeignKey& key : ordered_[at].table->foreignKeys) {
        const Visit* const referenced = find(key);
        if (referenced != nullptr && referenced->place != at)
          ordered_[referenced->place].referring.push_back(at);
      }
    }
    return std::move(ordered_);
  }

 private:
  struct Visit {
    const Table* table;
    enum class State : std::uint8_t { none, under, done } state = State::none;
    std::size_t place = 0;
  };

  Visit* find(const ForeignKey& key) {
    if (!isHere(database_, key.referenced)) return nullptr;
    const auto found = tables_.find({key.referenced.owner, key.referenced.name});
    return found == tables_.end() ? nullptr : &found->second;
  }

  // As deep as keys follow each other, not as there are tables: a loop, no recursion.
  void visit(Visit& first) {
    struct Step {
      Visit* visit;
      std::size_t key = 0;
      OrderedTable result = {};
    };
    if (first.state != Visit::State::none) return;
    std::vector<Step> steps;
    const auto enter = [&](Visit& visit) {
      visit.state = Visit::State::under;
      steps.push_back({&visit, 0, {visit.table, {}, {}}});
    };
    enter(first);
    while (!steps.empty()) {
      Step& step = steps.back();
      const auto& keys = step.visit->table->foreignKeys;
      if (step.key == keys.size()) {
        step.visit->state = Visit::State::done;
        step.visit->place = ordered_.size();
        ordered_.push_back(std::move(step.result));
        steps.pop_back();
        continue;
      }
      const ForeignKey& key = keys[step.key++];
      Visit* const referenced = find(key);
      if (referenced == nullptr || referenced->state == Visit::State::done) continue;
      if (referenced->state == Visit::State::under) {
        link(*step.visit->table, key, step.result);
      } else {
        enter(*referenced);
      }
    }
  }

  /// Null in one column is enough for a key to refer to nothing, but all of them are clearer.
  static void link(const Table& table, const ForeignKey& key, OrderedTable& result) {
    for (const std::string& name : key.columns) {
      const auto column = std::ranges::find(table.columns, name, &Column::name);
      if (column != table.columns.end() && column->type.nullable) result.linked.insert(name);
    }
  }

  const Database& database_;
  std::map<Name, Visit> tables_;
  std::vector<OrderedTable> ordered_;
};

}  // namespace

bool refersTo(const Database& database, const ForeignKey& key, const Table& table) {
  return isHere(database, key.referenced) && key.referenced.owner == table.name.owner &&
         key.referenced.name == table.name.name;
}

std::vector<OrderedTable> inOrder(const Database& database, std::vector<const Table*> tables) {
  return Order(database, tables).all();
}

}  // namespace kelvane::rows
