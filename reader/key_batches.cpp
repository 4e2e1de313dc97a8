#include "reader/key_batches.h"

#include "model/text.h"
#include "reader/sql_text.h"

namespace kelvane::reader {
namespace {

// Blanks at the ends of these lines belong to the texts: no formatter may touch them.
// clang-format off

constexpr std::u16string_view kPrimaryKeyDeclarations[] = {
    u"set nocount on",
    u"",
    u"declare @TableName varchar(32)",
    u"declare @TableOwner varchar(32)",
    u"",
};

constexpr std::u16string_view kPrimaryKeyBody[] = {
    u"",
    u"",
    u"create table #pkeys (",
    u"  id int",
    u", TableName varchar(30) null",
    u", index_name varchar(30) null",
    u", KeySeq int",
    u", ColName varchar(30) null",
    u")",
    u"",
    u"declare @keycnt int",
    u"select @keycnt = 1",
    u"while @keycnt < 17",
    u"begin",
    u"      insert #pkeys",
    u"      select si.id",
    u"           , object_name(si.id)",
    u"           , si.name",
    u"           , @keycnt",
    u"           , index_col(@TableOwner + '.' + @TableName, si.indid, @keycnt)",
    u"        from   sysindexes si, sysobjects so",
    u"        where si.id = so.id ",
    u"        and si.status2 & 2 = 2 /* make sure it is a declarative constr */        ",
    u"        and si.status & 2048 = 2048 /* make sure it is a primary key */        ",
    u"        and si.indid > 0 /* make sure it is an index */",
    u"        and index_col(@TableOwner + '.' + @TableName, si.indid, @keycnt) is not null",
    u"        and OBJECT_NAME(si.id) = @TableName",
    u"        and USER_NAME(so.uid) = @TableOwner",
    u"      ",
    u"        select @keycnt = @keycnt + 1",
    u"end",
    u"",
    u"select TableName, index_name, KeySeq, ColName from #pkeys order by id",
    u"drop table #pkeys",
};

constexpr std::u16string_view kForeignKeyDeclarations[] = {
    u"set nocount on",
    u"",
    u"declare @keycnt int",
    u"declare @TableName varchar(32)",
    u"declare @TableOwner varchar(32)",
    u"",
};

constexpr std::u16string_view kForeignKeyHead[] = {
    u"",
    u"create table #fkeys (",
    u"  id int",
    u", constrid int",
    u", TableName varchar(30) null",
    u", refdb varchar(30) null",
    u", reftable varchar(30) null",
    u", ColName varchar(30) null",
    u", RefColName varchar(30) null",
    u", KeySeq int",
    u", refPkName varchar(32) null",
    u")",
};

constexpr std::u16string_view kTriggerDeclarations[] = {
    u"set nocount on",
    u"",
    u"declare @TableName varchar(32)",
    u"declare @TableOwner varchar(32)",
    u"",
};

constexpr std::u16string_view kTriggerBody[] = {
    u"",
    u"create table #Trigs",
    u"(",
    u"    TableOwner  varchar(255)",
    u"   ,TableName   varchar(255)",
    u"   ,TrigName    varchar(255)",
    u"   ,CreateDate  datetime",
    u"   ,ObjectID    int",
    u"   ,TrigInsID   int",
    u"   ,TrigUpdID   int",
    u"   ,TrigDelID   int",
    u"   ,IsInsert    bit",
    u"   ,IsUpdate    bit",
    u"   ,IsDelete    bit",
    u"",
    u")",
    u"",
    u"insert #Trigs (TableOwner, TableName, TrigName, CreateDate, ObjectID, ",
    u"        TrigInsID, TrigUpdID, TrigDelID, IsInsert, IsUpdate, IsDelete)",
    u"SELECT USER_NAME(A.uid) as TableOwner, B.name as TableName,A.name as TrigName,",
    u"     A.crdate as CreateDate, A.id as ObjectID, B.instrig, B.updtrig, B.deltrig, 0, 0, 0",
    u"FROM sysobjects A,sysobjects B ",
    u"WHERE A.type='TR'",
    u"     AND B.name = @TableName",
    u"     AND USER_NAME(B.uid) = @TableOwner",
    u"     AND (A.id=B.instrig OR A.id=B.updtrig OR A.id=B.deltrig)  ORDER BY 1,2",
    u"",
    u"update #Trigs",
    u"set IsInsert = 1",
    u"where TrigInsID = ObjectID",
    u"",
    u"update #Trigs",
    u"set IsUpdate = 1",
    u"where TrigUpdID = ObjectID",
    u"",
    u"update #Trigs",
    u"set IsDelete = 1",
    u"where TrigDelID = ObjectID",
    u"",
    u"select TrigName, CreateDate, IsUpdate, IsDelete, IsInsert from #Trigs",
    u"",
    u"drop table #Trigs",
    u"",
    u"",
};

constexpr std::u16string_view kForeignKeyTail[] = {
    u"delete #fkeys where ColName is null",
    u"update #fkeys set TableName = space(30) where KeySeq > 1",
    u"",
    u"/*  Get the primary keys  */",
    u"create table #pkeys (",
    u"  id int",
    u", TableName varchar(30) null",
    u", index_name varchar(30) null",
    u", KeySeq int",
    u", ColName varchar(30) null",
    u")",
    u"",
    u"",
    u"select @keycnt = 1",
    u"while @keycnt < 17",
    u"begin",
    u"      insert #pkeys",
    u"      select si.id",
    u"           , object_name(si.id)",
    u"           , si.name",
    u"           , @keycnt",
    u"           , index_col(object_name(si.id), si.indid, @keycnt)",
    u"        from   sysindexes si, sysobjects so",
    u"        where  si.indid > 0 /* make sure it is an index */",
    u"        and si.status2 & 2 = 2 /* make sure it is a declarative constr */",
    u"        and si.status & 2048 = 2048 /* make sure it is a primary key */",
    u"        and index_col(object_name(si.id), si.indid, @keycnt) is not null",
    u"        and object_name(si.id) in (select reftable from #fkeys)",
    u"        and si.id = so.id",
    u"        and user_name(so.uid) = @TableOwner",
    u"      ",
    u"        select @keycnt = @keycnt + 1",
    u"end",
    u"",
    u"",
    u"/* update the foreign key with the name of the primary key*/",
    u"update #fkeys",
    u"set fk.refPkName = pk.index_name",
    u"from #fkeys fk, #pkeys pk",
    u"where fk.reftable = pk.TableName",
    u"    and fk.RefColName = pk.ColName",
    u"    and pk.KeySeq = 1",
    u"",
    u"",
    u"",
    u"--remove the name if it is part of a larger key ",
    u"update #fkeys",
    u"set fk.refPkName = ''",
    u"from #fkeys fk, #pkeys pk",
    u"where fk.refPkName in",
    u"    (",
    u"        select index_name",
    u"        from #pkeys",
    u"        where index_name = fk.refPkName",
    u"            and KeySeq > 1    ",
    u"    )",
    u"",
    u"",
    u"select  TableName, ColName, refdb, reftable, RefColName, id, constrid, KeySeq, OBJECT_NAME(constrid) as FK_NAME, refPkName",
    u"from #fkeys ",
    u"order by id, constrid, KeySeq",
    u"",
    u"drop table #pkeys",
    u"drop table #fkeys",
};

// clang-format on

constexpr int kKeyColumns = 16;

// How many blanks end the last line of each insert block, for key columns 1 to 16.
constexpr std::size_t kOwnerLineBlanks[kKeyColumns] = {0, 0, 6, 7, 7, 6, 6, 6,
                                                       0, 8, 7, 7, 7, 6, 5, 4};

template <std::size_t size>
void appendLines(std::u16string& sql, const std::u16string_view (&lines)[size]) {
  for (std::u16string_view line : lines) appendLine(sql, line);
}

// The declarations of a batch, and the assignment of the two names that it works on.
template <std::size_t size>
std::u16string batchStart(const std::u16string_view (&declarations)[size], std::u16string_view name,
                          std::u16string_view owner) {
  std::u16string sql;
  appendLines(sql, declarations);
  appendLine(sql, u"select @TableName = '" + std::u16string(name) + u"'");
  appendLine(sql, u"select @TableOwner = '" + std::u16string(owner) + u"'");
  return sql;
}

// Collects column `position` of every foreign key of the table.
void appendForeignKeyInsert(std::u16string& sql, int position) {
  const std::u16string number = decimalText(position);
  const auto blanks = [](std::size_t count) { return std::u16string(count, u' '); };
  // clang-format off
  appendLine(sql, u"insert #fkeys");
  appendLine(sql, u"      select tableid, constrid");
  appendLine(sql, u"           , object_name(tableid)");
  appendLine(sql, u"           , frgndbname");
  appendLine(sql, u"           , object_name(reftabid)");
  appendLine(sql, u"           , col_name(tableid, fokey" + number + u", pmrydbid)");
  appendLine(sql, u"           , col_name(reftabid, refkey" + number + u", frgndbid)");
  appendLine(sql, u"           , " + number);
  appendLine(sql, u"           , ''" + blanks(position > 2 ? 11 : 0));
  appendLine(sql, u"        from  sysreferences sr, sysobjects so");
  appendLine(sql, u"        where object_name(tableid) = @TableName ");
  appendLine(sql, u"            and sr.tableid = so.id");
  appendLine(sql, u"            and user_name(so.uid) = @TableOwner" +
                      blanks(kOwnerLineBlanks[position - 1]));
  // clang-format on
  if (position == 1) {
    appendLine(sql, u"");
    appendLine(sql, u"");
  } else {
    appendLine(sql, blanks(position == 2 ? 8 : 0));
  }
}

}  // namespace

std::u16string primaryKeyBatch(std::u16string_view name, std::u16string_view owner) {
  std::u16string sql = batchStart(kPrimaryKeyDeclarations, name, owner);
  appendLines(sql, kPrimaryKeyBody);
  return sql;
}

std::u16string foreignKeyBatch(std::u16string_view name, std::u16string_view owner) {
  std::u16string sql = batchStart(kForeignKeyDeclarations, name, owner);
  appendLines(sql, kForeignKeyHead);
  for (int position = 1; position <= kKeyColumns; ++position) appendForeignKeyInsert(sql, position);
  appendLines(sql, kForeignKeyTail);
  return sql;
}

std::u16string triggerBatch(std::u16string_view name, std::u16string_view owner) {
  std::u16string sql = batchStart(kTriggerDeclarations, name, owner);
  appendLines(sql, kTriggerBody);
  return sql;
}

}  // namespace kelvane::reader
