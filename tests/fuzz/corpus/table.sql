create table dbo.stock (
  id numeric(10,0) identity, sku char(8) not null, title varchar(40) null, price money default 0 not null,
  weight float(16) null, made smalldatetime default getdate(), note text null, flag bit not null,
  total as price * 2 materialized, constraint pk_stock primary key clustered (id desc) with fillfactor = 80,
  unique nonclustered (sku, title), constraint ck check (price >= 0 and title like 'a[^b-c]_%' escape '!'))
lock datarows with identity_gap = 100, max_rows_per_page = 5 on "default" partition by hash (sku) 3
go
create table part (stock_id numeric(10,0) references stock (id), n int null, constraint f foreign key (n) references part)
GO 2
alter table stock add colour varchar(9) null, extra unsigned bigint default 3 constraint u unique
alter table stock drop flag
alter table stock modify title varchar(60) not null
alter table stock replace price default 7
alter table stock add constraint ck2 check (price in (1, 2.5, $3))
alter table stock drop constraint ck2 alter table stock lock allpages alter table stock partition 4
go
create unique nonclustered index ix on stock (sku asc, colour desc) with ignore_dup_key, consumers = 2
create index fx on stock (upper(sku))
create clustered index cx on part (n) with allow_dup_row, sorted_data on 'default'
drop index stock.ix, part.cx
drop table part, stock
