#include "tests/embedded/catalog/fixture.h"

namespace kelvane::embedded {
namespace {

const std::string kIndexes =
    "SELECT name, indid, status, status2, keycnt FROM sysindexes WHERE id > 100 ORDER BY id, indid";

TEST_F(CatalogTest, ColumnsAreStoredAsDeclared) {
  run(R"(exec sp_addtype 'phone', 'varchar(20)', 'null'
go
exec sp_addtype 'serial', 'numeric(9,0)', 'identity'
go
create table goods (
  no serial,
  name char(40),
  note char(40) null,
  qty INTEGER null,
  flag bit,
  price money default $1.50 not null,
  weight float(15) null,
  amount decimal(12,3) null,
  tel phone,
  fax phone not null,
  uni univarchar(10) null,
  body text null,
  timestamp
))");
  // colid, name, status, storage code, length, user type, precision, scale
  EXPECT_EQ(rows("SELECT colid, name, status, type, length, usertype, prec, scale FROM syscolumns"
                 " WHERE id > 100"),
            "1 | no | 128 | 63 | 5 | 102 | 9 | 0\n"
            "2 | name | 0 | 47 | 40 | 1 | null | null\n"
            "3 | note | 8 | 39 | 40 | 1 | null | null\n"
            "4 | qty | 8 | 38 | 4 | 7 | null | null\n"
            "5 | flag | 0 | 50 | 1 | 16 | null | null\n"
            "6 | price | 0 | 60 | 8 | 11 | null | null\n"
            "7 | weight | 8 | 109 | 4 | 23 | null | null\n"
            "8 | amount | 8 | 106 | 6 | 26 | 12 | 3\n"
            "9 | tel | 8 | 39 | 20 | 101 | null | null\n"
            "10 | fax | 0 | 39 | 20 | 101 | null | null\n"
            "11 | uni | 8 | 155 | 20 | 35 | null | null\n"
            "12 | body | 8 | 35 | 16 | 19 | null | null\n"
            "13 | timestamp | 8 | 37 | 8 | 80 | null | null\n");
  EXPECT_EQ(rows("SELECT name, indid FROM sysindexes WHERE id > 100"), "goods | 0\ntgoods | 255\n");
  // Types of one storage code stay apart, and a user type knows its base.
  EXPECT_EQ(catalog.column(idOf("goods"), "amount")->type.kind, TypeKind::Decimal);
  EXPECT_EQ(catalog.column(idOf("goods"), "note")->type.kind, TypeKind::Char);
  EXPECT_EQ(catalog.column(idOf("goods"), "no")->type.kind, TypeKind::Numeric);
}

TEST_F(CatalogTest, NumericStorageFollowsThePrecision) {
  const int expected[] = {2,  2,  3,  3,  4,  4,  4,  5,  5,  6,  6,  6,  7,
                          7,  8,  8,  9,  9,  9,  10, 10, 11, 11, 11, 12, 12,
                          13, 13, 14, 14, 14, 15, 15, 16, 16, 16, 17, 17};
  for (int precision = 1; precision <= 38; ++precision) {
    EXPECT_EQ(numericStorage(precision), expected[precision - 1]) << precision;
  }
}

TEST_F(CatalogTest, NullsByDefaultIsAnOptionOfTheDatabase) {
  run("exec sp_dboption 'shop', 'allow nulls', 'true'\ngo\n"
      "create table t (a int primary key, b int, c int not null, d bit, e numeric(4,0) identity)");
  EXPECT_EQ(rows("SELECT name, status & 8 FROM syscolumns WHERE id > 100"),
            "a | 0\nb | 8\nc | 0\nd | 0\ne | 0\n");
}

TEST_F(CatalogTest, IndexesOfAnAllpagesTable) {
  run(R"(create table orders (id int primary key, no int unique, a int constraint orders_a unique, b int)
go
create index orders_b on orders (b, a desc)
create unique index orders_ab on orders (a, b) with ignore_dup_key, allow_dup_row)");
  EXPECT_EQ(rows(kIndexes), withIds("orders_#orders1 | 1 | 2066 | 10 | 1\n"
                                    "orders_#orders2 | 2 | 2 | 10 | 2\n"
                                    "orders_a | 3 | 2 | 2 | 2\n"
                                    "orders_b | 4 | 0 | 0 | 3\n"
                                    "orders_ab | 5 | 67 | 0 | 3\n",
                                    {"orders"}));
  EXPECT_EQ(catalog.indexColumn(idOf("orders"), 4, 2), "a");
  EXPECT_EQ(catalog.indexColumn(idOf("orders"), 4, 3), std::nullopt);
  // The number of a dropped index is given to the next one.
  run("drop index orders.orders_b\ngo\ncreate index again on orders (b)");
  EXPECT_EQ(rows("SELECT name FROM sysindexes WHERE id > 100 AND indid = 4"), "again\n");
}

TEST_F(CatalogTest, ADataOnlyLockedTableKeepsItsHeapRow) {
  run("create table orders (id numeric(9,0) identity, constraint pk primary key (id)) lock "
      "datarows\n"
      "create index i on orders (id)");
  EXPECT_EQ(rows(kIndexes),
            "orders | 0 | 0 | 0 | 0\n"
            "pk | 2 | 2050 | 518 | 2\n"
            "i | 3 | 0 | 4 | 2\n");
  run("alter table orders lock allpages");
  EXPECT_EQ(rows(kIndexes),
            "pk | 1 | 2066 | 6 | 1\n"
            "i | 3 | 0 | 4 | 2\n");
  run("alter table orders lock datapages");
  EXPECT_EQ(rows(kIndexes),
            "orders | 0 | 0 | 0 | 0\n"
            "pk | 2 | 2050 | 518 | 2\n"
            "i | 3 | 0 | 4 | 2\n");
}

TEST_F(CatalogTest, ObjectsOfATableAreNamedByTheServer) {
  run(R"(create table manufacturers (id int not null, primary key nonclustered (id))
go
create table components_of_goods (
  manufacturer int default 7 references manufacturers,
  count_of int check (count_of > 0) constraint second check (count_of<10),
  check ( manufacturer != count_of )))");
  EXPECT_EQ(rows("SELECT o.type, replace(o.name, o.id, '#'), c.colid, c.status, text"
                 " FROM sysobjects o LEFT JOIN sysconstraints c ON c.constrid = o.id"
                 " LEFT JOIN syscomments t ON t.id = o.id WHERE o.id > 100 ORDER BY o.rowid"),
            "U | manufacturers | null | null | null\n"
            "U | components_of_goods | null | null | null\n"
            "D | components_manufa_# | null | null | DEFAULT 7\n"
            "RI | components_manufa_# | 1 | 64 | null\n"
            "R | components_count__# | 2 | 128 | check (count_of > 0)\n"
            "R | second | 2 | 128 | check (count_of<10)\n"
            "R | components_# | 0 | 128 | check ( manufacturer != count_of )\n");
  EXPECT_EQ(rows("SELECT replace(name, id || 2, '#') FROM sysindexes WHERE indid = 2"),
            "manufactur_#\n");
  EXPECT_EQ(rows("SELECT c.name, c.status, d.type, r.type FROM syscolumns c"
                 " JOIN sysobjects o ON o.id = c.id AND o.name = 'components_of_goods'"
                 " LEFT JOIN sysobjects d ON d.id = c.cdefault"
                 " LEFT JOIN sysobjects r ON r.id = c.domain AND r.name != 'second'"),
            "manufacturer | 0 | D | null\ncount_of | 16 | null | R\n");
}

TEST_F(CatalogTest, ForeignKeysNameBothSidesByColumnNumber) {
  run(R"(create table a (x int, y int, z int, unique (z, y), primary key (x))
go
create table b (p int, q int, r int references a, self int null references b (r),
  unique (r), constraint fk foreign key (p, q) references dbo.a (y, z),
  constraint away foreign key (q) references depot..stock (s)))");
  EXPECT_EQ(rows("SELECT r.indexid, ifnull(t.name, 'away'), r.keycnt, fokey1, fokey2, fokey16,"
                 " refkey1, refkey2, frgndbname, pmrydbname FROM sysreferences r"
                 " LEFT JOIN sysobjects t ON t.id = r.reftabid"),
            "1 | a | 1 | 3 | 0 | 0 | 1 | 0 | null | null\n"
            "2 | b | 1 | 4 | 0 | 0 | 3 | 0 | null | null\n"
            "2 | a | 2 | 1 | 2 | 0 | 2 | 3 | null | null\n"
            "0 | away | 1 | 2 | 0 | 0 | 1 | 0 | null | depot\n");
  // a: referenced, has a primary key; b: referenced, refers.
  EXPECT_EQ(rows("SELECT name, sysstat2 & 15 FROM sysobjects WHERE type = 'U'"), "a | 9\nb | 3\n");
}

TEST_F(CatalogTest, TablesSayWhatTheyHave) {
  const auto bits = [&] {
    return rows(
        "SELECT name, sysstat2 & 64, sysstat2 & 131072 FROM sysobjects WHERE type IN ('U', 'V')");
  };
  run("create table t (a int not null, n numeric(5,0) identity, b int null)\ngo\n"
      "create table d (a int not null primary key) lock datarows");
  EXPECT_EQ(bits(), "t | 64 | 0\nd | 0 | 131072\n");
  run("create clustered index i on t (b)\nalter table d lock allpages");
  EXPECT_EQ(bits(), "t | 64 | 131072\nd | 0 | 131072\n");
  run("create index j on t (a)\ndrop index t.i\nalter table t drop n");
  EXPECT_EQ(bits(), "t | 0 | 0\nd | 0 | 131072\n");
  run("alter table t add n numeric(5,0) identity");
  EXPECT_EQ(bits(), "t | 64 | 0\nd | 0 | 131072\n");
}

TEST_F(CatalogTest, AlterTableKeepsRows) {
  run("create table t (a int, b varchar(10) null, c int null)");
  catalog.rowTable(idOf("t"));
  catalog.store().execute(
      withIds("INSERT INTO \"t#t\" VALUES (1, 'x', 5), (2, NULL, NULL)", {"t"}));
  run(R"(alter table t add d int default 9 not null, e char(3) null
alter table t add n numeric(5,0) identity
alter table t drop c
alter table t modify a varchar(12) null
alter table t add constraint u unique (a)
alter table t replace e default 'abc')");
  EXPECT_EQ(rows(withIds("SELECT * FROM t#t", {"t"})),
            "1 | x | 9 | null | 1\n2 | null | 9 | null | 2\n");
  EXPECT_EQ(rows(withIds("SELECT typeof(c1) FROM t#t", {"t"})), "text\ntext\n");
  EXPECT_EQ(rows("SELECT colid, name, type, length, status FROM syscolumns WHERE id > 100"),
            "1 | a | 39 | 12 | 8\n2 | b | 39 | 10 | 8\n3 | d | 56 | 4 | 0\n4 | e | 39 | 3 | 8\n"
            "5 | n | 63 | 4 | 128\n");
  EXPECT_EQ(rows("SELECT text FROM syscomments ORDER BY rowid"), "DEFAULT 9\nDEFAULT 'abc'\n");
  EXPECT_EQ(catalog.nextIdentity(idOf("t")), 3);
  run("alter table t drop constraint u\ngo\nalter table t replace e default null\ngo\n"
      "alter table t drop d");
  EXPECT_EQ(rows("SELECT count(*) FROM sysobjects WHERE type = 'D'"), "0\n");
  EXPECT_EQ(errorOf("alter table t modify b varchar(10) not null").substr(0, 3), "515");
}

TEST_F(CatalogTest, AlterTableTakesSeveralActions) {
  run("create table t (a int null, b int null, c varchar(10) null)\n"
      "create table gone (x int)");
  catalog.rowTable(idOf("t"));
  catalog.store().execute(withIds("INSERT INTO \"t#t\" VALUES (1, 2, 'x')", {"t"}));
  run("alter table t add d int default 4 not null, e int null drop b, c\n"
      "    modify a bigint null replace e default 5\n"
      "alter table t add f int null drop table gone\n");
  EXPECT_EQ(rows(withIds("SELECT * FROM t#t", {"t"})), "1 | 4 | null | null\n");
  EXPECT_EQ(rows("SELECT name FROM sysobjects WHERE name = 'gone'"), "");
}

TEST_F(CatalogTest, DroppedTablesLeaveNothing) {
  const std::string everything =
      "SELECT (SELECT count(*) FROM sysobjects), (SELECT count(*) FROM syscolumns),"
      " (SELECT count(*) FROM sysindexes),"
      " (SELECT count(*) FROM syscomments), (SELECT count(*) FROM sysprotects),"
      " (SELECT count(*) FROM sysreferences), (SELECT count(*) FROM sysconstraints),"
      " (SELECT count(*) FROM sysprocedures), (SELECT count(*) FROM syskeys),"
      " (SELECT count(*) FROM sqlite_master)";
  const std::string before = rows(everything);
  run(R"(create table a (x int primary key check (x > 0), y int default 1 unique, b text null)
go
create table c (x int references a, y int null)
go
create trigger g on a for insert, update as print 'x'
go
grant select, update (x) on a to guest
exec sp_primarykey a, x
go
)");
  EXPECT_EQ(errorOf("drop table a"),
            "3712 Cannot drop table 'a' because it still has referential integrity constraints.");
  run("drop table c, a");
  EXPECT_EQ(rows(everything), before);
}

TEST_F(CatalogTest, RefusedStatementsChangeNothing) {
  run(R"(create table t (a int not null, b int null, c text null, d bit, constraint pk primary key (a))
go
create table f (a int constraint fk references t)
go
create rule r as @v > 0
go
create default z as 0
go
exec sp_bindrule r, 't.b'
go
create index i on t (b))");
  const std::string state =
      "SELECT (SELECT group_concat(name || id || sysstat2) FROM sysobjects),"
      " (SELECT group_concat(name || indid || status2) FROM sysindexes),"
      " (SELECT group_concat(name || status) FROM syscolumns), (SELECT count(*) FROM "
      "sqlite_master)";
  const std::string before = rows(state);
  const std::pair<const char*, const char*> refused[] = {
      {"create table t (a int)", "2714 There is already an object named 't' in the database."},
      {"create table n (a int, b int, a char)",
       "2705 Column names in each table must be unique. Column name 'a' in table 'n' is specified "
       "more than once."},
      {"create table n (a integr)", "2715 Can't find type 'integr'."},
      {"create table n (a int(4))", "2716 Can't specify column width on type int."},
      {"create table n (a numeric(39))",
       "2750 Specified column precision 39 is not within the range of 1 to 38."},
      {"create table n (a numeric(3,4))",
       "2751 Specified column scale 4 is greater than the specified precision of 3."},
      {"create table n (a bit null)",
       "2718 Column 'a': Cannot specify null values on a column of data type bit."},
      {"create table n (a int identity, b int identity)",
       "2744 Multiple identity columns specified for table 'n'. Only one identity column per table "
       "is "
       "allowed."},
      {"create table n (a varchar(5) identity)",
       "2749 Identity column 'a' must be numeric with a scale of 0 or integer, and not null."},
      {"create table nobody.n (a int)",
       "2760 Specified owner name 'nobody' either does not exist or you do not have permission to "
       "use "
       "it."},
      {"create table n (a int null primary key)",
       "8111 Cannot define PRIMARY KEY constraint on nullable column 'a' in table 'n'."},
      {"create table n (a int references f)",
       "1715 Foreign key constraint creation failed. No primary key or unique index of table 'f' "
       "matches the referenced columns."},
      {"create table n (a int references gone)",
       "208 gone not found. Specify owner.objectname or use sp_help to check whether the object "
       "exists "
       "(sp_help may produce lots of output)."},
      {"create table n (a int constraint fk check (a > 0))",
       "2714 There is already an object named 'fk' in the database."},
      {"create clustered index j on t (b)",
       "1902 Cannot create more than one clustered index on table 't'. Drop the existing clustered "
       "index 'pk' before creating another."},
      {"create index i on t (a)", "1913 There is already an index on table 't' named 'i'."},
      {"create index j on t (a, nil)", "1921 Index column 'nil' does not exist in table 't'."},
      {"create index j on t (a, a)",
       "1909 Cannot use duplicate column names in index key list. Column name 'a' listed more than "
       "once."},
      {"create index j on t (c)", "1919 Column 'c' of type text cannot be a key of an index."},
      {"alter table t add e int not null",
       "4997 ALTER TABLE 't' failed. Default clause is required in order to add non-NULL column "
       "'e'."},
      {"alter table t drop constraint nil", "3728 'nil' is not a constraint."},
      {"alter table t drop constraint i", "3728 'i' is not a constraint."},
      {"alter table t drop constraint pk",
       "3725 The constraint 'pk' is being referenced by table 'f', foreign key constraint 'fk'."},
      {"alter table t drop b",
       "4922 ALTER TABLE 't' failed. Column 'b' is used by 'i', which must be dropped first."},
      {"alter table t drop b, nil",
       "4924 ALTER TABLE 't' failed. Column 'nil' does not exist. No column is dropped."},
      {"alter table t drop nil", "4924 ALTER TABLE 't' failed. Column 'nil' does not exist."},
      {"drop table nil",
       "3701 Cannot drop the table 'nil', because it doesn't exist in the system catalogs."},
      {"drop table f, nil",
       "3701 Cannot drop the table 'nil', because it doesn't exist in the system catalogs."},
      {"drop view t",
       "3701 Cannot drop the view 't', because it doesn't exist in the system catalogs."},
      {"drop index t.nil",
       "3701 Cannot drop the index 't.nil', because it doesn't exist in the system catalogs."},
      {"drop index t.pk",
       "3723 An explicit DROP INDEX is not allowed on index 't.pk'. It is being used for a PRIMARY "
       "KEY "
       "or UNIQUE constraint enforcement."},
      {"drop rule r",
       "3716 The rule 'r' cannot be dropped because it is bound to one or more columns."},
      {"exec sp_bindefault gone, 't.b'", "17750 No such default 'gone' exists in this database."},
      {"exec sp_bindefault z, 't.nil'", "17757 The column 'nil' does not exist in table 't'."},
      {"exec sp_helptext t", "17679 There is no text for object t."},
      {"exec sp_helpindex 'other..t'", "17460 Object must be in the current database."},
      {"exec sp_helpindex gone", "17461 Object does not exist in this database."},
      {"exec sp_addgroup dbo",
       "17332 A user, group or role with the specified name 'dbo' already exists."},
      {"grant execute on t to guest",
       "4606 Granted or revoked privilege execute is not compatible with object 't'."},
      {"grant select on t to nobody", "4604 There is no such user 'nobody'."},
  };
  for (const auto& [statement, error] : refused) {
    EXPECT_EQ(errorOf(statement), error) << statement;
    EXPECT_EQ(rows(state), before) << statement;
  }
}

TEST_F(CatalogTest, UniqueIndexesRefuseDuplicates) {
  run("create table t (a int, b varchar(5), constraint k unique (b, a))\ncreate index i on t (a)");
  catalog.rowTable(idOf("t"));
  const std::string insert = withIds("INSERT INTO t#t VALUES (1, 'x')", {"t"});
  catalog.store().execute(insert);
  try {
    catalog.store().execute(insert);
    FAIL();
  } catch (const StoreError& error) {
    ASSERT_TRUE(error.isDuplicateKey());
    EXPECT_STREQ(catalog.duplicateKeyError(error, 3).what(),
                 "Attempt to insert duplicate key row in object 't' with unique index 'k'");
  }
  catalog.store().execute(withIds("INSERT INTO t#t VALUES (1, 'y')", {"t"}));
  EXPECT_EQ(errorOf("create unique index j on t (a)").substr(0, 4), "1505");
}

TEST_F(CatalogTest, ObjectIdsComeFromNamesAndAreNeverSharedByTwo) {
  run("create table t (a int check (a > 0) check (a < 9))\ngo\nexec sp_rename t, u");
  const std::string before = rows("SELECT id FROM sysobjects WHERE id > 100 ORDER BY rowid");
  run("create table t (a int check (a > 0) check (a < 9))");
  EXPECT_EQ(rows("SELECT count(DISTINCT id), min(id) > 100, max(id) <= 2147483647 FROM sysobjects"
                 " WHERE id > 100"),
            "6 | 1 | 1\n");
  run("drop table t\ngo\ndrop table u\ngo\ncreate table other (b int default 1)\ngo\n"
      "create table t (a int check (a > 0) check (a < 9))");
  EXPECT_EQ(rows("SELECT id FROM sysobjects WHERE id > 100 AND name NOT LIKE 'other%'"
                 " ORDER BY rowid"),
            before);
}

}  // namespace
}  // namespace kelvane::embedded
