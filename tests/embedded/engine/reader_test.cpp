// The reader's own statements over one small script.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"
#include "tests/embedded/engine/reader_statements.h"

namespace kelvane::embedded {
namespace {

constexpr const char* kLibrary = R"(
use library
go
create table shelf (
  room smallint not null,
  number int not null,
  label varchar(40) default 'none' null,
  constraint pk_shelf primary key nonclustered (room, number)
)
create table author (id numeric(8,0) identity, name varchar(60) not null,
  constraint pk_author primary key (id))
create table book (
  isbn char(13) not null,
  title varchar(120) not null,
  author numeric(8,0) not null,
  room smallint null,
  shelf int null,
  price money default 0 not null,
  constraint pk_book primary key (isbn),
  constraint fk_book_author foreign key (author) references author (id),
  constraint fk_book_shelf foreign key (room, shelf) references shelf (room, number)
)
create index ix_title on book (title)
go
create view cheap as select isbn, price from book where price < 10
go
create procedure add_book @isbn char(13), @title varchar(120) as insert book (isbn, title, author) values (@isbn, @title, 1)
go
create trigger book_change on book for insert, update as print 'changed'
go
create trigger book_gone on book for delete as print 'gone'
go
create rule positive as @v >= 0
go
exec sp_addtype isbn_type, 'char(13)', 'not null'
exec sp_addgroup readers
exec sp_adduser ann
exec sp_adduser bob, bob, readers
go
grant select on book to readers
grant select on author (name) to ann
grant update on book (title, price) to ann
grant insert, delete on book to ann
grant execute on add_book to ann
grant create table, create view to ann
go
insert shelf values (1, 1, null)
)";

class Reader : public testing::Test {
 protected:
  Probe probe{kLibrary};
};

TEST_F(Reader, Lists) {
  const auto list = [&](const std::string& type) {
    return probe.ask("SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='" + type +
                     "' order by owner, name");
  };
  EXPECT_EQ(list("U"), "owner | name\ndbo | author\ndbo | book\ndbo | shelf\n");
  EXPECT_EQ(list("V"), "owner | name\ndbo | cheap\n");
  EXPECT_EQ(list("P"), "owner | name\ndbo | add_book\n");
  EXPECT_EQ(probe.ask("SELECT DISTINCT USER_NAME(O.uid),OBJECT_NAME(O.id) FROM sysobjects O WHERE "
                      "O.type IN ('FN','IF','TF')  ORDER BY 1,2"),
            " | \n");
  EXPECT_EQ(probe.ask("SELECT USER_NAME(S.uid) as owner, S.name as Name, T.name as datatypename, "
                      "OBJECT_NAME(S.domain), OBJECT_NAME(S.tdefault) FROM systypes S,systypes T "
                      "WHERE S.type=T.type AND T.usertype<100 AND T.usertype NOT IN(18,24,25,80) "
                      "AND S.usertype>100  ORDER BY 1, 2"),
            "owner | Name | datatypename |  | \ndbo | isbn_type | char | - | -\n");
  EXPECT_EQ(
      probe.ask("SELECT S.name,T.name, S.length, S.prec, S.scale, "
                "S.allownulls,OBJECT_NAME(S.domain) as RULE_VALUE, OBJECT_NAME(S.tdefault) as "
                "DEFAULT_VALUE, USER_NAME(S.uid) as OWNER FROM systypes S,systypes T WHERE "
                "S.name='isbn_type' AND S.type=T.type AND T.usertype<100 AND T.usertype NOT "
                "IN(18,24,25,80) AND S.usertype>100 ORDER BY 1"),
      "name | name | length | prec | scale | allownulls | RULE_VALUE | DEFAULT_VALUE | OWNER\n"
      "isbn_type | char | 13 | - | - | False | - | - | dbo\n");
  EXPECT_EQ(
      probe.ask(
          "SELECT name, SUSER_NAME(suid),USER_NAME(gid) FROM sysusers WHERE gid!=uid ORDER BY "
          "name"),
      "name |  | \nann | ann | public\nbob | bob | readers\ndbo | sa | public\n");
  EXPECT_EQ(probe.ask("SELECT name FROM sysusers WHERE uid=gid AND (environ IS NOT NULL OR "
                      "name='public') ORDER BY name"),
            "name\npublic\nreaders\n");
  EXPECT_EQ(
      probe.ask("SELECT name FROM sysusers WHERE gid=USER_ID('readers') AND uid!=gid ORDER BY "
                "name"),
      "name\nbob\n");
}

TEST_F(Reader, ServerFacts) {
  EXPECT_EQ(probe.ask("select case 'a'\r\n  when 'A' then 'Case_Insensitive'\r\n  else "
                      "'Case_Sensitive'\r\nend\r\n"),
            "\nCase_Sensitive\n");
  EXPECT_EQ(probe.ask(defaultQuery("dbo", "shelf", "label")), "text\nDEFAULT 'none'\n");
  EXPECT_EQ(probe.ask(defaultQuery("dbo", "shelf", "room")), "text\n");
}

TEST_F(Reader, Keys) {
  EXPECT_EQ(probe.ask(primaryKeyBatch("dbo", "shelf")),
            "TableName | index_name | KeySeq | ColName\n"
            "shelf | pk_shelf | 1 | room\n"
            "shelf | pk_shelf | 2 | number\n");
  EXPECT_EQ(probe.ask(primaryKeyBatch("bob", "shelf")),
            "TableName | index_name | KeySeq | ColName\n");
  EXPECT_EQ(probe.ask("SELECT indid FROM sysindexes where name = 'pk_shelf'"), "indid\n2\n");
  EXPECT_EQ(probe.ask("SELECT indid FROM sysindexes where name = 'pk_book'"), "indid\n1\n");
  std::string keys = probe.ask(foreignKeyBatch("dbo", "book"));
  const std::string ids[] = {probe.rows("select object_id('book')"),
                             probe.rows("select object_id('fk_book_author')"),
                             probe.rows("select object_id('fk_book_shelf')")};
  const char* names[] = {"BOOK", "AUTHOR", "SHELF"};
  for (std::size_t i = 0; i < 3; ++i) {
    const std::string id = ids[i].substr(0, ids[i].size() - 1);
    for (auto at = keys.find(id); at != std::string::npos; at = keys.find(id)) {
      keys.replace(at, id.size(), names[i]);
    }
  }
  EXPECT_EQ(
      keys,
      "TableName | ColName | refdb | reftable | RefColName | id | constrid | KeySeq | FK_NAME "
      "| refPkName\n"
      "book | author | - | author | id | BOOK | AUTHOR | 1 | fk_book_author | pk_author\n"
      "book | room | - | shelf | room | BOOK | SHELF | 1 | fk_book_shelf |  \n"
      "  | shelf | - | shelf | number | BOOK | SHELF | 2 | fk_book_shelf |  \n");
  // Every batch cleans up after itself.
  EXPECT_EQ(probe.ask(foreignKeyBatch("dbo", "shelf")).find("error"), std::string::npos);
}

TEST_F(Reader, Triggers) {
  std::string text = probe.ask(triggerBatch("dbo", "book"));
  const auto rows = probe.rows("select name from sysobjects where type = 'TR' order by name");
  EXPECT_EQ(rows, "book_change\nbook_gone\n");
  EXPECT_NE(text.find("book_change | 2"), std::string::npos) << text;
  EXPECT_NE(text.find("| True | False | True\n"), std::string::npos) << text;
  EXPECT_NE(text.find("| False | True | False\n"), std::string::npos) << text;
  EXPECT_EQ(probe.ask(triggerBatch("dbo", "shelf")),
            "TrigName | CreateDate | IsUpdate | IsDelete | IsInsert\n");
  EXPECT_EQ(probe.ask("select count(*) from dbo.shelf"), "\n1\n");
}

TEST_F(Reader, SystemProcedures) {
  const std::string columns = probe.ask("exec sp_columns shelf,dbo");
  EXPECT_NE(columns.find("shelf | label"), std::string::npos) << columns;
  EXPECT_EQ(probe.ask("exec sp_columns nothing,dbo").find('\n'), columns.find('\n'));
  EXPECT_NE(probe.ask("exec sp_sproc_columns add_book,dbo").find("@isbn"), std::string::npos);
  EXPECT_EQ(probe.ask("exec sp_helptext 'dbo.cheap'"),
            "# Lines of Text\n1\ntext\n"
            "create view cheap as select isbn, price from book where price < 10\n\n");
  const std::string indexes = probe.ask("exec sp_helpindex 'dbo.book'");
  EXPECT_NE(indexes.find("\nix_title | nonclustered located on default |  title |"),
            std::string::npos)
      << indexes;
  EXPECT_EQ(probe.ask("exec sp_helptext 'dbo.nothing'"),
            "error 17461: Object does not exist in this database.\n");
  EXPECT_EQ(probe.refusal("sp_helpdbfixedrole").substr(0, 5), "2812:");
  EXPECT_EQ(probe.refusal("exec sp_columns order,dbo"),
            "156: Incorrect syntax near the keyword 'order'.\n");
}

TEST_F(Reader, Permissions) {
  EXPECT_EQ(probe.ask(systemPermissionQuery("ann")),
            "protecttype |  | \n1 | CREATE TABLE | dbo\n1 | CREATE VIEW | dbo\n");
  EXPECT_EQ(probe.sortedRows(objectPermissionQuery("ann")),
            "DELETE | dbo | book | 1 | - | U \n"
            "EXECUTE | dbo | add_book | 1 | - | P \n"
            "INSERT | dbo | book | 1 | - | U \n"
            "SELECT | dbo | author | 1 | name | U \n"
            "UPDATE | dbo | book | 1 | price | U \n"
            "UPDATE | dbo | book | 1 | title | U \n");
  EXPECT_EQ(probe.rows(objectPermissionQuery("readers")), "SELECT | dbo | book | 1 | - | U \n");
}

TEST_F(Reader, ExistenceTests) {
  EXPECT_EQ(probe.rows("SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='U' and "
                       "name='book' and USER_NAME(uid)='dbo'"),
            "dbo | book\n");
  EXPECT_EQ(probe.refusal("SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='V' and "
                          "category=0 and name='cheap' and USER_NAME(uid)='dbo'"),
            "207: Invalid column name 'category'.\n");
  EXPECT_EQ(probe.rows("SELECT DISTINCT USER_NAME(O.uid) as owner,OBJECT_NAME(O.id) as name FROM "
                       "sysobjects O WHERE O.type IN ('FN','IF','TF') and USER_NAME(O.uid) = 'dbo' "
                       "and OBJECT_NAME(O.id)='f'"),
            "");
  EXPECT_EQ(probe.refusal("SELECT USER_NAME(uid) as owner,name FROM systypes S WHERE xusertype>256 "
                          "and name='isbn_type' and USER_NAME(uid)='dbo'"),
            "207: Invalid column name 'xusertype'.\n");
  EXPECT_FALSE(
      probe
          .refusal("SELECT name,SUSER_SNAME(sid),createdate,updatedate FROM sysusers WHERE "
                   "(issqluser=1 OR isntname=1) AND sid IS NOT NULL and name='ann' ORDER "
                   "BY 1")
          .starts_with("accepted"));
  EXPECT_EQ(
      probe
          .refusal(
              "SELECT DISTINCT Owner = CASE A.issqlrole WHEN 1 Then B.name ELSE '[NULL]' END,  "
              "A.name Role,   roletype = CASE A.issqlrole   WHEN 1 Then 'Standard' ELSE "
              "'Application' END,  A.createdate, A.updatedate  FROM  sysusers A, sysusers B "
              "WHERE B.uid = A.altuid AND (A.issqlrole=1 OR A.isapprole=1)    name='readers "
              "and owner ORDER BY 1,2")
          .substr(0, 4),
      "105:");
}

}  // namespace
}  // namespace kelvane::embedded
