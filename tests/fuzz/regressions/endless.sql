while 1 = 1 print 'x'
go
a: goto a
go
begin tran create table #t (a int) insert #t values (1) while 1 = 1 insert #t select a from #t
go
commit tran
go
create procedure p as exec p exec p
go
while 1 = 1 exec p
go
select count(*) from syscolumns a, syscolumns b, syscolumns c, syscolumns d
go
declare c cursor for select a.id from syscolumns a, syscolumns b, syscolumns c open c
go
-- nothing
go 2000000000
select (
go 2000000000
