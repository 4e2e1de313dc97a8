create table client (id int not null, name varchar(30) not null, code char(4) null,
  constraint client_pk primary key (id));
create index client_name on client (name);
