create table t (a int not null, b varchar(10) null, c numeric(5,2) identity, d datetime null)
go
begin tran one
insert t values (1, 'x', '20040105 13:45')
insert into t (b, a) values ('it''s', -2)
insert t (a, b) select id, name from sysobjects where id < 4
insert t (a) exec ('select 9')
save tran two
update t set a = a + 1, b = upper(b) + 'q' from t, sysobjects o where t.a = o.id
delete t from t x where x.a > 5 or b is null
delete from t where current of c
rollback tran two
commit transaction
set identity_insert t on
insert t (a, c) values (1, 5)
set identity_insert t off
truncate table t
select * into t2 from t where 1 = 2
writetext t.b @p 'x'
