// Whatever attribute of whatever record has another value, the script says so, or says that it
// leaves it out.
#include <algorithm>
#include <gtest/gtest.h>
#include <map>

#include "tests/inventory_ddl/attribute_paths.h"
#include "tests/inventory_ddl/round_trip.h"

namespace kelvane::inventory {
namespace {

constexpr std::string_view kDeclared =
    "sp_addlogin joe, secret1\nsp_adduser joe\nsp_addgroup staff\ncreate role r\ngrant role r to "
    "joe\n"
    "sp_addlogin cleo, secret1\nsp_addalias cleo, joe\nsp_addsegment seg1, main, dev1\n"
    "sp_addthreshold main, seg1, 200, warn\nsp_addmessage 20001, 'one'\nsp_dboption main, 'ddl in "
    "tran', true\n"
    "create default d as 1\ncreate rule ru as @x > 1\nsp_addtype ty, 'varchar(20)', 'null'\n"
    "create encryption key ek for AES\ngrant select on ek to joe\ngrant create view to joe\n"
    "create table p (x int not null, constraint px unique (x))\n"
    "create table t (a int not null, b as a + 1, c varchar(9) null encrypt with ek,"
    " constraint k unique nonclustered (a), constraint ch check (a > 1),"
    " constraint f foreign key (a) references p (x)) partition by range (a) (p1 values <= (10))\n"
    "create index i on t (c) local index i1\n"
    "create existing table proxy (x int null) external table at 's.d.o.u'\n"
    "create trigger tr on t for insert as print 'a'\ngrant select on t to joe\n"
    "sp_primarykey p, x\nsp_foreignkey t, p, a\n"
    "create view v as select a from t\nsp_primarykey v, a\ngrant select on v to joe\n"
    "create trigger tv on v instead of insert as print 'a'\n"
    "create procedure pr @a int as select 1\nsp_setrepproc pr, 'function'\ngrant execute on pr to "
    "joe\n"
    "create function fn (@x int) returns int as return 1\ngrant execute on fn to joe\n";

/// Of attributes that take certain words.
const std::map<std::string_view, std::string> kWords{
    {"cache strategy", "prefetch off"},
    {"page lock promotion", "PCT = 1, LWM = 2, HWM = 3"},
    {"row lock promotion", "PCT = 1, LWM = 2, HWM = 3"},
    {"mode", "chained"},
    {"replication modes", "owner_on, table"},
    {"kind", "default"},
    {"effect", "revoke"},
    {"language", "library"},
};

const std::map<std::string, std::string> kExceptions{
    {"table: rows", "rows are no declaration"},
    {"function: language", "the definition says it"},
    {"procedure: number", "the definition says it"},
    {"table > index > partition: bound", "it is that of the table"},
    {"table > constraint > partition: bound", "it is that of the table"},
    {"view > logical key: other columns", "those of the other table's primary key"},
    {"table > logical key: other columns", "those of the other table's primary key"},
};

void change(bool& value, std::string_view) { value = !value; }
void change(std::int32_t& value, std::string_view) { ++value; }
void change(std::string& value, std::string_view label) {
  const auto word = kWords.find(label);
  value = word == kWords.end() ? value + "x" : word->second;
}
template <class Number>
void change(std::optional<Number>& value, std::string_view) {
  value = static_cast<Number>(value.value_or(Number{6}) + 1);
}
void change(std::vector<std::string>& value, std::string_view) { value.emplace_back("zz"); }
void change(std::vector<KeyColumn>& value, std::string_view) { value.push_back({"zz"}); }
void change(QualifiedName& value, std::string_view) { value = {"joe", value.name + "x"}; }
void change(DatabaseObjectName& value, std::string_view) { value = {{}, "joe", value.name + "x"}; }
void change(GivenName& value, std::string_view) { value = {"other", false}; }
void change(Definition& value, std::string_view) { value.text += "1 -- x\n"; }
void change(DataType& value, std::string_view) { value = {{}, "varchar", 77, {}, {}}; }
void change(ColumnType& value, std::string_view label) { change(value.type, label); }
void change(DefaultValue& value, std::string_view) { value = {"7", {}}; }
template <class Value>
void change(Rare<Value>& value, std::string_view label) {
  Value changed = *value;
  change(changed, label);
  value = changed;
}

std::string said(const Database& database) {
  const Script script = scriptOf(database, std::nullopt);
  std::string all = textOf(script);
  for (const Omission& one : script.omissions) all += one.what + ": " + one.reason + '\n';
  return all;
}

/// Changes each attribute of each record, one at a time, and keeps the names of those that change
/// what is said.
class Changing {
 public:
  explicit Changing(Database database) : database_(std::move(database)), before_(said(database_)) {}

  std::set<std::string> run() {
    change("database", database_.settings);
    forEachObjects([&](const auto& objects) {
      for (auto& object : database_.*objects.member)
        change(std::string(rowOf(objects.kind).singular), object);
    });
    return std::move(seen_);
  }

 private:
  template <class Record>
  void change(const std::string& path, Record& record) {
    forEachAttribute<Record>([&](const auto& one) {
      if (one.origin != Origin::own || seen_.contains(pathOf(path, one))) return;
      auto& value = record.*one.member;
      const auto former = value;
      inventory::change(value, one.label);
      if (said(database_) != before_) seen_.insert(pathOf(path, one));
      value = former;
    });
    forEachParts<Record>([&](const auto& parts) {
      if (parts.origin != Origin::own) return;
      for (auto& part : record.*parts.member) change(pathOf(path, parts), part);
    });
  }

  Database database_;
  std::string before_;
  std::set<std::string> seen_;
};

TEST(EachAttribute, IsSaidOrLeftOut) {
  Database database = databaseOf(std::string(kDeclared), Release::ase16);
  Table& table =
      *std::ranges::find_if(database.tables, [](const Table& one) { return one.name.name == "t"; });
  // As servers have them.
  table.keys[0].clustered = table.keys[0].local = true;
  table.keys[0].partitions = {{{"k1", true}}};
  table.permissions[0].condition = "where a > 1";
  const std::set<std::string> seen = Changing(std::move(database)).run();
  std::set<std::string> silent;
  for (const std::string& attribute : allAttributes()) {
    if (!seen.contains(attribute) && !kExceptions.contains(attribute)) silent.insert(attribute);
  }
  EXPECT_EQ(silent, std::set<std::string>());
  for (const auto& [attribute, reason] : kExceptions)
    EXPECT_FALSE(seen.contains(attribute)) << attribute << " is no exception";
}

}  // namespace
}  // namespace kelvane::inventory
