declare @n int, @t varchar(30), @d datetime
select @n = count(*), @t = max(name) from sysobjects where type in ('U', 'S') and id > 0
select distinct top 3 a.name as x, 'y' = b.name, case when a.id is null then 1 else 2 end, a.*
from sysobjects a left join syscolumns b on a.id = b.id, systypes c holdlock
where a.uid *= c.usertype and a.id between 1 and 5 and not exists (select 1 from syskeys k where k.id = a.id)
group by a.name, b.name having count(distinct b.id) > 1 order by 1 desc, a.name asc compute sum(b.id) by a.name
select name from sysusers union all (select name from systypes union select 'z') order by 1
select convert(char(20), getdate(), 112), cast('1' as int) + 1, 5 % 2, ~1 & 2 | 3 ^ 4, -1.5e3, 0xff, $1.5, null, @@rowcount
select datediff(dd, 'Jan 1 2000', '2001-02-03 04:05:06.789PM'), dateadd(month, 13, @d), datepart(weekday, getdate()), datename(mm, @d)
select replicate('ab', 20), substring('hello', 2, 3), stuff('abc', 2, 1, 'xyz'), charindex('b', 'abc'), str(12.345, 8, 2), isnull(@t, 'n'), coalesce(null, 1), nullif(1, 1)
select round(2.567, 1), power(2, 10), log(0.0), sqrt(4), 7 / 2, 7.0 / 3, convert(numeric(38,10), 1) * 123456789012345678901234567890
select avg(id), min(crdate) from sysobjects where id = any (select id from syscolumns) or id >= all (select id from sysindexes)
select t.a into #copy from (select id as a from sysobjects) t where a in (select id from sysindexes where indid < 2)
