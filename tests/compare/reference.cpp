#include "reference.h"

#include <functional>

#include "model/text.h"

namespace kelvane::test {
namespace {

using Text = std::u16string;

template <class Record>
int scan(const Array<Record>& records, std::function<bool(const Record&)> matches) {
  for (int i = 1; i <= records.count(); ++i)
    if (matches(records[i])) return i;
  return 0;
}

Text lower(Text text) {
  for (char16_t& unit : text)
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit + 32);
  return text;
}

Text key(const Text& text, CaseMode mode) {
  return mode == CaseMode::exact ? text : foldCase(text);
}

struct ScanningComparison {
  const cComparisonOptions& on;
  CaseMode mode;
  const AppPreferences& preferences;
  ScanningCollector collector{};

  bool same(const Text& a, const Text& b) { return key(a, mode) == key(b, mode); }

  bool sameDefinition(Text a, Text b) {
    const auto without = [&](Boolean ignored, std::u16string_view what) {
      if (!ignored) return;
      a = replaceAll(a, what, u"");
      b = replaceAll(b, what, u"");
    };
    without(preferences.IgnoreTabs(), u"\t");
    without(preferences.IgnoreSpaces(), u" ");
    for (const auto* lineBreak : {u"\r\n", u"\r", u"\n"})
      without(preferences.IgnoreLineBreaks(), lineBreak);
    return a == b;
  }

  void missing(std::u16string_view label, const Text& types, const Text& names, enumLocation side) {
    collector.add(label, types, names, side, diff_DoesNotExist, u"", u"");
  }
  template <class Value>
  void attribute(const Text& types, const Text& names, std::u16string_view label, const Value& was,
                 const Value& is) {
    if (!(was == is)) collector.add(label, types, names, location_Source, diff_Different, was, is);
  }

  template <class Record>
  void objects(const Array<Record>& source, const Array<Record>& target, const Text& word,
               bool byOwner, void (ScanningComparison::*details)(const Record&, const Record&)) {
    const auto find = [&](const Array<Record>& records, const Record& wanted) {
      return scan<Record>(records, [&](const Record& r) {
        return same(r.Name, wanted.Name) && (!byOwner || same(r.Owner, wanted.Owner));
      });
    };
    for (const Record& one : source) {
      collector.owner = one.Owner;
      const int found = find(target, one);
      if (found == 0) missing(u"", word, one.Name, location_Source);
      if (found > 0) (this->*details)(one, target[found]);
    }
    for (const Record& one : target) {
      collector.owner = one.Owner;
      if (find(source, one) == 0) missing(u"", word, one.Name, location_target);
    }
  }

  template <class Record>
  void subEntities(bool enabled, const Text& object, const Array<Record>& source,
                   const Array<Record>& target, const Text& types, std::u16string_view label,
                   Text Record::*field, Text Record::*sourcePath,
                   std::function<void(const Record&, const Record&, const Text&)> details,
                   Text Record::*secondField = nullptr) {
    if (!enabled) return;
    const auto find = [&](const Array<Record>& records, const Record& wanted) {
      return scan<Record>(records, [&](const Record& r) {
        return same(r.*field, wanted.*field) &&
               (!secondField || same(r.*secondField, wanted.*secondField));
      });
    };
    for (const Record& one : source) {
      const Text names = object + u"\\" + one.*sourcePath;
      const int found = find(target, one);
      if (found == 0) missing(label, types, names, location_Source);
      if (found > 0) details(one, target[found], names);
    }
    for (const Record& one : target)
      if (find(source, one) == 0)
        missing(label, types, object + u"\\" + one.*field, location_target);
  }

  void table(const Table& a, const Table& b) {
    const Text& name = a.Name;
    if (on.Tables_RowCount)
      attribute(u"Table", name, u"Row Count", a.Miscallaneous.RowCount, b.Miscallaneous.RowCount);
    if (on.Tables_MaxWidth)
      attribute(u"Table", name, u"Max Width", a.Miscallaneous.MaxWidth, b.Miscallaneous.MaxWidth);
    subEntities<Column>(on.Tables_Columns, name, a.Columns, b.Columns, u"Table\\Column", u"Column",
                        &Column::Name, &Column::Name,
                        [&](const Column& x, const Column& y, const Text& at) {
                          attribute(u"Table\\Column", at, u"Data Type", x.DataType, y.DataType);
                          attribute(u"Table\\Column", at, u"Length", x.Length, y.Length);
                          attribute(u"Table\\Column", at, u"Nullable", x.Nullable, y.Nullable);
                        });
    subEntities<index>(
        on.Tables_Indexes, name, a.Indexes, b.Indexes, u"Table\\Index", u"Index", &index::IndexKeys,
        &index::Name, [&](const index& x, const index& y, const Text& at) {
          attribute(u"Table\\Index", at, u"Description", x.IndexDescription, y.IndexDescription);
          attribute(u"Table\\Index", at, u"Name", x.Name, y.Name);
        });
    subEntities<Trigger>(on.Tables_Triggers, name, a.Triggers, b.Triggers, u"Table\\Trigger",
                         u"Trigger", &Trigger::Name, &Trigger::Name,
                         [&](const Trigger& x, const Trigger& y, const Text& at) {
                           const Text types = u"Table\\Trigger";
                           if (!sameDefinition(x.Definition, y.Definition))
                             collector.add(u"Definition", types, at, location_Source,
                                           diff_Different, x.Definition, y.Definition);
                           attribute(types, at, u"On Delete", x.Is_Delete, y.Is_Delete);
                           if (x.Is_Insert != y.Is_Insert)
                             collector.add(u"On Insert", types, at, location_Source, diff_Different,
                                           x.Definition, y.Is_Insert);
                           if (x.Is_Update != y.Is_Update)
                             collector.add(u"On Update", types, at, location_Source, diff_Different,
                                           x.Definition, y.Is_Update);
                         });
  }

