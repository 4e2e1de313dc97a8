-- A small mail-order shop, release 2.
--
-- The logins of ann, ben, cleo and dora belong to the server; this script makes the database.

------------------------------------------------------------------------------------------
-- Users and groups
------------------------------------------------------------------------------------------

exec sp_addgroup clerks
go
exec sp_addgroup managers
go
exec sp_addgroup auditors
go
exec sp_adduser ann, ann, managers
go
exec sp_adduser ben, ben, managers
go
exec sp_adduser cleo, cleo, clerks
go
exec sp_adduser dora, dora, auditors
go

------------------------------------------------------------------------------------------
-- Types, rules and defaults
------------------------------------------------------------------------------------------

exec sp_addtype country_code, "char(2)", "not null"
go
exec sp_addtype currency, "char(3)", "not null"
go
create default nothing as 0
go
create default one as 1
go
create default today as getdate()
go
create rule at_least_one as @value >= 1
go
create rule not_negative as @value >= 0
go
create rule upper_case as @code = upper(@code)
go

exec sp_bindrule upper_case, country_code
go
exec sp_addtype email_address, "varchar(120)", "null"
go
exec sp_addtype phone_number, "varchar(20)", "null"
go
exec sp_addtype amount, "numeric(14,4)", "not null"
go
exec sp_addtype pieces, "int", "not null"
go
exec sp_bindrule not_negative, pieces
go
exec sp_bindefault one, pieces
go

------------------------------------------------------------------------------------------
-- Tables
------------------------------------------------------------------------------------------

create table shipping_zone (
    zone_no      int            not null,
    country      country_code   not null,
    days         tinyint        default 3 not null,
    constraint pk_shipping_zone primary key (zone_no)
)
go
create unique index ix_zone_country on shipping_zone (country)
go

create table category (
    category_no  int            not null,
    title        varchar(40)    not null,
    constraint pk_category primary key (category_no)
)
go

create table supplier (
    supplier_no  int            not null,
    name         varchar(60)    not null,
    zone_no      int            not null,
    constraint pk_supplier primary key (supplier_no),
    constraint fk_supplier_zone foreign key (zone_no) references shipping_zone (zone_no)
)
go

create table customer (
    customer_no  int            not null,
    name         varchar(60)    not null,
    email        email_address  null,
    phone        phone_number   null,
    country      country_code   not null,
    credit_limit numeric(12,2)  default 500 not null,
    discount     numeric(6,3)   null,
    since        smalldatetime  not null,
    newsletter   bit            default 0,
    birthday     datetime       null,
    constraint pk_customer primary key (customer_no)
)
go
create index ix_customer_place on customer (country, name)
go
exec sp_bindefault today, "customer.since"
go

create table product (
    product_no   int            not null,
    category_no  int            not null,
    supplier_no  int            null,
    name         varchar(60)    not null,
    price        amount         not null,
    paint        varchar(20)    null,
    constraint pk_product primary key (product_no),
    constraint fk_product_category foreign key (category_no) references category (category_no),
    constraint fk_product_supplier foreign key (supplier_no) references supplier (supplier_no)
)
go
create unique index ix_product_name on product (name)
go

create table stock (
    product_no   int            not null,
    warehouse_no smallint       not null,
    on_hand      pieces         not null,
    constraint pk_stock primary key nonclustered (product_no, warehouse_no),
    constraint fk_stock_product foreign key (product_no) references product (product_no)
)
go

-- A rebate is a present.
create table coupon (
    coupon_no    int            not null,
    worth        amount         not null,
    expires      datetime       null,
    constraint pk_coupon primary key (coupon_no)
)
go

create table sales_order (
    order_no     int            not null,
    customer_no  int            not null,
    rebate_no    int            null,
    ordered      datetime       default getdate() not null,
    note         text           null,
    constraint pk_sales_order primary key (order_no),
    constraint order_customer_fk foreign key (customer_no) references customer (customer_no),
    constraint fk_order_rebate foreign key (rebate_no) references coupon (coupon_no)
)
go
create index ix_order_ordered on sales_order (ordered)
go

