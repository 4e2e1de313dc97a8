create schema authorization dbo
create table a (x int primary key, y int null references b, z as x * 2)
create table b (x int primary key, w varchar(3) null)
create view v as select * from a
grant select on v to public
go
create trigger ta on a for insert, update, delete as
if update(y) insert b select x + 1, 'abcdef' from inserted
if exists (select 1 from deleted where x > 5) begin rollback tran insert b select x, null from deleted end
if @@rowcount > 3 rollback trigger with raiserror 20001 'no'
go
create trigger tb on b for insert as
save tran s
set string_rtruncation on
insert a (x) select x + 10 from inserted where x < 3
if (select max(x) from inserted) > 20 rollback tran s
go
insert b values (1, 'abcd')
insert a (x) values (1)
begin tran update a set y = 1 delete a where x > 0 commit
insert a exec ('select 2, null select 3, 1')
create table far (n int null references d..e (f))
insert far values (null) insert far values (1)
go
