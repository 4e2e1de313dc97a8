set nocount on set rowcount 5 set quoted_identifier on set ansinull off
declare @i int select @i = 0
while @i < 3 begin select @i = @i + 1 if @i = 2 continue else if @i > 4 break end
again: if @i < 9 begin set @i = 9 goto again end
print 'n %1! of %2!', @i, "q" raiserror 20001 'bad %1!', @i waitfor delay '0:00:01'
if exists (select 1 from sysobjects where name = 't') drop table t else print 'none'
exec ('create table made (a int)') execute @i = sp_help 'made'
declare c cursor for select name from sysobjects for read only
open c fetch c into @t while @@sqlstatus = 0 fetch c close c deallocate cursor c
while 1 = 1 select @i = 1
return 1
go
exec
