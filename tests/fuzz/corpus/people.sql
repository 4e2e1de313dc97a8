use shop
go
sp_addtype money2, 'numeric(12,2)', 'not null'
go
exec sp_addgroup clerks exec sp_adduser 'ann', ann, clerks exec sp_addlogin 'bob', 'secret' exec sp_changegroup 'public', ann
create table ann.t (a money2, b int)
grant select, update (b) on ann.t to clerks, public with grant option
grant create table, all to ann revoke grant option for select on ann.t from clerks cascade
grant execute on p to role sa_role deny select on t to bob
setuser 'ann' create view mine as select a from t setuser
exec sp_rename 't.b', c exec sp_rename mine, yours exec sp_dboption shop, 'allow nulls by default', true
sp_dropuser ann;
exec sp_droptype money2; exec sp_dropgroup clerks; exec sp_helprotect; exec sp_helpindex 't'
exec sp_columns t exec sp_sproc_columns p exec sp_pkeys t exec sp_helptext v exec sp_depends t exec sp_helpconstraint t
create role r1 grant role r1 to ann drop role r1 sp_procxmode p, 'anymode' dbcc checkdb
