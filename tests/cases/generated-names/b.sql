create table area (id int primary key, name varchar(20) default '?')
create table customer (
  id int primary key,
  since datetime default getdate(),
  kind char(1) default 'p' check (kind in ('p', 'c'))
)
create table bill (
  number int,
  customer int references customer,
  total money default 0,
  primary key (number),
  unique (customer, total),
  check (total >= 0)
)
go
