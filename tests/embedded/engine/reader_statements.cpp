#include "tests/embedded/engine/reader_statements.h"

namespace kelvane::embedded {
namespace {

std::string variables(const std::string& owner, const std::string& table) {
  return "select @TableName = '" + table + "'\r\nselect @TableOwner = '" + owner + "'\r\n";
}

}  // namespace

std::string primaryKeyBatch(const std::string& owner, const std::string& table) {
  return R"(set nocount on

declare @TableName varchar(32)
declare @TableOwner varchar(32)

)" + variables(owner, table) +
         R"(

create table #pkeys (
  id int
, TableName varchar(30) null
, index_name varchar(30) null
, KeySeq int
, ColName varchar(30) null
)

declare @keycnt int
select @keycnt = 1
while @keycnt < 17
begin
      insert #pkeys
      select si.id
           , object_name(si.id)
           , si.name
           , @keycnt
           , index_col(@TableOwner + '.' + @TableName, si.indid, @keycnt)
        from   sysindexes si, sysobjects so
        where si.id = so.id
        and si.status2 & 2 = 2 /* make sure it is a declarative constr */
        and si.status & 2048 = 2048 /* make sure it is a primary key */
        and si.indid > 0 /* make sure it is an index */
        and index_col(@TableOwner + '.' + @TableName, si.indid, @keycnt) is not null
        and OBJECT_NAME(si.id) = @TableName
        and USER_NAME(so.uid) = @TableOwner

        select @keycnt = @keycnt + 1
end

select TableName, index_name, KeySeq, ColName from #pkeys order by id
drop table #pkeys
)";
}

std::string foreignKeyBatch(const std::string& owner, const std::string& table) {
  std::string text = R"(set nocount on

declare @keycnt int
declare @TableName varchar(32)
declare @TableOwner varchar(32)

)" + variables(owner, table) +
                     R"(
create table #fkeys (
  id int
, constrid int
, TableName varchar(30) null
, refdb varchar(30) null
, reftable varchar(30) null
, ColName varchar(30) null
, RefColName varchar(30) null
, KeySeq int
, refPkName varchar(32) null
)
)";
  for (int key = 1; key <= 16; ++key) {
    const std::string n = std::to_string(key);
    text += R"(insert #fkeys
      select tableid, constrid
           , object_name(tableid)
           , frgndbname
           , object_name(reftabid)
           , col_name(tableid, fokey)" +
            n + R"(, pmrydbid)
           , col_name(reftabid, refkey)" +
            n + R"(, frgndbid)
           , )" +
            n + R"(
           , ''
        from  sysreferences sr, sysobjects so
        where object_name(tableid) = @TableName
            and sr.tableid = so.id
            and user_name(so.uid) = @TableOwner

)";
  }
  return text + R"(delete #fkeys where ColName is null
update #fkeys set TableName = space(30) where KeySeq > 1

/*  Get the primary keys  */
create table #pkeys (
  id int
, TableName varchar(30) null
, index_name varchar(30) null
, KeySeq int
, ColName varchar(30) null
)


select @keycnt = 1
while @keycnt < 17
begin
      insert #pkeys
      select si.id
           , object_name(si.id)
           , si.name
           , @keycnt
           , index_col(object_name(si.id), si.indid, @keycnt)
        from   sysindexes si, sysobjects so
        where  si.indid > 0 /* make sure it is an index */
        and si.status2 & 2 = 2 /* make sure it is a declarative constr */
        and si.status & 2048 = 2048 /* make sure it is a primary key */
        and index_col(object_name(si.id), si.indid, @keycnt) is not null
        and object_name(si.id) in (select reftable from #fkeys)
        and si.id = so.id
        and user_name(so.uid) = @TableOwner

        select @keycnt = @keycnt + 1
end


/* update the foreign key with the name of the primary key*/
update #fkeys
set fk.refPkName = pk.index_name
from #fkeys fk, #pkeys pk
where fk.reftable = pk.TableName
    and fk.RefColName = pk.ColName
    and pk.KeySeq = 1



--remove the name if it is part of a larger key
update #fkeys
set fk.refPkName = ''
from #fkeys fk, #pkeys pk
where fk.refPkName in
    (
        select index_name
        from #pkeys
        where index_name = fk.refPkName
            and KeySeq > 1
    )


select  TableName, ColName, refdb, reftable, RefColName, id, constrid, KeySeq, OBJECT_NAME(constrid) as FK_NAME, refPkName
from #fkeys
order by id, constrid, KeySeq

drop table #pkeys
drop table #fkeys
)";
}

