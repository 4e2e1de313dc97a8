// How the database is read: the statements, and what happens when one of them fails or texts are
// not whole.
#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

#include "inventory/gaps.h"
#include "inventory/selection.h"
#include "tests/inventory/change_text.h"
#include "tests/inventory_read/changed_connection.h"
#include "tests/inventory_read/support.h"

namespace kelvane::inventory {
namespace {

/// Something for every statement.
std::string everything(Release release) {
  std::string script =
      "sp_addsegment seg1, main, dev1\nsp_addthreshold main, seg1, 200, warn\n"
      "sp_dboption main, 'ddl in tran', true\n"
      "sp_addlogin joe, secret1\nsp_adduser joe\nsp_addgroup staff\nsp_changegroup staff, joe\n"
      "sp_addlogin eva, secret1\nsp_addalias eva, joe\ncreate role r\ngrant role r to joe\n"
      "sp_addtype ty, 'varchar(20)', 'null'\ncreate default d as 'x'\nsp_bindefault d, ty\n"
      "create rule ru as @x > 1\nsp_addmessage 20001, 'one'\n"
      "create table p (x int default 3 check (x > 1) primary key)\nsp_primarykey p, x\n"
      "create table t (a int not null, b ty null, c text null, constraint f foreign key (a)"
      " references p (x)) on seg1\nsp_bindrule ru, 't.a'\ncreate index i on t (a, b desc)\n"
      "sp_bindcache c1, main, t\ncreate view v as select a from t\n"
      "create procedure pr @a int as select @a\ncreate trigger tr on t for insert as print 'x'\n"
      "create table pt (a int null)\nalter table pt partition 2\n"
      "grant select on t (a, b) to joe\ngrant create table to joe\n";
  if (release >= Release::ase15) {
    script +=
        "create encryption key k for AES\ncreate table e (a varchar(9) null encrypt with k)\n"
        "create table s (a int not null) partition by range (a) (p1 values <= (10), p2 values <= "
        "(20))\ncreate function fu (@x int) returns int as return 1\n";
  }
  return script;
}

bool proves(const Database& source, const Database& target) {
  return source.gaps.empty() && target.gaps.empty() && compare(source, target).empty();
}

std::vector<std::string> expectedStatements(std::string_view release) {
  std::ifstream file(std::string(KELVANE_TEST_FOLDER) + "/statements-" + std::string(release) +
                     ".txt");
  std::vector<std::string> statements(1);
  for (std::string line; std::getline(file, line);) {
    std::string& last = statements.back();
    if (line.empty()) {
      statements.emplace_back();
    } else {
      last += (last.empty() ? "" : " ") + line.substr(line.find_first_not_of(' '));
    }
  }
  return statements;
}

TEST(Reading, SendsTheseStatementsWhateverTheSize) {
  const std::vector<std::pair<Release, std::string_view>> releases{
      {Release::ase125, "12.5"}, {Release::ase15, "15"}, {Release::ase16, "15"}};
  for (const auto& [release, name] : releases) {
    std::string large = everything(release);
    for (int number = 0; number < 50; ++number)
      large += "create table t" + std::to_string(number) + " (a int null unique)\n";
    for (const std::string& script : {everything(release), large}) {
      auto catalog = catalogOf(script, release);
      const auto inner = catalog.connect();
      ChangedConnection connection(*inner);
      EXPECT_TRUE(readAll(connection, {.rowCounts = true}).gaps.empty());
      EXPECT_EQ(connection.sent(), expectedStatements(name)) << name;
      EXPECT_LE(connection.sent().size(), 24U);
    }
  }
}

TEST(Reading, PartitionsComeInTheirOrder) {
  onReleases(Release::ase15, [](Release release) {
    const Database database = databaseOf(
        "create table t (a int not null) partition by range (a) (first_p values <= (10),"
        " second_p values <= (20), third_p values <= (30))\n"
        "alter table t add partition (fourth_p values <= (40))\n",
        release);
    std::string names;
    for (const Partition& one : database.tables.front().partitions)
      names += one.name.name + " " + one.bound + "; ";
    EXPECT_EQ(names,
              "first_p values <= (10); second_p values <= (20); third_p values <= (30); "
              "fourth_p values <= (40); ");
  });
}

// What differs when what was not read is left out.
std::vector<std::string> falseDifferences(const Database& whole, const Database& refused) {
  Rules rules;
  for (const Gap& gap : refused.gaps) {
    const UnreadPart* part = partOf(gap);
    if (part != nullptr && part->isEssential) return {};
    if (part != nullptr) rules.compared &= ~part->lost;
  }
  return lines(compare(whole, refused, rules));
}

TEST(Reading, AFailedStatementNeverMakesDatabasesEqual) {
  onReleases(Release::ase125, [](Release release) {
    auto catalog = catalogOf(everything(release), release);
    const auto inner = catalog.connect();
    const Database whole = readAll(*inner);
    ChangedConnection counting(*inner);
    readAll(counting);
    for (std::size_t failing = 0; failing < counting.sent().size(); ++failing) {
      ChangedConnection refusing(*inner);
      refusing.onStatement = [&](const std::string&, std::size_t number) {
        if (number == failing) refusing.refuse();
        return nullptr;
      };
      const Database refused = readAll(refusing);
      // What is asked for in parts after a refusal may be there in full.
      EXPECT_TRUE(!proves(whole, refused) || refused == whole) << counting.sent()[failing];
      if (refused != whole) {
        ASSERT_FALSE(refused.gaps.empty()) << counting.sent()[failing];
        EXPECT_EQ(refused.gaps.front().reason, "SELECT permission denied");
        EXPECT_NE(partOf(refused.gaps.front()), nullptr) << refused.gaps.front().what;
        EXPECT_EQ(falseDifferences(whole, refused), Lines()) << counting.sent()[failing];
      }
      ChangedConnection breaking(*inner);
      breaking.failingRows = failing;
      const Database broken = readAll(breaking);
      ASSERT_FALSE(broken.gaps.empty()) << counting.sent()[failing];
      EXPECT_EQ(falseDifferences(whole, broken), Lines()) << counting.sent()[failing];
    }
  });
}

TEST(Reading, WhatALoginMayNotReadIsTheOnlyThingMissing) {
  // The table that is refused, what is said to be missing, and something that is read all the same.
  struct Refused {
    std::string_view table;
    std::set<std::string> gaps;
  };
  const Refused kRefused[] = {
      {"syssegments", {"segments"}},
      {"systhresholds", {"thresholds"}},
      {"sysalternates", {"aliases"}},
      {"sysroles", {"roles"}},
      {"sysloginroles", {"roles of logins"}},
      {"syssrvroles", {"roles of roles"}},
      {"sysdatabases", {"options of the database"}},
      {"syscurconfigs", {"character set and sort order"}},
      {"spt_values", {"names of permissions"}},
      {"sysprotects", {"permissions"}},
      {"syskeys", {"logical keys"}},
      {"sysusermessages", {"messages"}},
      {"sysattributes", {"attributes"}},
      {"sysreferences r", {"foreign keys"}},
  };
  auto catalog = catalogOf(everything(Release::ase16), Release::ase16);
  const auto inner = catalog.connect();
  const Database whole = readAll(*inner);
  for (const Refused& refused : kRefused) {
    ChangedConnection connection(*inner);
    connection.onStatement = [&](const std::string& statement, std::size_t number) {
      constexpr std::size_t kDescribing = 1;
      if (number != kDescribing && statement.find(refused.table) != std::string::npos)
        connection.refuse();
      return nullptr;
    };
    const Database database = readAll(connection);
    std::set<std::string> gaps;
    for (const Gap& gap : database.gaps) gaps.insert(gap.what);
    EXPECT_EQ(gaps, refused.gaps) << refused.table;
    EXPECT_EQ(falseDifferences(whole, database), Lines()) << refused.table;
    EXPECT_EQ(database.tables.size(), whole.tables.size());
    EXPECT_EQ(database.users.size(), whole.users.size());
  }
}

TEST(Reading, EndsWhenTheConnectionIsLost) {
  auto catalog = catalogOf(everything(Release::ase16), Release::ase16);
  const auto inner = catalog.connect();
  for (const std::size_t failing : {0U, 3U, 12U}) {
    ChangedConnection connection(*inner);
    connection.onStatement = [&](const std::string&, std::size_t number) {
      if (number == failing) connection.refuse(u"08S01", u"The connection is lost");
      return nullptr;
    };
    EXPECT_THROW(readAll(connection), ado::Failure);
    EXPECT_EQ(connection.sent().size(), failing + 1);
  }
}

class Stopping : public ReadEvents {
 public:
  explicit Stopping(std::size_t statements) : statements_(statements) {}
  void reading(std::string_view what, std::size_t done, std::size_t of) override {
    EXPECT_FALSE(what.empty());
    EXPECT_LT(done, of);
    ++seen_;
  }
  bool wantsToStop() override { return seen_ == statements_; }

