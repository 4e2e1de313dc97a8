create table t (a int not null,
  b text null);
create index t_b
  on t (b);
alter table t add column c int null;
drop table gone;
create table u (a int not null, b int null);
go
select nothing from t
create table v (a int)
go
create view w as
select a, d
from u
