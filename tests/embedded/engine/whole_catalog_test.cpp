// The statements that read a whole catalog at once, on every release: which columns are there is
// asked of the catalog itself.

#include <gtest/gtest.h>
#include <sstream>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

constexpr const char* kScript = R"(exec sp_addtype phone, 'varchar(20)', 'null'
exec sp_addgroup staff
exec sp_adduser ann, ann, staff
exec sp_addalias bob, ann
exec sp_dboption main, 'select into', true
create table t (a int, b phone default 'none', c int null, d numeric(9) identity,
  constraint pk primary key (a), constraint positive check (c > 0))
create table child (a int references t (a), x text null) lock datarows
create index i on t (c desc, b)
exec sp_primarykey t, a
exec sp_bindcache fast, main, t
grant select on t (a, c) to ann
insert t (a) values (1)
insert t (a) values (2)
go
create view v as select * from t
go
create procedure p @x int as select a from v where a = @x
go
create trigger tr on t for insert as print 'in'
go
create default none as 'x'
go
)";

struct Case {
  const char* statement;  ///< `{table|alias|names}` stands for those of the columns that exist
  const char* rows;       ///< null: whatever they are, there are some
};

constexpr Case kCases[] = {
    {"select @@version, db_name(), user_name(), @@ncharsize, @@unicharsize, @@maxpagesize",
     nullptr},
    {"select o.name, c.name from syscolumns c, sysobjects o where o.id = c.id and o.type = 'S'"
     " and o.name in ('sysobjects', 'syscolumns', 'sysindexes', 'syscomments')",
     nullptr},
    {"select uid, gid, suid, name, environ from sysusers where uid between 1 and 16383",
     "1 | 0 | 1 | dbo | -\n3 | 16394 | 3 | ann | -\n"},
    {"select id, lrid from sysroles", nullptr},
    {"select suid, altsuid from sysalternates", "4 | 3\n"},
    {"select id, uid, name, type, crdate, deltrig, instrig, updtrig, sysstat, sysstat2, schemacnt,"
     " ckfirst{sysobjects||sysstat3} from sysobjects where type not in ('S', 'L') order by id",
     nullptr},
    {"select c.id, c.number, c.colid, c.name, c.type, c.usertype, c.length, c.prec, c.scale,"
     " c.status, c.cdefault, c.domain, c.status2{syscolumns|c.|accessrule xtype xstatus status3"
     " computedcol encrkeyid encrkeydb} from syscolumns c, sysobjects o where o.id = c.id"
     " and o.type not in ('S', 'L') order by c.id, c.number, c.colid",
     nullptr},
    {"select uid, usertype, name, type, length, prec, scale, allownulls, ident, hierarchy,"
     " tdefault, domain{systypes||accessrule} from systypes where usertype < 100",
     nullptr},
    {"select name, type, length, allownulls from systypes where usertype > 100",
     "phone | 39 | 20 | True\n"},
    {"select i.id, i.indid, i.name, i.status, i.status2, i.keycnt, i.segment, i.maxrowsperpage"
     "{sysindexes|i.|fill_factor res_page_gap exp_rowsize identitygap status3 partitiontype"
     " conditionid} from sysindexes i, sysobjects o where o.id = i.id and o.type = 'U'",
     nullptr},
    {"select o.name, i.indid, v.number, index_col(o.name, i.indid, v.number, o.uid),"
     " index_colorder(o.name, i.indid, v.number, o.uid) from sysindexes i, sysobjects o,"
     " master..spt_values v where o.id = i.id and o.type = 'U' and i.indid between 1 and 254"
     " and v.type = 'P' and v.number between 1 and i.keycnt order by 1, 2, 3",
     "t | 1 | 1 | a | ASC\nt | 2 | 1 | c | DESC\nt | 2 | 2 | b | ASC\nt | 2 | 3 | - | -\n"},
    {"select object_name(tableid), colid, object_name(constrid), error, status from sysconstraints"
     " where object_name(constrid) = 'positive'",
     "t | 0 | positive | 0 | 128\n"},
    {"select * from sysreferences", nullptr},
    {"select object_name(tableid), col_name(reftabid, refkey1, pmrydbid) from sysreferences",
     "child | a\n"},
    {"select c.id, c.number, c.colid2, c.colid, c.texttype, c.status{syscomments|c.|partitionid},"
     " convert(varbinary(255), c.text) from syscomments c order by c.id, c.number, c.colid2,"
     " c.colid",
     nullptr},
    {"select convert(varbinary(255), c.text) from syscomments c where object_name(c.id) = 'none'",
     "0x6372656174652064656661756c74206e6f6e65206173202778270a\n"},
    {"select rtrim(o.type), p.number, p.status, count(*) from sysprocedures p, sysobjects o"
     " where p.id = o.id and p.sequence = 0 group by o.type, p.number, p.status order by 1, 3",
     "D | 0 | 0 | 1\nD | 0 | 4096 | 1\nP | 1 | 0 | 1\nR | 0 | 4096 | 1\nTR | 0 | 0 | 1\n"
     "V | 0 | 0 | 1\n"},
    {"select object_name(id), user_name(uid), action, protecttype, columns, grantor"
     "{sysprotects||pred_id protstatus} from sysprotects where id = object_id('t')",
     nullptr},
    {"select name, number, type from master..spt_values where type in ('T', 'GP')", nullptr},
    {"select segment, name from syssegments", "0 | system\n1 | default\n2 | logsegment\n"},
    {"select object_name(id), type, key1, key2, depkey1, depkey8 from syskeys",
     "t | 1 | 1 | - | - | -\n"},
    {"select object_name(id), number, object_name(depid), depnumber from sysdepends order by 1",
     "p | 1 | v | 0\nv | 0 | t | 0\n"},
    {"select count(*) from syspartitions", nullptr},
    {"select status & 4, status2 & 16384 from master..sysdatabases where name = db_name()",
     "4 | 0\n"},
    {"select config, value from master..syscurconfigs where config in (123, 131) order by config",
     "123 | 50\n131 | 190\n"},
    {"select class, object_type, object_name(object), char_value from sysattributes",
     "3 | T | t | fast\n"},
};

