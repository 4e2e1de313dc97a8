/* Each statement needs what the one before it left. */
drop index client.client_name;
alter table client drop constraint client_pk;
sp_rename 'client', 'customer';
sp_rename 'customer.name', 'full_name';
alter table customer modify full_name varchar(60) not null;
alter table customer drop code;
insert into customer (id, full_name) values (1, 'first');
