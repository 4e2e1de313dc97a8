create table customer (id int primary key, kind char(1) default 'p' check (kind in ('p', 'c')))
create table bill (
  number int,
  customer int references customer,
  total money default 0,
  primary key (number),
  unique (customer, total),
  check (total >= 0)
)
go