  void role(const Group& a, const Group& b) {
    attribute(u"Table", a.Name, u"Owner", a.Owner, b.Owner);
    using Entity = PermissionEntity;
    const Text types = u"Role\\ObjectPermission";
    subEntities<Entity>(
        on.Groups_ObjectPermissions, a.Name, a.Permissions.PermissionEntities,
        b.Permissions.PermissionEntities, types, u"Object Permission", &Entity::EntityName,
        &Entity::EntityName,
        [&](const Entity& x, const Entity& y, const Text& at) {
          attribute(types, at, u"Delete", x.Delete, y.Delete);
        },
        &Entity::EntityOwner);
    subEntities<User>(on.Groups_Users, a.Name, a.Users, b.Users, u"Role\\User", u"User",
                      &User::Name, &User::Name, [](const User&, const User&, const Text&) {});
  }
};

}  // namespace

void ScanningCollector::add(std::u16string_view label, std::u16string_view types,
                            std::u16string_view names, enumLocation location, enumDiffType diffType,
                            const Scalar& was, const Scalar& is) {
  const auto typePath = split(types, u'\\');
  const auto namePath = split(names, u'\\');
  if (typePath.size() != namePath.size() || typePath.empty()) return;
  const Text kind = lower(Text(typePath[0]));
  const Text below = typePath.size() > 1 ? lower(Text(typePath[1])) : Text();
  const Text name(namePath[0]);
  const bool byName = kind == u"user" || kind == u"role";
  const Text fullName = byName ? name : owner + u"." + name;
  const auto put = [&](auto& entity) {
    entity.Diff.append({Text(label), location, diffType, was.text(), is.text(), u"", u""});
    ++entity.DiffCount;
  };
  const auto sub = [&](const Text& word, Array<diffEntity>& list, std::int32_t& count) {
    if (below != word) return;
    int at = scan<diffEntity>(list, [&](const diffEntity& e) { return e.Name == namePath[1]; });
    if (at == 0) {
      list.append({Text(namePath[1]), {}, 0});
      at = ++count;
    }
    put(list[at]);
  };
  const auto top = [&](auto& list, std::int32_t& count, auto... subs) {
    using Record = typename std::remove_reference_t<decltype(list)>::value_type;
    int at = scan<Record>(
        list, [&](const Record& e) { return key(e.FullName, mode) == key(fullName, mode); });
    if (at == 0) {
      Record created;
      created.Name = name;
      created.FullName = fullName;
      if (kind != u"user") created.Owner = owner;
      list.append(created);
      at = ++count;
    }
    if (typePath.size() == 1) put(list[at]);
    if (typePath.size() > 1) (subs(list[at]), ...);
  };
  if (kind == u"table")
    top(result.Tables, result.TableCount, [&](diffTable& t) {
      sub(u"column", t.Columns, t.ColumnCount);
      sub(u"primarykey", t.PrimaryKey, t.PrimaryKeyCount);
      sub(u"foreignkey", t.ForeignKey, t.ForeignKeyCount);
      sub(u"trigger", t.Triggers, t.TriggerCount);
      sub(u"index", t.Indexes, t.IndexCount);
      sub(u"reference", t.References, t.ReferenceCount);
    });
  const auto withColumns = [&](const Text& word) {
    return [&sub, word](auto& e) { sub(word, e.Columns, e.ColumnCount); };
  };
  const auto permissions = [&](auto& e) {
    sub(u"systempermission", e.SystemPermissions, e.SystemPermissionCount);
    sub(u"objectpermission", e.ObjectPermissions, e.ObjectPermissionCount);
  };
  if (kind == u"view") top(result.Views, result.ViewCount, withColumns(u"column"));
  if (kind == u"storedproc")
    top(result.StoredProcs, result.StoredProcCount, withColumns(u"parameter"));
  if (kind == u"function") top(result.Functions, result.FunctionCount, withColumns(u"parameter"));
  if (kind == u"uddt") top(result.UDDTs, result.UDDTCount);
  if (kind == u"user") top(result.Users, result.UserCount, permissions);
  if (kind == u"role")
    top(result.Groups, result.GroupCount, permissions,
        [&](diffGroup& g) { sub(u"user", g.Users, g.UserCount); });
}

diffSchema scanningCompare(const Schema& source, const Schema& target,
                           const cComparisonOptions& options, CaseMode mode,
                           const AppPreferences& preferences) {
  using Self = ScanningComparison;
  Self it{options, mode, preferences};
  it.collector.mode = mode;
  if (options.Tables) it.objects(source.Tables, target.Tables, u"Table", true, &Self::table);
  if (options.Groups) it.objects(source.Groups, target.Groups, u"Role", false, &Self::role);
  return it.collector.result;
}

}  // namespace kelvane::test
