// The columns of a view have the types that the server derives from its select list.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

// `type(length or precision,scale)`, followed by `null` where it may be.
std::string typeIn(Probe& probe, const std::string& query) {
  probe.ask("drop view v");
  std::string said = probe.ask("create view v (x) as " + query);
  if (said != "(closed)\n") return said;
  std::string shown = probe.rows(
      "select t.name + '(' + case when c.prec is null then convert(varchar, c.length) else "
      "convert(varchar, c.prec) + ',' + convert(varchar, c.scale) end + ')' + "
      "case when c.status & 8 = 8 then ' null' end from syscolumns c, systypes t "
      "where c.id = object_id('v') and t.usertype = c.usertype");
  shown.pop_back();
  return shown;
}

TEST(ViewColumns, Types) {
  Probe probe(R"(
create table t (i int, n int null, s smallint, y tinyint, g bigint, d numeric(10,2),
  e numeric(5,3) null, m money, w smallmoney, f float, r real, c char(5), v varchar(20),
  o varchar(7) null, k varbinary(6) null, u unichar(3))
go
create view inner_view as select a.i, b.v from t a left join t b on a.i = b.i
go
)");
  const std::pair<const char*, const char*> cases[] = {
      {"select count(n) from t", "int(4)"},
      {"select sum(s) from t", "int(4) null"},
      {"select avg(y) from t", "int(4) null"},
      {"select sum(g) from t", "bigint(8) null"},
      {"select sum(d) from t", "numeric(38,2) null"},
      {"select avg(d) from t", "numeric(38,6) null"},
      {"select sum(w) from t", "money(8) null"},
      {"select avg(r) from t", "float(8) null"},
      {"select max(c) from t", "char(5) null"},
      {"select s + s from t", "smallint(2)"},
      {"select i + s from t", "int(4)"},
      {"select g + i from t", "bigint(8)"},
      {"select n + 1 from t", "int(4) null"},
      {"select d + e from t", "numeric(12,3) null"},
      {"select d * i from t", "numeric(21,2)"},
      {"select m * 2 from t", "money(8)"},
      {"select f * d from t", "float(8)"},
      {"select c + v from t", "varchar(25)"},
      {"select u + v from t", "univarchar(46)"},
      {"select isnull(o, 'a longer text') from t", "varchar(7)"},
      {"select case when i = 1 then 'a' else 'bcd' end from t", "varchar(3)"},
      {"select case when i = 1 then i end from t", "int(4) null"},
      {"select convert(varchar, i) from t", "varchar(30)"},
      {"select convert(numeric(8,3), i) from t", "numeric(8,3)"},
      {"select substring(v, 1, 5) from t", "varchar(5) null"},
      {"select left(c, 9) from t", "varchar(5) null"},
      {"select substring(v, 1, i) from t", "varchar(20) null"},
      {"select getdate()", "datetime(8)"},
      {"select 'it''s'", "varchar(4)"},
      {"select 1.50", "numeric(3,2)"},
      {"select (select i from t)", "int(4) null"},
      {"select i from t union select d from t", "numeric(12,2)"},
      {"select c from t union all select o from t", "varchar(7) null"},
      {"select null union select k from t", "varbinary(6) null"},
      {"select b.i from t a, t b where a.i *= b.i", "int(4) null"},
      {"select a.i from t a, t b where a.i *= b.i", "int(4)"},
      {"select a.i from t a right join t b on a.i = b.i", "int(4) null"},
      {"select v from inner_view", "varchar(20) null"},
      {"select i from inner_view", "int(4)"},
  };
  for (const auto& [query, type] : cases) EXPECT_EQ(typeIn(probe, query), type) << query;
}

}  // namespace
}  // namespace kelvane::embedded
