create table a_table_with_a_name_beyond_thirty (a int not null)
go
create unique index i on a_table_with_a_name_beyond_thirty (a)
exec sp_addtype short, 'varchar(5)'
go