// `{table|alias|names}` becomes `, alias.name` for each column that the table has.
std::string withKnownColumns(Probe& probe, std::string statement) {
  for (std::size_t open; (open = statement.find('{')) != std::string::npos;) {
    const std::size_t close = statement.find('}', open);
    const std::string inside = statement.substr(open + 1, close - open - 1);
    const std::size_t first = inside.find('|');
    const std::size_t second = inside.find('|', first + 1);
    const std::string table = inside.substr(0, first);
    const std::string alias = inside.substr(first + 1, second - first - 1);
    std::istringstream names(inside.substr(second + 1));
    std::string known;
    for (std::string name; names >> name;) {
      const std::string count =
          probe.rows("select count(*) from syscolumns where id = object_id('" + table +
                     "') and name = '" + name + "'");
      if (count == "1\n") known += ", " + alias + name;
    }
    statement.replace(open, close - open + 1, known);
  }
  return statement;
}

TEST(WholeCatalog, IsReadByTheSameStatementsOnEveryRelease) {
  for (const std::optional<Release> release :
       {std::optional<Release>(), std::optional(Release::ase125), std::optional(Release::ase15),
        std::optional(Release::ase16)}) {
    CatalogOptions options;
    options.release = release;
    Probe probe(kScript, options);
    for (const Case& c : kCases) {
      const std::string statement = withKnownColumns(probe, c.statement);
      const std::string rows = probe.rows(statement);
      if (c.rows != nullptr) {
        EXPECT_EQ(rows, c.rows) << statement;
      } else {
        EXPECT_FALSE(rows.empty() || rows.starts_with("error ")) << rows << statement;
      }
    }
  }
}

TEST(WholeCatalog, HasPartitionsAsTheReleaseDoes) {
  const char* script =
      "create table t (a int, b int) create clustered index ci on t (a) create index ni on t (b)"
      " alter table t partition 3 drop index t.ni drop index t.ci alter table t drop b";
  CatalogOptions options;
  options.release = Release::ase125;
  Probe before15(script, options);
  EXPECT_EQ(before15.rows("select object_name(id), partitionid from syspartitions order by 2"),
            "t | 1\nt | 2\nt | 3\n");
  before15.ask("alter table t unpartition");
  EXPECT_EQ(before15.rows("select count(*) from syspartitions"), "0\n");
  options.release = Release::ase15;
  EXPECT_EQ(Probe(script, options).rows("select object_name(id), indid from syspartitions"),
            "t | 0\nt | 0\nt | 0\n");
}

TEST(WholeCatalog, HasOnePartitionOfWhatIsNotDivided) {
  CatalogOptions options;
  options.release = Release::ase16;
  Probe probe(
      "create table heap (a int, b int) create index i on heap (b)\n"
      "create table keyed (a int primary key clustered)\n"
      "create table divided (a int) partition by roundrobin 2 create index g on divided (a)\n",
      options);
  const char* all =
      "select object_name(p.id), p.indid, count(*), count(distinct p.partitionid), min(p.segment)"
      " from syspartitions p group by p.id, p.indid order by 1, 2";
  EXPECT_EQ(probe.rows(all),
            "divided | 0 | 2 | 2 | 1\ndivided | 2 | 1 | 1 | 1\nheap | 0 | 1 | 1 | 1\n"
            "heap | 2 | 1 | 1 | 1\nkeyed | 1 | 1 | 1 | 1\n");
  EXPECT_EQ(probe.rows("select count(*) from syspartitions where id = object_id('heap') and"
                       " indid = 0 and partitionid = id and"
                       " name = 'heap_' + convert(varchar, partitionid)"),
            "1\n");
  probe.ask("alter table divided unpartition drop index heap.i");
  EXPECT_EQ(probe.rows(all),
            "divided | 0 | 1 | 1 | 1\ndivided | 2 | 1 | 1 | 1\nheap | 0 | 1 | 1 | 1\n"
            "keyed | 1 | 1 | 1 | 1\n");
}

TEST(WholeCatalog, CountsRowsAsTheReleaseDoes) {
  CatalogOptions options;
  options.release = Release::ase125;
  Probe before15(kScript, options);
  EXPECT_EQ(before15.rows("select o.name, rowcnt(i.doampg) from sysindexes i, sysobjects o"
                          " where o.id = i.id and o.type = 'U' and i.indid in (0, 1) order by 1"),
            "child | 0\nt | 2\n");
  EXPECT_NE(before15.refusal("select row_count(db_id(), 1)"), "");
  options.release = Release::ase16;
  Probe since15(kScript, options);
  EXPECT_EQ(since15.rows("select o.name, row_count(db_id(), o.id) from sysobjects o"
                         " where o.type = 'U' order by 1"),
            "child | 0\nt | 2\n");
  EXPECT_EQ(since15
                .ask("select data_pages(db_id(), o.id, 0) from sysobjects o"
                     " where o.type = 'U'")
                .find("error"),
            std::string::npos);
}

}  // namespace
}  // namespace kelvane::embedded
