create table größe (n int) -- café
go