create table order_line (
    order_no     int            not null,
    line_no      smallint       not null,
    product_no   int            not null,
    warehouse_no smallint       not null,
    quantity     pieces         not null,
    price        amount         not null,
    constraint pk_order_line primary key (order_no, product_no),
    constraint fk_line_order foreign key (order_no) references sales_order (order_no),
    constraint fk_line_stock foreign key (product_no, warehouse_no)
        references stock (product_no, warehouse_no)
)
go

create table payment (
    payment_no   int            not null,
    order_no     int            not null,
    paid         datetime       not null,
    total        amount         not null,
    constraint payment_pk primary key nonclustered (payment_no),
    constraint fk_payment_order foreign key (order_no) references sales_order (order_no)
)
go
create index ix_payment_order on payment (order_no)
go

create table ann.wish_list (
    wish_no      int            not null,
    wish         varchar(100)   not null,
    constraint pk_wish_list primary key (wish_no)
)
go

------------------------------------------------------------------------------------------
-- Triggers
------------------------------------------------------------------------------------------

create trigger tr_category_delete on category for delete as
begin
    if exists (select 1 from product p, deleted d where p.category_no = d.category_no)
    begin
        print 'This category still has products.'
        rollback transaction
    end
end
go

create trigger tr_line_insert on order_line for insert as
begin
    update stock
    set on_hand = on_hand - i.quantity
    from stock s, inserted i
    where s.product_no = i.product_no
      and s.warehouse_no = i.warehouse_no
end
go

create trigger tr_product_update on product for update as
    if exists (select 1 from inserted where price < 0)
        rollback transaction
go

create trigger tr_payment on payment for insert, update as
    print 'A payment was booked.'
go

create trigger tr_order_history on sales_order for update as
    print 'An order has changed.'
go

create trigger tr_customer on customer for update as
    print 'Tell the newsletter.'
go

------------------------------------------------------------------------------------------
-- Views
------------------------------------------------------------------------------------------

create view customer_contact as
    select customer_no, name, email, phone
    from customer
go

create view order_total as
    select order_no, sum(quantity) pieces, count(*) lines
    from order_line
    group by order_no
go

create view zone_list as
    select zone_no, country, days
    from shipping_zone
go

create view birthday_list as
    select name, birthday
    from customer
    where birthday is not null
go

create view price_list as
    select p.product_no, c.title, p.name, p.price
    from product p, category c
    where c.category_no = p.category_no
go

create view ben.my_wishes as
    select wish_no, wish
    from ann.wish_list
go

------------------------------------------------------------------------------------------
-- Procedures
------------------------------------------------------------------------------------------

create procedure find_customer @name varchar(60) as
    select customer_no, name, email
    from customer
    where name like @name + '%'
go

create procedure place_order
    @order_no    int,
    @customer_no int,
    @rebate_no   int = null,
    @note        varchar(255)
as
    insert sales_order (order_no, customer_no, rebate_no, note)
    values (@order_no, @customer_no, @rebate_no, @note)
go

create procedure set_price @product_no int, @price money as
    update product
    set price = @price
    where product_no = @product_no
go

create procedure print_birthdays as
    select name, birthday from birthday_list
go

------------------------------------------------------------------------------------------
-- Permissions
------------------------------------------------------------------------------------------

grant select on shipping_zone to public
go
grant select on category to public
go
grant select, insert, delete on customer to clerks
go
grant select on sales_order to clerks
go
grant select on product to managers
go
grant all on payment to managers
go
grant execute on place_order to managers
go
grant select on payment to auditors
go
grant update (phone) on customer to cleo
go
grant select on stock to cleo
go
grant execute on find_customer to cleo
go
grant execute on set_price to ben
go
revoke update on payment from managers
go
grant create rule, create default to ann
go
grant create procedure to clerks
go
grant create rule, create view to managers
go

------------------------------------------------------------------------------------------
-- Rows that every shop starts with
------------------------------------------------------------------------------------------

insert shipping_zone (zone_no, country, days) values (1, 'AT', 2)
insert shipping_zone (zone_no, country, days) values (2, 'DE', 3)
insert shipping_zone (zone_no, country, days) values (3, 'FR', 4)
go
insert category (category_no, title) values (1, 'Books')
insert category (category_no, title) values (2, 'Maps')
insert category (category_no, title) values (3, 'Pens')
insert category (category_no, title) values (4, 'Globes')
go
