create encryption key k as default for AES with keylength 192 passwd 'x' init_vector null pad random
create table t (a int encrypt with k decrypt_default 0 null, b text null in row (9) not compressed)
with dml_logging = minimal, erase residual data on, lob_compression = 9
partition by range (a) (p values <= (1), q values <= (MAX))
create view v as select U&'\00e9\+01d6d1' as u, N'x' as n
alter table t split partition q into (r values <= (2), s values <= (MAX))
alter table t merge partition p, r into pr
go
create table u (a int, b varchar(9) null)
insert u values (1, 'x')
merge into u x using (select 1 as a union select 2) y on x.a = y.a
when matched and x.b = 'x' then delete
when matched then update set b = 'z'
when not matched then insert (a) values (y.a)
declare c scroll cursor for select a from u order by a rows limit 3 offset 1
open c fetch absolute -1 c fetch relative 2 c
alter table u modify owner guest preserve permissions
create login l with password 'x' fullname 'y' default database d
alter role r drop passwd set role r with passwd 'x' on
create precomputed result set s manual refresh as select a from t
go
create procedure x as external name 'a.so'
go
