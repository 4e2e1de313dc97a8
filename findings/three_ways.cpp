#include "findings/three_ways.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "findings/known_changes.h"
#include "inventory/compare/titles.h"

namespace kelvane::findings {
namespace {

using inventory::Change;

// The object, its parts from the outermost on, and the attribute.
using Path = std::vector<std::string>;

struct Found {
  Path path;
  bool isOneSided = false;  // an object or a part that only one side has
};

bool beginsWith(const Path& path, const Path& begin) {
  return path.size() >= begin.size() && std::equal(begin.begin(), begin.end(), path.begin());
}

// Keeps the differences that keep(found) is true for.
template <class Keep>
class Sieve {
 public:
  Sieve(CaseMode names, Keep keep) : names_(names), keep_(std::move(keep)) {}

  void apply(std::vector<Change>& objects) {
    std::erase_if(objects, [&](Change& object) {
      owner_ = inventory::ownerOf(object);
      return isDropped(object, {segment(placeOf(object))});
    });
  }

 private:
  std::string segment(std::string text) const {
    return names_ == CaseMode::exact ? std::move(text) : toUtf8(foldCase(toUtf16(text)));
  }
  Path within(Path path, std::string last) const {
    path.push_back(segment(std::move(last)));
    return path;
  }
  bool isDropped(Change& change, const Path& path) {
    if (!change.isOnBothSides()) return !keep_(Found{path, true});
    std::erase_if(change.attributes, [&](const inventory::AttributeChange& one) {
      return !keep_(Found{within(path, placeWithin(one.label))});
    });
    std::erase_if(change.parts, [&](Change& part) {
      return isDropped(part, within(path, placeWithin(part, owner_)));
    });
    return change.attributes.empty() && change.parts.empty();
  }

  CaseMode names_;
  Keep keep_;
  std::string owner_;
};

template <class Keep>
std::vector<Change> kept(std::vector<Change> changes, CaseMode names, Keep keep) {
  Sieve(names, std::move(keep)).apply(changes);
  return changes;
}

// What a comparison has found.
class Places {
 public:
  Places(const std::vector<Change>& changes, CaseMode names) {
    kept(changes, names, [this](const Found& one) {
      paths_.insert(one.path);
      return true;
    });
  }

  bool has(const Path& path) const { return paths_.contains(path); }
  bool hasWithin(const Path& path) const {
    const auto next = paths_.lower_bound(path);
    return next != paths_.end() && beginsWith(*next, path);
  }
  // The difference itself, or one that stands for it: of what is around it, or, where one side
  // lacks all of it, within it.
  bool concern(const Found& found) const {
    if (found.isOneSided && hasWithin(found.path)) return true;
    for (std::size_t length = found.path.size(); length > 0; --length) {
      if (has(Path(found.path.begin(), found.path.begin() + static_cast<std::ptrdiff_t>(length))))
        return true;
    }
    return false;
  }

 private:
  std::set<Path> paths_;
};

enum class Mover { source, target, both };

class Movers {
 public:
  Movers(const std::vector<Change>& ofSource, const std::vector<Change>& ofTarget, CaseMode names)
      : source_(ofSource, names), target_(ofTarget, names) {}

  Mover of(const Found& found) const {
    const Mover mover = from(source_.concern(found), target_.concern(found));
    if (source_.concern(found) || target_.concern(found)) return mover;
    // What has no name of its own may be called otherwise beside the base.
    const Path object{found.path.front()};
    return from(source_.hasWithin(object), target_.hasWithin(object));
  }
  bool targetHas(const Found& found) const { return target_.has(found.path); }

 private:
  static Mover from(bool bySource, bool byTarget) {
    if (bySource == byTarget) return Mover::both;
    return bySource ? Mover::source : Mover::target;
  }

  Places source_, target_;
};

}  // namespace

ThreeWays threeWays(const ThreeWays::Changes& changes, const ThreeWays::Changes& ofSource,
                    const ThreeWays::Changes& ofTarget, CaseMode names) {
  const Movers movers(ofSource, ofTarget, names);
  const auto of = [&](Mover mover) {
    return kept(changes, names, [&](const Found& one) { return movers.of(one) == mover; });
  };
  ThreeWays result{of(Mover::source), of(Mover::target), of(Mover::both), {}};
  const Places differing(changes, names);
  result.alike = kept(ofSource, names, [&](const Found& one) {
    return movers.targetHas(one) && !differing.concern(one);
  });
  return result;
}

ThreeWays::Changes without(ThreeWays::Changes changes, const ThreeWays::Changes& known,
                           CaseMode names) {
  const Places places(known, names);
  return kept(std::move(changes), names, [&](const Found& one) { return !places.concern(one); });
}

}  // namespace kelvane::findings
