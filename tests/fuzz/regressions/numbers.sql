set rowcount 99999999999999999999999
go
select 1 order by 99999999999999999999999999
go
select convert(varchar, getdate(), 99999999999999999)
go
select convert(datetime, '1999-99999999999-1')
go
select convert(datetime, '2000-257-01')
go
select dateadd(yy, 2147483647, getdate())
go
select dateadd(wk, -2147483648, '1900-01-01'), dateadd(ms, 2147483647, '99991231')
go
select replicate('', 2147483647), round(1e300, -400), str(1, 2000000000, 2000000000)
go
select dateadd(yy, 9223372036854775807, getdate()), dateadd(qq, -9223372036854775807, getdate())
go
select round(10, 2000000000), round(9223372036854775807, -1), round(1e300, 300), round(15, -2000000000)