 private:
  std::size_t statements_, seen_ = 0;
};

TEST(Reading, StopsWhenItIsTold) {
  auto catalog = catalogOf(everything(Release::ase16), Release::ase16);
  const auto inner = catalog.connect();
  ChangedConnection connection(*inner);
  Stopping events(7);
  EXPECT_THROW(read(connection, {}, &events), ReadingStopped);
  EXPECT_EQ(connection.sent().size(), 7U);
}

TEST(Reading, TellsWhatChangedMeanwhile) {
  auto catalog = catalogOf(everything(Release::ase16), Release::ase16);
  const auto inner = catalog.connect();
  ChangedConnection connection(*inner);
  connection.onStatement = [&](const std::string& statement, std::size_t) {
    if (statement.find("from sysusermessages") == std::string::npos) return nullptr;
    inner->Open(u"create table late (a int null)", ado::kClientCursor);
    inner->Open(u"drop procedure pr", ado::kClientCursor);
    inner->Open(u"drop view v", ado::kClientCursor);
    inner->Open(u"create view v as select b from t", ado::kClientCursor);
    return nullptr;
  };
  std::set<std::string> gaps;
  for (const Gap& gap : readAll(connection).gaps) gaps.insert(gap.what);
  EXPECT_EQ(gaps, (std::set<std::string>{"dbo.late", "dbo.pr", "dbo.v"}));
}

TEST(Reading, NamesTheObjectsThatMoved) {
  auto catalog = catalogOf(
      "create table a_tmp (x int default 1 check (x > 0) primary key)\n"
      "create table t (x int)\ncreate trigger tr on t for insert as print 'x'\n",
      Release::ase15);
  const auto inner = catalog.connect();
  ChangedConnection connection(*inner);
  connection.onStatement = [&](const std::string& statement, std::size_t) {
    if (statement.find("from sysusermessages") == std::string::npos) return nullptr;
    inner->Open(u"drop table a_tmp", ado::kClientCursor);
    inner->Open(u"drop trigger tr", ado::kClientCursor);
    inner->Open(u"create table b_tmp (x int default 1 check (x > 0))", ado::kClientCursor);
    return nullptr;
  };
  std::set<std::string> objects;
  for (const Gap& gap : readAll(connection).gaps) objects.insert(gap.object);
  EXPECT_EQ(objects, (std::set<std::string>{"table:dbo.a_tmp", "table:dbo.b_tmp", "table:dbo.t"}));
}

TEST(Reading, LeavesOutWhatIsNotWanted) {
  auto catalog = catalogOf(everything(Release::ase16), Release::ase16);
  const auto connection = catalog.connect();
  const Database database =
      readAll(*connection, {.wants = [](Kind kind, const QualifiedName& name) {
        return kind == Kind::table && name == QualifiedName{"dbo", "t"};
      }});
  ASSERT_EQ(database.tables.size(), 1U);
  const Table& table = database.tables.front();
  EXPECT_EQ(table.foreignKeys.front().referencedColumns, std::vector<std::string>{"x"});
  EXPECT_EQ(table.triggers.size(), 1U);
  EXPECT_TRUE(database.views.empty() && database.procedures.empty() && database.types.empty() &&
              database.users.empty() && database.groups.empty() && database.roles.empty() &&
              database.aliases.empty() && database.rules.empty() && database.defaults.empty() &&
              database.functions.empty() && database.encryptionKeys.empty());
  EXPECT_TRUE(database.gaps.empty());
}

/// Patterns as on the command line; one that begins with ! excludes.
Selection selectionOf(const Lines& patterns) {
  std::vector<Selection::Pattern> all;
  for (const std::string& one : patterns) {
    const bool excludes = one.starts_with('!');
    all.push_back({excludes ? Selection::Effect::exclude : Selection::Effect::include,
                   one.substr(excludes ? 1 : 0),
                   {}});
  }
  return Selection(all);
}

// What is not even asked for must make no difference to what takes part.
TEST(Reading, PatternsLeaveTheSameWhetherTheServerAppliesThemOrNot) {
  const std::vector<Lines> choices{
      {"T"},
      {"dbo.t"},
      {"table:*"},
      {"t", "p*"},
      {"nothing"},
      {"!t"},
      {"!T"},
      {"*", "!pt", "!g"},
      {"!table:*"},
      {"procedure:g;2"},
      {"!g"},
      {"!g;1"},
      {"!g*"},
      {"*2"},
      {"v"},
      {"rule:*"},
      {"default:*"},
      {"function:*"},
      {"encryption-key:*"},
      {"e"},
      {"type:*"},
      {"user:*"},
      {"!user:*"},
      {"s"},
      {"pt"},
  };
  onReleases(Release::ase125, [&](Release release) {
    auto catalog =
        catalogOf(everything(release) +
                      "create procedure g as select 1\n"
                      "create procedure g;2 as select 2\n" +
                      (release >= Release::ase15 ? "create table c (a int default 7, b as a * 2)\n"
                                                   "create index ic on c (a * 3)\n"
                                                 : ""),
                  release);
    const auto inner = catalog.connect();
    for (const Lines& patterns : choices) {
      const Selection selection = selectionOf(patterns);
      for (const CaseMode mode : {CaseMode::exact, CaseMode::ignore}) {
        Selection::Tally ofAll, ofChosen;
        Database all = readAll(*inner, {.rowCounts = true});
        selection.apply(all, mode, ofAll);
        ChangedConnection connection(*inner);
        std::vector<Selection::Unread> unread;
        Database chosen =
            readAll(connection, {.rowCounts = true,
                                 .wants =
                                     [&](Kind kind, const QualifiedName& name) {
                                       if (name.owner.empty() || selection.mayTake(kind, name))
                                         return true;
                                       unread.push_back({kind, name});
                                       return false;
                                     },
                                 .leftOut =
                                     [&](const QualifiedName& name, int number) {
                                       unread.push_back({Kind::procedure, name, number});
                                     }});
        selection.apply(chosen, mode, ofChosen);
        for (const Selection::Unread& one : unread) selection.leaveOut(one, mode, ofChosen);
        EXPECT_EQ(chosen, all) << patterns.front();
        EXPECT_EQ(ofChosen.matched, ofAll.matched) << patterns.front();
        EXPECT_EQ(ofChosen.leftOut, ofAll.leftOut) << patterns.front();
        // Columns, indexes, their columns, foreign keys, texts, and rows, which two statements may
        // ask for.
        const auto restricted =
            std::ranges::count_if(connection.sent(), [](const std::string& statement) {
              return statement.find(".id in (") != statement.npos ||
                     statement.find(".tableid in (") != statement.npos;
            });
        EXPECT_TRUE(unread.empty() ? restricted == 0 : restricted == 6 || restricted == 7)
            << patterns.front() << ": " << restricted;
      }
    }
  });
}

// texts

std::vector<std::string> describe(const std::vector<Gap>& gaps) {
  std::vector<std::string> all;
  all.reserve(gaps.size());
  for (const Gap& gap : gaps) all.push_back(gap.what + ": " + gap.reason);
  return all;
}

TEST(Texts, AHiddenDefaultIsADefault) {
  onReleases(Release::ase125, [](Release release) {
    auto catalog = catalogOf("create table t (a int default 5)\nsp_hidetext t\n", release);
    const auto connection = catalog.connect();
    const Database hidden = readAll(*connection);
    EXPECT_EQ(describe(hidden.gaps), (Lines{"the default of column dbo.t.a: it is hidden"}));
    EXPECT_EQ(lines(compare(hidden, databaseOf("create table t (a int not null)", release))),
              (Lines{"table dbo.t > column a: default: (hidden) -> "}));
  });
}

TEST(Texts, AHiddenExpressionOfAnIndexIsNotAnEmptyOne) {
  const std::string script = "create table t (a int null)\ncreate index i on t (a + 2)\n";
  auto catalog = catalogOf(script + "sp_hidetext t\n", Release::ase16);
  const Database hidden = readAll(*catalog.connect());
  const Database whole = databaseOf(script, Release::ase16);
  EXPECT_EQ(lines(compare(hidden, whole)),
            (Lines{"table dbo.t > index i: ((hidden)) -> (a + 2)"}));
  auto plain = catalogOf(script, Release::ase16);
  const auto inner = plain.connect();
  ChangedConnection connection(*inner);
  connection.onStatement = [&](const std::string& statement, std::size_t) {
    if (statement.find("c.text)") != std::string::npos) connection.refuse();
    return nullptr;
  };
  const Database unreadable = readAll(connection);
  EXPECT_EQ(lines(compare(unreadable, whole)), Lines());
  EXPECT_FALSE(unreadable.gaps.empty());
}

TEST(Texts, HiddenOnesAreTold) {
  auto catalog = catalogOf("create procedure p as select 1\nsp_hidetext p\n", Release::ase16);
  const Database database = readAll(*catalog.connect());
  ASSERT_EQ(database.procedures.size(), 1U);
  EXPECT_EQ(database.procedures.front().definition.state, Definition::State::hidden);
  EXPECT_EQ(database.procedures.front().definition.text, "");
  EXPECT_EQ(describe(database.gaps), (Lines{"the definition of procedure dbo.p: it is hidden"}));
}

TEST(Texts, UnreadableOnesAreToldEach) {
  auto catalog = catalogOf(
      "create table t (a int default 1 null check (a > 0))\ncreate view v as select a from t\n",
      Release::ase125);
  const auto inner = catalog.connect();
  ChangedConnection connection(*inner);
  connection.onStatement = [&](const std::string& statement, std::size_t) {
    if (statement.find("c.text)") != std::string::npos) connection.refuse();
    return nullptr;
  };
  const Database database = readAll(connection);
  ASSERT_EQ(database.views.size(), 1U);
  EXPECT_EQ(database.views.front().definition.state, Definition::State::unreadable);
  EXPECT_EQ(database.tables.front().checks.front().condition.state, Definition::State::unreadable);
  std::vector<std::string> gaps = describe(database.gaps);
  std::ranges::sort(gaps);
  ASSERT_EQ(gaps.size(), 4U);
  EXPECT_EQ(gaps[1], "definitions: SELECT permission denied");
  EXPECT_EQ(gaps[2], "the default of column dbo.t.a: SELECT permission denied");
  EXPECT_EQ(gaps[3], "the definition of view dbo.v: SELECT permission denied");
}

struct Piece {
  int sequence, number;
  std::string_view text;
  bool isBytes = true;
};

/// A procedure whose text is in the given pieces, on a server with the character set.
Database withPieces(const std::vector<Piece>& pieces, int characterSet) {
  auto catalog = catalogOf("create procedure p as select 1\n", Release::ase125);
  const auto inner = catalog.connect();
  ChangedConnection connection(*inner);
  std::int64_t id = 0;
  connection.onStatement = [&](const std::string& statement,
                               std::size_t) -> std::unique_ptr<ado::Recordset> {
    if (statement.find("syscurconfigs") != std::string::npos) {
      return answer({{std::int64_t{1}, std::int64_t{131}, std::int64_t{characterSet},
                      std::int64_t{0}, ado::Null{}}});
    }
    if (statement.find("from syscomments") == std::string::npos) return nullptr;
    auto object = inner->Open(u"select object_id('p')", ado::kClientCursor);
    id = object->Fields(0).Value().toLong();
    std::vector<std::vector<ado::Value>> rows;
    std::vector<std::u16string> texts;
    texts.reserve(pieces.size());
    for (const Piece& piece : pieces) {
      rows.push_back({id, std::int64_t{1}, std::int64_t{piece.sequence}, std::int64_t{piece.number},
                      std::int64_t{0}, ado::Null{}});
      if (piece.isBytes) {
        rows.back().emplace_back(std::as_bytes(std::span(piece.text.data(), piece.text.size())));
      } else {
        texts.emplace_back(piece.text.begin(), piece.text.end());
        rows.back().emplace_back(std::u16string_view(texts.back()));
      }
    }
    return answer(std::move(rows));
  };
  return readAll(connection);
}

constexpr int kIso1 = 1, kUtf8 = 190;

TEST(Texts, ALetterThatTwoPiecesShareIsWhole) {
  const Database database = withPieces({{0, 1, "select '\xC3"}, {0, 2, "\xA9'"}}, kUtf8);
  EXPECT_EQ(database.procedures.front().definition.text, "select '\xC3\xA9'");
  EXPECT_TRUE(database.gaps.empty());
}

TEST(Texts, AMissingPieceIsTold) {
  const std::string gap =
      "the definition of procedure dbo.p: a piece of it is missing, or is not in the character set "
      "of the server";
  const std::vector<std::vector<Piece>> kTexts{{{0, 1, "a"}, {0, 3, "c"}},  // the second
                                               {{0, 2, "b"}},               // the first
                                               {{0, 1, "a"}, {2, 1, "c"}},  // a whole sequence
                                               {{0, 1, "select '\xE9'"}}};  // not UTF-8
  for (const auto& pieces : kTexts) {
    const Database database = withPieces(pieces, kUtf8);
    EXPECT_EQ(database.procedures.front().definition.state, Definition::State::incomplete);
    EXPECT_EQ(describe(database.gaps), Lines{gap});
  }
  EXPECT_TRUE(withPieces({{0, 1, "a"}, {1, 0, "b"}}, kUtf8).gaps.empty());
  EXPECT_FALSE(withPieces({}, kUtf8).gaps.empty());
}

TEST(Texts, BlanksThatTheServerCutOffAPieceAreThere) {
  const std::string first = "select 1" + std::string(200, 'x');
  const Database database = withPieces({{0, 1, first, false}, {0, 2, "from t", false}}, kIso1);
  EXPECT_EQ(database.procedures.front().definition.text,
            first + std::string(255 - first.size(), ' ') + "from t");
}

}  // namespace
}  // namespace kelvane::inventory
