create table t (a int not null, b text null);
create table u (a int not null);
