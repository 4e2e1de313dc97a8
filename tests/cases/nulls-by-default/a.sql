create table t (a int not null, b int null, c varchar(5) null, d bit, e numeric(5) identity,
  constraint k primary key (a))
go
create table u (a int not null primary key, b datetime null)
go
