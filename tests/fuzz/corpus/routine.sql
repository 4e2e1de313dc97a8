/* kept with
   the source */ create procedure p;2 @a int = 5, @b varchar(20) = "x" output, @c numeric(8,2) = null with recompile as
begin select @a, @b return @a + 1 end
go
create view v (one, two) as select id, name from sysobjects union select 1, 'z' with check option
go
create table t (a int, b int)
go
create trigger tr on t for insert, update as if update (a) select * from inserted, deleted else rollback transaction
go
create function f (@x int) returns int as begin return @x * 2 end
go
create rule r as @v between 1 and 10 and @v like '[0-9]%'
go
create default d as 'none'
go
exec p;2 3, @b = 'y' exec sp_bindrule r, 't.a' exec sp_bindefault d, 't.b'
exec sp_unbindrule 't.a' exec sp_unbindefault 't.b'
drop procedure p drop view v drop trigger tr drop rule r drop default d drop function f
