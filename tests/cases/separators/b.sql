-- a client that cuts at semicolons; and this comment's apostrophe is none of its business
use shop;
create table customer (
  id int not null primary key,
  name varchar(40) default 'go' not null
);
create table note (customer int not null references customer, text varchar(80) null);
insert customer values (1, 'a;b'); insert customer values (2, 'it''s; ');;
create view named as select id, case when name = 'x' then 1 else 0 end as is_x from customer
;
create procedure tidy as
begin
  delete note where text = 'go; -- no'
  delete note where text is null
end
;
if exists (select 1 from customer)
begin
  update customer set name = 'c' where id = 2;
  print 'done';
end;
else
  print 'empty';
create index by_text on note (text);
declare @i int;
select @i = 0;
while @i < 3
begin
  insert note values (1, "x");
  select @i = @i + 1;
end;
grant select on customer to public
