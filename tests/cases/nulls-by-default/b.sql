dump tran shop with no_log
set arithabort on
create table t (a int not null, b int, c varchar(5), d bit, e numeric(5) identity,
  constraint k primary key (a))
  with identity_gap = 10
  partition by roundrobin 2
go
if object_id('gone') is not null drop table gone
drop table gone
go
create table u (a int primary key, b datetime)
go
exec sp_placeobject 'default', 'u'
go
