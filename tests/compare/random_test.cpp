// Small random schemas against a comparison by plain scans: duplicates, letter case, empty names
// and names with separators included. Tables, columns and permissions stand for all kinds, which
// share the walk.
#include <gtest/gtest.h>
#include <random>

#include "model/text.h"
#include "support.h"

namespace kelvane::test {
namespace {

class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}

  Schema schema() {
    Schema made;
    for (int left = upTo(5); left > 0; --left) made.Tables.append(table());
    made.Groups = {{u"r", u"", u"r", {}, {}}};
    for (int left = upTo(5); left > 0; --left)
      made.Groups[1].Permissions.PermissionEntities.append(permission());
    return made;
  }
  // The schema with the columns of some tables exchanged: most things stand at their place.
  Schema variation(Schema schema) {
    for (int i = 1; i <= schema.Tables.count(); ++i)
      if (upTo(1) == 0) schema.Tables[i].Columns = table().Columns;
    return schema;
  }
  int upTo(int most) { return static_cast<int>(engine_() % static_cast<unsigned>(most + 1)); }

 private:
  std::u16string name() {
    static const std::u16string kNames[] = {u"a", u"A", u"\u00e9", u"\u00c9", u"customer_name",
                                            u"b", u"c", u"x\\y",   u"",       u"CUSTOMER_NAME"};
    return kNames[upTo(9)];
  }
  std::u16string owner() { return upTo(4) == 0 ? u"DBO" : u"dbo"; }
  Table table() {
    Table made;
    made.Name = name();
    made.Owner = owner();
    made.Miscallaneous.RowCount = upTo(2);
    for (int left = upTo(9) == 0 ? 40 : upTo(6); left > 0; --left)
      made.Columns.append({name(), u"", upTo(2), 0, 0, False, u"", 0});
    return made;
  }
  PermissionEntity permission() {
    PermissionEntity made;
    made.EntityName = name();
    made.EntityOwner = owner();
    made.Delete = upTo(1) == 0;
    return made;
  }

  std::mt19937 engine_;
};

class ScanningComparison {
 public:
  explicit ScanningComparison(CaseMode mode) : mode_(mode), collector_(host_) {
    collector_.IsSchemaCaseSensitive(mode == CaseMode::exact);
  }

  diffSchema run(const Schema& source, const Schema& target) {
    sweep(source.Tables, target.Tables, &Table::Name, &Table::Owner, u"Table", u"", u"",
          [&](const Table* a, const Table* b) {
            collector_.Owner(a ? a->Owner : b->Owner);
            if (!a || !b) return;
            change(u"Table", a->Name, u"Row Count", a->Miscallaneous.RowCount,
                   b->Miscallaneous.RowCount);
            sweep(a->Columns, b->Columns, &Column::Name, &Column::Name, u"Table\\Column", u"Column",
                  a->Name + u"\\", [&, table = a->Name](const Column* x, const Column* y) {
                    if (x && y)
                      change(u"Table\\Column", table + u"\\" + x->Name, u"Length", x->Length,
                             y->Length);
                  });
          });
    collector_.Owner(u"");
    sweep(source.Groups[1].Permissions.PermissionEntities,
          target.Groups[1].Permissions.PermissionEntities, &PermissionEntity::EntityName,
          &PermissionEntity::EntityOwner, u"Role\\ObjectPermission", u"Object Permission", u"r\\",
          [&](const PermissionEntity* x, const PermissionEntity* y) {
            if (x && y)
              change(u"Role\\ObjectPermission", u"r\\" + x->EntityName, u"Delete", x->Delete,
                     y->Delete);
          });
    return collector_.GetDifferences();
  }

 private:
  using Text = std::u16string;

  template <class Record>
  const Record* find(const Array<Record>& records, const Record& wanted, Text Record::*name,
                     Text Record::*owner) {
    for (const Record& one : records)
      if (equalText(one.*name, wanted.*name, mode_) && equalText(one.*owner, wanted.*owner, mode_))
        return &one;
    return nullptr;
  }
  // `visit` is called with the pair, or with one side and null before that side is reported.
  template <class Record, class Visit>
  void sweep(const Array<Record>& source, const Array<Record>& target, Text Record::*name,
             Text Record::*owner, const Text& types, const Text& label, const Text& parent,
             const Visit& visit) {
    const auto missing = [&](const Record& one, enumLocation side) {
      collector_.Add(u"", label, types, parent + one.*name, side, diff_DoesNotExist);
    };
    for (const Record& one : source) {
      const Record* other = find(target, one, name, owner);
      visit(&one, other);
      if (!other) missing(one, location_Source);
    }
    for (const Record& one : target) {
      if (find(source, one, name, owner)) continue;
      visit(nullptr, &one);
      missing(one, location_target);
    }
  }
  template <class Value>
  void change(const Text& types, const Text& path, const Text& label, Value was, Value is) {
    if (was != is)
      collector_.Add(u"", label, types, path, location_Source, diff_Different, was, is);
  }

  CaseMode mode_;
  RecordingHost host_;
  cCompareDiff collector_;
};

TEST(RandomTest, CompareAgreesWithPlainScans) {
  for (unsigned seed = 1; seed <= 1000; ++seed) {
    Dice dice(seed);
    const Schema source = dice.schema();
    const Schema target = dice.upTo(1) == 0 ? dice.schema() : dice.variation(source);
    for (const CaseMode mode : {CaseMode::exact, CaseMode::ignore}) {
      const diffSchema expected = ScanningComparison(mode).run(source, target);
      const diffSchema found = differences(source, target, *allOptions(), mode == CaseMode::exact);
      ASSERT_EQ(lines(found), lines(expected)) << "seed " << seed;
      ASSERT_TRUE(found == expected) << "seed " << seed;
    }
  }
}

}  // namespace
}  // namespace kelvane::test
