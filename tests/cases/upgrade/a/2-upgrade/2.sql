alter table customer add constraint customer_pk primary key (id)
create index customer_name on customer (full_name)
alter table customer add since datetime null
