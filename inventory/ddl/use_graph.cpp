#include "inventory/ddl/use_graph.h"

#include <algorithm>
#include <utility>

#include "model/text.h"

namespace kelvane::inventory {
namespace {

constexpr std::string_view kOwnerOfDatabase = "dbo";

/// A walk that goes from each object to those that it uses, without recursion: views may stand on
/// one another in any number.
template <class Enter, class Meet, class Leave>
void walk(const std::vector<std::vector<std::size_t>>& used, Enter enter, Meet meet, Leave leave) {
  std::vector<bool> isSeen(used.size(), false);
  std::vector<std::pair<std::size_t, std::size_t>> path;  // an object, and which of those it uses
  for (std::size_t first = 0; first < used.size(); ++first) {
    if (isSeen[first]) continue;
    path.emplace_back(first, 0);
    isSeen[first] = true;
    enter(first);
    while (!path.empty()) {
      auto& [at, next] = path.back();
      if (next == used[at].size()) {
        const std::size_t left = at;
        path.pop_back();
        leave(left, path.empty() ? left : path.back().first);
        continue;
      }
      const std::size_t to = used[at][next++];
      if (isSeen[to]) {
        meet(at, to);
        continue;
      }
      isSeen[to] = true;
      enter(to);
      path.emplace_back(to, 0);
    }
  }
}

}  // namespace

std::vector<bool> reachable(const std::vector<std::vector<std::size_t>>& edges,
                            std::vector<std::size_t> from) {
  std::vector<bool> isReached(edges.size(), false);
  while (!from.empty()) {
    const std::size_t at = from.back();
    from.pop_back();
    if (isReached[at]) continue;
    isReached[at] = true;
    from.insert(from.end(), edges[at].begin(), edges[at].end());
  }
  return isReached;
}

std::size_t UseGraph::add(Kind kind, std::string_view owner, std::string_view name) {
  kinds_.push_back(kind);
  used_.emplace_back();
  // The others have names of their own, or none that a text could use.
  const bool isNamed = kind == Kind::table || kind == Kind::view || kind == Kind::function ||
                       kind == Kind::procedure;
  if (isNamed) named_.try_emplace(key(owner, name), kinds_.size() - 1);
  return kinds_.size() - 1;
}

std::vector<std::size_t> UseGraph::circles() const {
  std::vector<std::size_t> circles(used_.size(), kNone), low(used_.size()), stack;
  std::vector<std::size_t> numbers(used_.size());
  std::size_t count = 0;
  walk(
      used_,
      [&](std::size_t at) {
        numbers[at] = low[at] = count++;
        stack.push_back(at);
      },
      [&](std::size_t at, std::size_t to) {
        if (circles[to] == kNone) low[at] = std::min(low[at], numbers[to]);
      },
      [&](std::size_t at, std::size_t user) {
        if (low[at] == numbers[at]) {
          for (std::size_t member = kNone; member != at; stack.pop_back()) {
            member = stack.back();
            circles[member] = at;
          }
        }
        low[user] = std::min(low[user], low[at]);
      });
  return circles;
}

std::vector<std::size_t> UseGraph::order() const {
  std::vector<std::size_t> order;
  order.reserve(used_.size());
  walk(
      used_, [](std::size_t) {}, [](std::size_t, std::size_t) {},
      [&](std::size_t at, std::size_t) { order.push_back(at); });
  return order;
}

std::size_t UseGraph::find(std::string_view owner, const UsedObject& used) const {
  if (!used.database.empty() && used.database != database_) return kNone;
  const auto look = [&](std::string_view of) {
    const auto found = named_.find(key(of, used.name));
    if (found == named_.end()) return kNone;
    return used.isCall && kinds_[found->second] != Kind::function ? kNone : found->second;
  };
  if (!used.owner.empty()) return look(used.owner);
  const std::size_t own = look(owner);
  return own == kNone ? look(kOwnerOfDatabase) : own;
}

std::string UseGraph::key(std::string_view owner, std::string_view name) const {
  const std::string key = std::string(owner) + '.' + std::string(name);
  return ignoresCase_ ? toUtf8(foldCase(toUtf16(key))) : key;
}

}  // namespace kelvane::inventory
