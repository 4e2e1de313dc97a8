use [odd name]
GO 
set quoted_identifier on;
create table "select" ([from] int, "a""b" char(3));
 -- go
/* go
 /* go */ */
select '
go
' from "select"; 
	go 3
quit
nonsense