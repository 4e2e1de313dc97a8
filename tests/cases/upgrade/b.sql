create table customer (id int not null, full_name varchar(60) not null, since datetime null,
  constraint customer_pk primary key (id))
create index customer_name on customer (full_name)
insert customer values (1, 'first', null)
go
