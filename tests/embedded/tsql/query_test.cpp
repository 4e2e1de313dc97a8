#include "tests/embedded/tsql/samples.h"

namespace kelvane::tsql {
namespace {

TEST(Query, ReadsSelectLists) {
  expectParsed({
      {"select a, b as x, c y, z = d, e 'two words', f \"g\", t.*, *",
       "(select a (as x b) (as y c) (as z d) (as two words e) (as g f) t.* *)"},
      {"select @a = 1, @b = c from t", "(select (set @a 1) (set @b c) (from t))"},
      {"select Owner = case r when 1 then b else '[NULL]' end, n",
       "(select (as Owner (case r (1 b) (else '[NULL]'))) n)"},
      {"select distinct top 5 a from t", "(select distinct top 5 a (from t))"},
      {"select all a into #x lock datarows from t", "(select a (into #x) (from t))"},
      {"select a b from t c where d = 1", "(select (as b a) (from (t c)) (where (= d 1)))"},
  });
}

TEST(Query, ReadsFromLists) {
  expectParsed({
      {"select 1 from db..a x, o.b as y, c (index i) z holdlock, d noholdlock",
       "(select 1 (from (db..a x) (o.b y) (c z (hints index holdlock)) (d (hints noholdlock))))"},
      {"select 1 from a left outer join b on a.i = b.i inner join c on 1 = 1 cross join d",
       "(select 1 (from (cross (inner (left a b (= a.i b.i)) c (= 1 1)) d)))"},
      {"select 1 from a join b left join c on x = 1 on y = 2",
       "(select 1 (from (inner a (left b c (= x 1)) (= y 2))))"},
      {"select 1 from (a join b on x = 1), (select 2) t (c)",
       "(select 1 (from (inner a b (= x 1)) ((select 2) t c)))"},
      {"select left('ab', 1) from a at isolation read uncommitted",
       "(select (left 'ab' 1) (from a))"},
  });
}

TEST(Query, ReadsWhatFollowsTheFromList) {
  expectParsed({
      {"select a, count(*) from t group by a having count(*) > 1 order by 2 desc, a asc",
       "(select a (count *) (from t) (group a) (having (> (count *) 1))) (order 2:desc a)"},
      {"select a from t group by all a", "(select a (from t) (group-all a))"},
      {"select a from t order by a compute sum(a), max(b) by a compute sum(a) for browse",
       "(select a (from t)) (order a) (compute (sum a) (max b) (by a)) (compute (sum a)) "
       "for-browse"},
      {"select a from t for read only", "(select a (from t)) for-read-only"},
  });
}

TEST(Query, UnitesFromLeftToRight) {
  expectParsed({
      {"select 1 union select 2 union all select 3 order by 1",
       "(union-all (union (select 1) (select 2)) (select 3)) (order 1)"},
      {"(select 1) union (select 2 union all select 3)",
       "(union (union (select 1) (select 2)) (select 3))"},
      {"select 1 union all (select 2 union all select 3)",
       "(union-all (union-all (select 1) (select 2)) (select 3))"},
      {"select 1 union all (select 2 union select 3)",
       "(union-all (select 1) (select * (from ((union (select 2) (select 3)) united))))"},
  });
}

TEST(Data, InsertsUpdatesAndDeletes) {
  expectParsed({
      {"insert t values (1, null)", "(insert t (values 1 null))"},
      {"insert into o.t (a, b) select c, d from u order by 1,2",
       "(insert o.t (columns a b) (select c d (from u)) (order 1 2))"},
      {"insert t (select a from u)", "(insert t (select a (from u)))"},
      {"insert t (a) (select 1) union select 2",
       "(insert t (columns a) (union (select 1) (select 2)))"},
      {"insert t exec p 1", "(insert t (exec p 1))"},
      {"insert t default values", "(insert t defaults)"},
      {"update #k set f.p = q.n, @v = 2 from #k f, #q q where f.r = q.t",
       "(update #k (f.p q.n) (@v 2) (from (#k f) (#q q)) (where (= f.r q.t)))"},
      {"update t set a = 1 where current of c", "(update t (a 1) (current c))"},
      {"delete #k where c is null delete from t", "(delete #k (where (null? c))) (delete t)"},
      {"delete t from t a, u b where a.i = b.i",
       "(delete t (from (t a) (u b)) (where (= a.i b.i)))"},
      {"truncate table db..t", "(truncate db..t)"},
  });
}

}  // namespace
}  // namespace kelvane::tsql
