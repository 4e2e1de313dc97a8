create view v0 as select id from sysobjects
go
create view v1 as select a.id from v0 a, v0 b, v0 c, v0 d
go
create view v2 as select a.id from v1 a, v1 b, v1 c, v1 d
go
create view v3 as select a.id from v2 a, v2 b, v2 c, v2 d
go
create view v4 as select a.id from v3 a, v3 b, v3 c, v3 d
go
create view v5 as select a.id from v4 a, v4 b, v4 c, v4 d
go
create view v6 as select a.id from v5 a, v5 b, v5 c, v5 d
go
create view v7 as select a.id from v6 a, v6 b, v6 c, v6 d
go
create view v8 as select a.id from v7 a, v7 b, v7 c, v7 d
go
create view v9 as select a.id from v8 a, v8 b, v8 c, v8 d
go
create view v10 as select a.id from v9 a, v9 b, v9 c, v9 d
go
create view v11 as select a.id from v10 a, v10 b, v10 c, v10 d
go
create view v12 as select a.id from v11 a, v11 b, v11 c, v11 d
go
create view v13 as select a.id from v12 a, v12 b, v12 c, v12 d
go
create view v14 as select a.id from v13 a, v13 b, v13 c, v13 d
go
create view v15 as select a.id from v14 a, v14 b, v14 c, v14 d
go
select * from v15
go
select 1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1^1, square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(square(1))))))))))))))))))))))))))))))))))))))))))))))))))))))))))))
go
create table t (a int, c0 as a + a, c1 as c0 + c0, c2 as c1 + c1, c3 as c2 + c2, c4 as c3 + c3, c5 as c4 + c4, c6 as c5 + c5, c7 as c6 + c6, c8 as c7 + c7, c9 as c8 + c8, c10 as c9 + c9, c11 as c10 + c10, c12 as c11 + c11, c13 as c12 + c12, c14 as c13 + c13, c15 as c14 + c14, c16 as c15 + c15, c17 as c16 + c16, c18 as c17 + c17, c19 as c18 + c18, c20 as c19 + c19, c21 as c20 + c20, c22 as c21 + c21, c23 as c22 + c22, c24 as c23 + c23, c25 as c24 + c24, c26 as c25 + c25, c27 as c26 + c26, c28 as c27 + c27, c29 as c28 + c28, c30 as c29 + c29, c31 as c30 + c30, c32 as c31 + c31, c33 as c32 + c32, c34 as c33 + c33, c35 as c34 + c34, c36 as c35 + c35, c37 as c36 + c36, c38 as c37 + c37, c39 as c38 + c38)
go
insert t (a) values (1) select * from t
go
create table u (a text)
go
insert u values ('xxxxxxxxxxxxxxxxxxxxxxxxxxxxxx') while 1 = 1 update u set a = a + a
go
while 1 = 1 update u set a = str_replace(a, 'x', 'xx')
go
select patindex('%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%b', replicate('a', 16000))
