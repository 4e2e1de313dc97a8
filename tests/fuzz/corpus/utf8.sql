create table käse (€ int)
go
insert käse values (U&'\20ac')
go