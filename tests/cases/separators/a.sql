use shop
go
create table customer (
  id int not null primary key,
  name varchar(40) default 'go' not null
)
    go
/* the next line ends nothing
go
*/
create table note (customer int not null references customer, text varchar(80) null)
GO  
insert customer values (1, 'a;b')
insert customer values (2, 'it''s; ')
go
create view named as select id, case when name = 'x' then 1 else 0 end as is_x from customer
	go
create procedure tidy as
begin
  delete note where text = 'go; -- no'
  delete note where text is null
end
go
if exists (select 1 from customer)
begin
  update customer set name = 'c' where id = 2
  print 'done'
end
else
  print 'empty'
go
create index by_text on note (text)
go
insert note values (1, "x")
go 3
grant select on customer to public
go