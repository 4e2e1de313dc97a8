#include "rows/table_order.h"

#include <algorithm>
#include <map>
#include <utility>

namespace kelvane::rows {
namespace {

using namespace inventory;

std::pair<std::string, std::string> nameOf(const Table& table) {
  return {table.name.owner, table.name.name};
}

class Order {
 public:
  Order(const Database& database, std::vector<const Table*> tables)
      : referenced_(database, tables) {
    std::ranges::sort(tables, {}, [](const Table* table) { return nameOf(*table); });
    for (const Table* table : tables) {
      places_.emplace(table, nodes_.size());
      nodes_.push_back({table, {}, {}, 0, 0, false});
    }
    for (std::size_t at = 0; at < nodes_.size(); ++at) addKeys(at);
  }

  std::vector<OrderedTable> all() {
    std::set<std::size_t> ready;
    for (std::size_t at = 0; at < nodes_.size(); ++at) {
      if (nodes_[at].waits == 0) ready.insert(at);
    }
    while (ordered_.size() < nodes_.size()) {
      if (ready.empty()) ready.insert(broken());
      const std::size_t at = *ready.begin();
      ready.erase(ready.begin());
      take(at, ready);
    }
    for (std::size_t at = 0; at < nodes_.size(); ++at) {
      for (const Reference& one : nodes_[at].referring)
        ordered_[position_.at(at)].referring.push_back(position_.at(one.table));
    }
    return std::move(ordered_);
  }

 private:
  struct Reference {
    std::size_t table;
    const ForeignKey* key;
  };
  struct Node {
    const Table* table;
    std::vector<Reference> referring;  // to it
    std::set<std::string> linked;
    std::size_t waits, waitsForSure;  // for tables that are not taken; where keys may not be null
    bool isTaken;
  };

  void addKeys(std::size_t at) {
    Node& node = nodes_[at];
    for (const ForeignKey& key : node.table->foreignKeys) {
      const Table* const referenced = referenced_.find(key);
      if (referenced == nullptr) continue;
      if (referenced == node.table) {
        node.linked.merge(nullableOf(*node.table, key));
        continue;
      }
      nodes_[places_.at(referenced)].referring.push_back({at, &key});
      ++node.waits;
      if (nullableOf(*node.table, key).empty()) ++node.waitsForSure;
    }
  }

  // The keys go in a circle: the table to begin with is one that can wait with its references, and
  // for which most others wait.
  std::size_t broken() const {
    std::size_t best = nodes_.size();
    const auto rank = [&](const Node& node) {
      return std::pair(node.waitsForSure == 0, node.referring.size());
    };
    for (std::size_t at = 0; at < nodes_.size(); ++at) {
      if (nodes_[at].isTaken) continue;
      if (best == nodes_.size() || rank(nodes_[at]) > rank(nodes_[best])) best = at;
    }
    return best;
  }

  void take(std::size_t at, std::set<std::size_t>& ready) {
    Node& node = nodes_[at];
    node.isTaken = true;
    for (const ForeignKey& key : node.table->foreignKeys) {
      const Table* const referenced = referenced_.find(key);
      if (referenced != nullptr && !nodes_[places_.at(referenced)].isTaken)
        node.linked.merge(nullableOf(*node.table, key));
    }
    for (const auto& [table, key] : node.referring) {
      Node& other = nodes_[table];
      --other.waits;
      if (nullableOf(*other.table, *key).empty()) --other.waitsForSure;
      if (other.waits == 0 && !other.isTaken) ready.insert(table);
    }
    position_.emplace(at, ordered_.size());
    ordered_.push_back({node.table, std::move(node.linked), {}});
  }

  /// Null in one column is enough for a key to refer to nothing, but all of them are clearer.
  static std::set<std::string> nullableOf(const Table& table, const ForeignKey& key) {
    std::set<std::string> names;
    for (const std::string& name : key.columns) {
      const auto column = std::ranges::find(table.columns, name, &Column::name);
      if (column != table.columns.end() && column->type.nullable) names.insert(name);
    }
    return names;
  }

  ReferencedTables referenced_;
  std::vector<Node> nodes_;
  std::map<const Table*, std::size_t> places_;   // in nodes_
  std::map<std::size_t, std::size_t> position_;  // of nodes in what is ordered
  std::vector<OrderedTable> ordered_;
};

}  // namespace

ReferencedTables::ReferencedTables(const Database& database,
                                   const std::vector<const Table*>& tables)
    : database_(database) {
  for (const Table* table : tables) tables_.emplace(nameOf(*table), table);
}

const Table* ReferencedTables::find(const ForeignKey& key) const {
  const DatabaseObjectName& name = key.referenced;
  const bool isHere = name.database.empty() || name.database == database_.server.database;
  const auto found = tables_.find({name.owner, name.name});
  return isHere && found != tables_.end() ? found->second : nullptr;
}

std::vector<OrderedTable> inOrder(const Database& database, std::vector<const Table*> tables) {
  return Order(database, std::move(tables)).all();
}

}  // namespace kelvane::rows
