#include "inventory/publish/agreement.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::inventory {
namespace {

template <class Record>
void sortByName(Array<Record>& records) {
  std::vector<Record> sorted(std::as_const(records).begin(), std::as_const(records).end());
  std::ranges::stable_sort(sorted, {}, &Record::Name);
  records = {};
  for (Record& record : sorted) records.append(std::move(record));
}

/// Takes off the mark of lists that several have, which depends on the order of all.
template <class Record>
void unmark(Array<Record>& records, std::u16string Record::*columns) {
  for (std::int32_t position = 1; position <= records.count(); ++position) {
    records.edit(position, [&](Record& record) {
      const std::u16string mark = u" (" + record.Name + u")";
      std::u16string& list = record.*columns;
      if (list.ends_with(mark)) list.resize(list.size() - mark.size());
    });
  }
}

kelvane::Table unordered(kelvane::Table table) {
  unmark(table.ForeignKey, &Key::ColumnName);
  unmark(table.Indexes, &index::IndexKeys);
  sortByName(table.ForeignKey);
  sortByName(table.Indexes);
  sortByName(table.Triggers);
  return table;
}
template <class Record>
const Record& unordered(const Record& record) {
  return record;
}

bool isPlain(std::u16string_view name) {
  const auto isWord = [](char16_t unit) {
    return unit >= 0x80 || unit == u'_' || unit == u'#' || unit == u'$' || unit == u'@' ||
           std::isalnum(static_cast<int>(unit)) != 0;
  };
  const bool beginsWell = !name.empty() && !(name[0] >= u'0' && name[0] <= u'9');
  return beginsWell && std::ranges::all_of(name, isWord);
}

template <class Record>
bool arePlain(const Array<Record>& records) {
  return std::ranges::all_of(records, [](const Record& one) { return isPlain(one.Name); });
}

template <class Record>
bool hasPlainNames(const Record& record) {
  return isPlain(record.Name) && (record.Owner.empty() || isPlain(record.Owner));
}
bool hasPlainNames(const kelvane::Table& table) {
  return isPlain(table.Name) && isPlain(table.Owner) && arePlain(table.Columns) &&
         arePlain(table.PrimaryKey) && arePlain(table.Triggers);
}

/// Whether only permissions on system tables differ. Other names begin so too, rarely.
template <class Record>
bool differsInSystemTables(Record a, Record b) {
  if constexpr (requires { a.Permissions; }) {
    for (Record* record : {&a, &b}) {
      Array<PermissionEntity> kept;
      for (const PermissionEntity& entity : std::as_const(*record).Permissions.PermissionEntities)
        if (!entity.EntityName.starts_with(u"sys")) kept.append(entity);
      record->Permissions.PermissionEntities.swap(kept);
    }
    return a == b;
  }
  return false;
}

/// Names that several objects have.
class Namesakes {
 public:
  explicit Namesakes(const Database& database) {
    std::map<std::string, int> names, keys;
    for (const Table& table : database.tables) {
      ++names[table.name.name];
      // The data of a table without a clustered index stand under the table's name.
      ++keys[table.name.name];
      for (const KeyConstraint& key : table.keys) ++keys[key.name.name];
      for (const Index& one : table.indexes) ++keys[one.name];
    }
    for (const UserType& type : database.types) ++names[type.name.name];
    for (const auto& [name, count] : names)
      if (count > 1) names_.insert(toUtf16(name));
    for (const auto& [name, count] : keys)
      if (count > 1) keys_.insert(toUtf16(name));
  }

  template <class Record>
  bool concern(const Record& record) const {
    return names_.contains(record.Name);
  }
  bool concern(const kelvane::Table& table) const {
    const auto ofKey = [&](const kelvane::PrimaryKey& key) { return keys_.contains(key.Name); };
    const auto ofReferenced = [&](const Key& key) {
      return names_.contains(key.fk_ReferencesTable);
    };
    return names_.contains(table.Name) || std::ranges::any_of(table.PrimaryKey, ofKey) ||
           std::ranges::any_of(table.ForeignKey, ofReferenced);
  }