std::string triggerBatch(const std::string& owner, const std::string& table) {
  return R"(set nocount on

declare @TableName varchar(32)
declare @TableOwner varchar(32)

)" + variables(owner, table) +
         R"(
create table #Trigs
(
    TableOwner  varchar(255)
   ,TableName   varchar(255)
   ,TrigName    varchar(255)
   ,CreateDate  datetime
   ,ObjectID    int
   ,TrigInsID   int
   ,TrigUpdID   int
   ,TrigDelID   int
   ,IsInsert    bit
   ,IsUpdate    bit
   ,IsDelete    bit

)

insert #Trigs (TableOwner, TableName, TrigName, CreateDate, ObjectID,
        TrigInsID, TrigUpdID, TrigDelID, IsInsert, IsUpdate, IsDelete)
SELECT USER_NAME(A.uid) as TableOwner, B.name as TableName,A.name as TrigName,
     A.crdate as CreateDate, A.id as ObjectID, B.instrig, B.updtrig, B.deltrig, 0, 0, 0
FROM sysobjects A,sysobjects B
WHERE A.type='TR'
     AND B.name = @TableName
     AND USER_NAME(B.uid) = @TableOwner
     AND (A.id=B.instrig OR A.id=B.updtrig OR A.id=B.deltrig)  ORDER BY 1,2

update #Trigs
set IsInsert = 1
where TrigInsID = ObjectID

update #Trigs
set IsUpdate = 1
where TrigUpdID = ObjectID

update #Trigs
set IsDelete = 1
where TrigDelID = ObjectID

select TrigName, CreateDate, IsUpdate, IsDelete, IsInsert from #Trigs

drop table #Trigs

)";
}

std::string defaultQuery(const std::string& owner, const std::string& table,
                         const std::string& column) {
  return "select text from syscomments c, syscolumns cl\r\nwhere c.id = cl.cdefault\r\n"
         "and cl.id = object_id('" +
         owner + "." + table + "')\r\nand cl.name = '" + column + "'\r\n";
}

std::string systemPermissionQuery(const std::string& name) {
  return "SELECT P.protecttype,UPPER(A.name),USER_NAME(P.grantor) \r\n"
         "FROM sysprotects P,master.dbo.spt_values A WHERE \r\n"
         "P.uid=USER_ID('" +
         name +
         "') AND P.action IN (203,233,222,236,198,207,228,235) AND A.type='T' AND "
         "A.number=P.action \r\n";
}

std::string objectPermissionQuery(const std::string& name) {
  return "SELECT DISTINCT UPPER(A.name),USER_NAME(O.uid) as owner,O.name,P.protecttype, "
         "COL_NAME(P.id,C.number),O.type \r\n"
         "FROM sysprotects P,sysobjects O,master.dbo.spt_values A,master.dbo.spt_values C \r\n"
         "WHERE P.uid=USER_ID('" +
         name +
         "') AND CONVERT(tinyint,SUBSTRING(ISNULL(P.columns,0x1),C.low,1))&C.high!=0 \r\n"
         "    AND C.type = 'P' AND C.number<=255 AND A.type='T' AND A.number=P.action AND "
         "O.id=P.id \r\n\r\n";
}

}  // namespace kelvane::embedded
