// Reading one table must cost the same in a small and in a large catalog: no statement of the
// reader's batches may walk through a system table from end to end.

#include <gtest/gtest.h>
#include <string>

#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/write_translator.h"
#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/parser.h"
#include "tests/embedded/engine/reader_statements.h"

namespace kelvane::embedded {
namespace {

class Ignored final : public Outcome {
 public:
  void beginRows(const std::vector<ResultColumn>&) override {}
  void row(Row) override {}
  void count(std::int64_t) override {}
  void notice(const Notice& notice) override { ADD_FAILURE() << notice.message.text; }
};

class QueryPlan : public testing::Test {
 protected:
  QueryPlan() {
    const ColumnType name = varcharType();
    variables["@TableName"] = {name, std::string("book")};
    variables["@TableOwner"] = {name, std::string("dbo")};
    variables["@keycnt"] = {ColumnType{}, std::int64_t{1}};
  }

  static ColumnType varcharType() {
    return declaredType(TypeKind::Varchar, 32, std::nullopt, true);
  }

  void expectNoScan(const std::string& batch) {
    searches = 0;
    walk(tsql::parseBatch(batch), batch);
    EXPECT_GT(searches, 0) << batch;
  }

  void walk(const tsql::StatementList& statements, const std::string& batch) {
    for (const auto& statement : statements) {
      const TranslationContext context{server.catalog, session.caller, session.temporaries,
                                       variables};
      Translator translator(context);
      std::visit(
          tsql::Overloaded{
              [&](const tsql::CreateTable&) {
                Ignored outcome;
                session.run(statement->range.in(batch), outcome);
              },
              [&](const tsql::While& loop) {
                walk(std::get<tsql::Block>(loop.body->node).statements, batch);
              },
              [&](const tsql::SelectStatement& s) { explain(translator.select(*s.query).sql); },
              [&](const tsql::Insert& s) {
                WriteTranslator write(translator);
                explain(write.insert(s, write.writeTarget(s.table)).sql);
              },
              [&](const tsql::Update& s) { explain(WriteTranslator(translator).update(s).sql); },
              [&](const tsql::Delete& s) { explain(WriteTranslator(translator).remove(s).sql); },
              [](const auto&) {},
          },
          statement->node);
    }
  }

  // Whether `name` is a system table, or stands for one in `sql`.
  static bool isSystemTable(const std::string& name, const std::string& sql) {
    for (const std::string prefix : {"sys", "spt_"}) {
      if (name.starts_with(prefix)) return true;
      for (std::size_t at = sql.find(prefix); at != sql.npos; at = sql.find(prefix, at + 1)) {
        const std::size_t end = sql.find_first_of(" ,)", at);
        const std::string alias = " AS " + name;
        if (end == sql.npos || sql.compare(end, alias.size(), alias) != 0) continue;
        const std::size_t next = end + alias.size();
        if (next == sql.size() || sql.find_first_of(" ,)", next) == next) return true;
      }
    }
    return false;
  }

  // Temporary tables, subqueries and constant rows may be scanned; a system table stands in the
  // plan under its alias, or under its own name where it has none.
  void explain(const std::string& sql) {
    Statement plan = server.catalog.store().prepare("EXPLAIN QUERY PLAN " + sql);
    while (plan.step()) {
      const std::string line = plan.text(3);
      const bool usesLookup = line.find(" VIRTUAL TABLE INDEX ") != line.npos &&
                              line.find(" VIRTUAL TABLE INDEX 0:") == line.npos;
      if (line.starts_with("SEARCH") || usesLookup) {
        ++searches;
      } else if (line.starts_with("SCAN ")) {
        const std::string name = line.substr(5, line.find(' ', 5) - 5);
        EXPECT_FALSE(isSystemTable(name, sql)) << line << "\n" << sql;
      }
    }
  }

  Server server;
  Session session{server};
  Variables variables;
  int searches = 0;
};

TEST_F(QueryPlan, KeyBatchesFindTheirTableByName) {
  expectNoScan(primaryKeyBatch("dbo", "book"));
  Ignored outcome;
  session.run("drop table #pkeys", outcome);
  expectNoScan(foreignKeyBatch("dbo", "book"));
}

TEST_F(QueryPlan, TriggersAndDefaultsFindTheirTableByName) {
  expectNoScan(triggerBatch("dbo", "book"));
  expectNoScan(defaultQuery("dbo", "book", "title"));
  expectNoScan("SELECT indid FROM sysindexes where name = 'pk_book'");
}

TEST_F(QueryPlan, PermissionsStartFromTheUser) {
  expectNoScan(systemPermissionQuery("ann"));
  expectNoScan(objectPermissionQuery("ann"));
  expectNoScan("SELECT name FROM sysusers WHERE gid=USER_ID('readers') AND uid!=gid ORDER BY name");
  expectNoScan(
      "SELECT USER_NAME(uid) as owner, name FROM sysobjects WHERE type='U' and name='book' and "
      "USER_NAME(uid)='dbo'");
}

}  // namespace
}  // namespace kelvane::embedded
