create table a_table_with_a_name_beyond_thirty (a int not null)
create index i on a_table_with_a_name_beyond_thirty (a)
go