 private:
  std::set<std::u16string, std::less<>> names_, keys_;
};

/// Tables with what came with release 15 or 16, which the embedded catalog knows as any release.
std::unordered_set<std::u16string> laterTables(const Database& database) {
  std::unordered_set<std::u16string> later;
  for (const Table& table : database.tables) {
    const bool hasExpression = std::ranges::any_of(table.indexes, [](const Index& index) {
      return std::ranges::any_of(index.columns, &KeyColumn::isExpression);
    });
    const bool hasOrder = std::ranges::any_of(
        table.triggers, [](const Trigger& trigger) { return trigger.order.has_value(); });
    if (hasExpression || hasOrder) later.insert(toUtf16(shown(table.name)));
  }
  return later;
}

bool isRelease15(const Server& server) {
  const std::size_t slash = server.version.find('/');
  if (slash == std::string::npos) return false;
  constexpr int kFirst = 15;
  return std::atoi(server.version.c_str() + slash + 1) >= kFirst;
}

class Comparing {
 public:
  Comparing(const Database& database, const ReadExtent& extent)
      : extent_(extent),
        namesakes_(database),
        later_(laterTables(database)),
        isRelease15_(isRelease15(database.server)) {}

  template <class Record>
  void add(enumEntityType kind, const Array<Record>& asked, const Array<Record>& published) {
    std::unordered_map<std::u16string_view, const Record*> others;
    for (const Record& record : published) others.try_emplace(record.FullName, &record);
    std::unordered_set<std::u16string_view> seen, differing;
    const auto put = [&](const Record& record, Limit limit) {
      if (differing.insert(record.FullName).second)
        result_.differing.push_back({kind, record.FullName, limit});
    };
    for (std::int32_t position = 1; position <= asked.count(); ++position) {
      const Record& record = asked[position];
      const bool isFirst = seen.insert(record.FullName).second;
      const auto other = others.find(record.FullName);
      if (other == others.end()) {
        put(record, isPlain(record.Name) ? limitOfRelease() : Limit::quotedName);
      } else if (!isFirst) {
        put(record, limitOfRelease());  // listed twice
      } else if (!(unordered(record) == unordered(*other->second))) {
        put(record, limitOf(record, *other->second, extent_[kind].isComplete(position)));
      }
    }
    for (const Record& record : published) {
      if (!seen.insert(record.FullName).second) continue;
      put(record, !hasPlainNames(record)  ? Limit::quotedName
                  : !extent_[kind].listed ? Limit::refused
                                          : limitOfRelease());
    }
    result_.objects += seen.size();
  }

  Agreement result() && { return std::move(result_); }

 private:
  template <class Record>
  Limit limitOf(const Record& asked, const Record& published, bool isComplete) const {
    if (!hasPlainNames(published)) return Limit::quotedName;
    if (!isComplete) return Limit::refused;
    if (differsInSystemTables(asked, published)) return Limit::systemTables;
    if (hasMoreColumns(asked, published)) return Limit::pattern;
    if (namesakes_.concern(published)) return Limit::namesake;
    return later_.contains(published.FullName) ? Limit::release : limitOfRelease();
  }

  /// Those of other objects that its name fits.
  template <class Record>
  static bool hasMoreColumns(const Record& asked, const Record& published) {
    if constexpr (requires { asked.Columns; }) {
      const bool isPattern = published.FullName.find_first_of(u"_%") != std::u16string::npos;
      return isPattern && asked.Columns.count() > published.Columns.count();
    }
    return false;
  }

  Limit limitOfRelease() const { return isRelease15_ ? Limit::release : Limit::unknown; }

  const ReadExtent& extent_;
  Namesakes namesakes_;
  std::unordered_set<std::u16string> later_;
  bool isRelease15_;
  Agreement result_;
};

}  // namespace

std::string_view describe(Limit limit) {
  switch (limit) {
    case Limit::unknown:
      return "for a reason that is not known";
    case Limit::quotedName:
      return "a name that needs quotes, which the published statements do not write";
    case Limit::refused:
      return "the server refused a published statement about it";
    case Limit::pattern:
      return "its name contains _ or %, and the catalog procedures take it as a pattern";
    case Limit::namesake:
      return "another object has its name, and the published statements ask without the owner";
    case Limit::systemTables:
      return "permissions that the server itself grants on its system tables";
    case Limit::release:
      return "the catalog procedures answer in another form since release 15";
  }
  return {};
}

Agreement agreement(const Database& database, const Schema& asked, const ReadExtent& extent,
                    const Schema& published) {
  Comparing comparing(database, extent);
  comparing.add(entity_TABLE, asked.Tables, published.Tables);
  comparing.add(entity_VIEW, asked.Views, published.Views);
  comparing.add(entity_STOREDPROC, asked.StoredProcs, published.StoredProcs);
  comparing.add(entity_FUNCTION, asked.Functions, published.Functions);
  comparing.add(entity_UDDT, asked.UDDTs, published.UDDTs);
  comparing.add(entity_USER, asked.Users, published.Users);
  comparing.add(entity_GROUP, asked.Groups, published.Groups);
  return std::move(comparing).result();
}

}  // namespace kelvane::inventory
