#include "tests/change_script/made_pairs.h"

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

namespace kelvane::change_script {
namespace {

using embedded::Release;
using Words = std::vector<std::string>;

std::uint64_t hashOf(std::string_view text, std::uint64_t seed) {
  std::uint64_t hash = 14695981039346656037U ^ (seed * 0x9E3779B97F4A7C15U);
  for (const char letter : text) {
    hash ^= static_cast<unsigned char>(letter);
    hash *= 1099511628211U;
  }
  hash ^= hash >> 29U;
  hash *= 0xBF58476D1CE4E5B9U;
  return hash ^ (hash >> 32U);
}

std::string numbered(std::string_view name, int number) {
  return std::string(name) + std::to_string(number);
}

enum class Values : std::uint8_t { number, text, binary, moment, bit, none };
struct TypeRow {
  const char* name;
  Values values;
  const char* end;  ///< the largest or longest
  Release since = Release::ase125;
};
constexpr TypeRow kTypes[] = {
    {"int", Values::number, "2147483647"},
    {"varchar(20)", Values::text, "'99999999999999999999'"},
    {"varchar(10)", Values::text, "'9999999999'"},
    {"numeric(9,0)", Values::number, "999999999"},
    {"numeric(12,4)", Values::number, "99999999.9999"},
    {"smallint", Values::number, "-32768"},
    {"tinyint", Values::number, "255"},
    {"char(6)", Values::text, "'999999'"},
    {"datetime", Values::moment, "'99991231 23:59:59'"},
    {"smalldatetime", Values::moment, "'20790606'"},
    {"money", Values::number, "922337203685477.5807"},
    {"float", Values::number, "1e300"},
    {"varbinary(8)", Values::binary, "0xffffffffffffffff"},
    {"bit", Values::bit, "1"},
    {"text", Values::text, "'long'"},
    {"image", Values::binary, "0x00ff"},
    {"nvarchar(12)", Values::text, "'999999999999'"},
    {"univarchar(8)", Values::text, "'99999999'"},
    {"decimal(5,2)", Values::number, "-999.99"},
    {"real", Values::number, "3e38"},
    {"timestamp", Values::none, ""},
    {"ty1", Values::number, "8"},
    {"ty2", Values::text, "'88888'"},
    {"bigint", Values::number, "9223372036854775807", Release::ase15},
    {"unsigned int", Values::number, "4294967295", Release::ase15},
    {"date", Values::moment, "'9999-12-31'", Release::ase15},
    {"bigdatetime", Values::moment, "'9999-12-31'", Release::ase15},
    {"unitext", Values::text, "'x'", Release::ase15},
};
constexpr int kTables = 6, kColumns = 6, kRows = 4;

class Side {
 public:
  Side(unsigned seed, Release release, bool varies)
      : seed_(seed), release_(release), varies_(varies) {
    constexpr std::array kRates{1, 3, 8, 20, 45};
    rate_ = kRates[seed % kRates.size()];
    hasWildRows_ = seed / kRates.size() % 3 == 2;
  }

  std::vector<std::string> batches() {
    settings();
    principals();
    values();
    for (int table = 1; table <= kTables; ++table) addTable(table);
    for (int table = 1; table <= kTables; ++table) addLater(table);
    compiled();
    for (int table = 1; table <= kTables; ++table) addTriggers(table);
    permissions();
    return std::move(batches_);
  }

 private:
  // A decision has a name, so that both sides take the same where they do not differ.
  std::size_t pick(const std::string& decision, std::size_t count) const {
    const bool isVaried =
        varies_ && hashOf(decision + "/varied", seed_) % 100 < static_cast<unsigned>(rate_);
    return hashOf(isVaried ? decision + "/other" : decision, seed_) % count;
  }
  bool chance(const std::string& decision, unsigned percent) const {
    return pick(decision, 100) < percent;
  }
  const std::string& oneOf(const std::string& decision, const Words& words) const {
    return words[pick(decision, words.size())];
  }
  bool has(Release since) const { return release_ >= since; }
  void add(std::string batch) {
    if (!batch.empty()) batches_.push_back(std::move(batch));
  }
  void maybe(const std::string& decision, unsigned percent, std::string batch) {
    if (chance(decision, percent)) add(std::move(batch));
  }

  void settings() {
    add("exec sp_dboption main, 'select into/bulkcopy/pllsort', true");
    maybe("trunc", 50, "exec sp_dboption main, 'trunc log on chkpt', true");
    maybe("segment", 70, "exec sp_addsegment s1, main, d1");
    for (const char* number : {"20001", "20002"}) {
      maybe(numbered("message", number[4]), 60,
            "exec sp_addmessage " + std::string(number) + ", " +
                oneOf(std::string("text") + number, {"'no %1!'", "'it''s not'", "'x'"}));
    }
  }

  void principals() {
    for (const char* group : {"g1", "g2"})
      maybe(group, 75, std::string("exec sp_addgroup ") + group);
    for (const char* user : {"ann", "ben", "cleo"}) {
      const std::string name(user);
      add("exec sp_addlogin " + name + ", secret1");
      const bool isOwner = name == "ann";
      maybe(name, isOwner ? 100 : 80,
            "exec sp_adduser " + name + ", " + name +
                oneOf(name + ".group", {"", "", ", g1", ", g2"}));
    }
    add("exec sp_addlogin dora, secret1");
    maybe("alias", 40, "exec sp_addalias dora, " + oneOf("alias.of", {"ann", "ben", "dbo"}));
    maybe("guest", 20, "exec sp_adduser guest");
    for (const char* role : {"r1", "r2"}) {
      add(std::string("create role ") + role);
      maybe(std::string(role) + ".ann", 30, std::string("grant role ") + role + " to ann");
    }
  }

  void values() {
    add("create default d1 as " + oneOf("d1", {"1", "2", "1"}));
    add("create default d2 as " + oneOf("d2", {"'5'", "'6'", "'5'"}));
    maybe("d3", 50, "create default ann.d3 as 7");
    add("create rule ru1 as @v " + oneOf("ru1", {">= 0", "> -5", "between 0 and 9999999"}));
    add("create rule ru2 as @v " + oneOf("ru2", {"like '%'", "!= 'zz'"}));
    maybe("ru3", 50, "create rule ann.ru3 as @n in (1, 2, 3)");
    add("exec sp_addtype ty1, '" + oneOf("ty1", {"int", "numeric(9,0)", "int", "int", "bigint"}) +
        "', " + oneOf("ty1.null", {"'null'", "'null'", "'not null'"}));
    add("exec sp_addtype ty2, '" + oneOf("ty2", {"varchar(5)", "varchar(9)", "char(5)"}) +
        "', 'null'");
    maybe("ty3", 50, "exec sp_addtype ty3, 'money', 'not null'");
    maybe("ty1.default", 30, "exec sp_bindefault d1, ty1");
    maybe("ty2.default", 30, "exec sp_bindefault d2, ty2");
    maybe("ty1.rule", 30, "exec sp_bindrule ru1, ty1");
    maybe("ty2.rule", 30, "exec sp_bindrule ru2, ty2");
  }

  struct Column {
    std::string name;
    const TypeRow* type;
    bool nullable, isGiven;
    std::string text;
  };
  static std::string ownerOf(int table) { return table == kTables ? "ann" : "dbo"; }
  static std::string nameOf(int table) { return numbered("t", table); }
  static std::string fullNameOf(int table) { return ownerOf(table) + "." + nameOf(table); }
  std::string keyType() const {
    return oneOf("key.type", {"int", "int", "numeric(9,0)", "ty1", "bigint"});
  }

  const TypeRow* typeOf(const std::string& decision) const {
    const TypeRow* type = &kTypes[pick(decision, std::size(kTypes))];
    return has(type->since) ? type : &kTypes[0];
  }
  static std::string valueOf(const TypeRow& type, int row) {
    std::string number = std::to_string(row);
    switch (type.values) {
      case Values::number:
        return number;
      case Values::text:
        return "'" + number + "'";
      case Values::binary:
        return "0x0" + number;
      case Values::moment:
        return "'2001010" + number + "'";
      case Values::bit:
        return std::to_string(row % 2);
      case Values::none:
        return "null";
    }
    return {};
  }

  Column columnOf(int table, int number) {
    const std::string at = nameOf(table) + ".c" + std::to_string(number);
    Column column{numbered("c", number), typeOf(at), chance(at + ".null", 60), true, {}};
    // The embedded catalog keeps no rows under a unique index of expressions.
    if (has(Release::ase15) && number > 3 && chance(at + ".computed", 6)) {
      column.isGiven = false;
      column.text = column.name + " as k " + oneOf(at + ".expression", {"+ 1", "* 2"}) +
                    oneOf(at + ".materialized", {"", " materialized"});
      return column;
    }
    column.text = column.name + " " + column.type->name;
    if (column.type->values == Values::none) {
      column.isGiven = false;
      return column;
    }
    const bool isLarge = std::string_view(column.type->name).find("te") == 0 ||
                         column.type->name == std::string_view("image") ||
                         column.type->name == std::string_view("unitext");
    if (column.type->values == Values::bit) column.nullable = false;
    if (chance(at + ".default", 25) && !isLarge)
      column.text +=
          " default " + valueOf(*column.type, 1 + static_cast<int>(pick(at + ".value", 3)));
    column.text += column.nullable ? " null" : " not null";
    if (chance(at + ".check", 10) && column.type->values == Values::number)
      column.text += " check (" + column.name + oneOf(at + ".condition", {" >= 0", " > -9"}) + ")";
    return column;
  }

  std::vector<Column> columnsOf(int table) {
    const std::string name = nameOf(table);
    std::vector<Column> columns;
    const bool isIdentity = chance(name + ".identity", 20);
    columns.push_back({"k", &kTypes[0], false, !isIdentity,
                       "k " + (isIdentity ? "numeric(9,0) identity" : keyType() + " not null")});
    for (int number = 1; number <= kColumns; ++number) {
      if (chance(name + ".has" + std::to_string(number), 75))
        columns.push_back(columnOf(table, number));
    }
    columns.push_back({"f", &kTypes[0], true, true, "f " + keyType() + " null"});
    if (chance(name + ".order", 15)) std::swap(columns[1], columns.back());
    return columns;
  }

  std::string keysOf(int table, const std::vector<Column>& columns) {
    const std::string name = nameOf(table);
    const std::string named =
        chance(name + ".named", 60) ? "constraint pk" + std::to_string(table) + " " : "";
    std::string text;
    const std::string clustered = oneOf(name + ".clustered", {"", " clustered", " nonclustered"});
    switch (pick(name + ".key", 5)) {
      case 0:
        break;
      case 1:
        text = ", " + named + "unique" + clustered + " (k)";
        break;
      case 2:
        text = ", " + named + "primary key" + clustered + " (k" +
               (columns.at(1).name == "c1" ? ", c1)" : ")");
        break;
      default:
        text = ", " + named + "primary key" + clustered + " (k)";
    }
    if (chance(name + ".check", 20))
      text += ", constraint ck" + std::to_string(table) + " check (" +
              oneOf(name + ".check.text", {"k > 0", "k > 0 or f is null", "k between 0 and 9999"}) +
              ")";
    return text;
  }

  void addTable(int table) {
    const std::string name = nameOf(table);
    if (!chance(name, 88)) return;
    const std::vector<Column> columns = columnsOf(table);
    std::string text = "create table " + fullNameOf(table) + " (";
    std::string_view separator;
    for (const Column& column : columns) {
      text += std::string(separator) + column.text;
      separator = ",\n ";
    }
    text += keysOf(table, columns) + ")";
    text += oneOf(name + ".lock", {"", " lock allpages", " lock datapages", " lock datarows"});
    if (has(Release::ase16))
      text += oneOf(name + ".compressed", {"", "", " with compression = row"});
    if (has(Release::ase15)) {
      text += oneOf(name + ".partition",
                    {"", "", "", "", " partition by hash (k) (h1, h2)",
                     " partition by range (k) (b1 values <= (2), b2 values <= (max))"});
    }
    add(text);
    addRows(table, columns);
  }

  // The same number in the columns of each row: it fits into all keys.
  void addRows(int table, const std::vector<Column>& columns) {
    if (varies_) return;
    for (int row = 1; row <= kRows; ++row) {
      std::string names, list;
      for (const Column& column : columns) {
        if (!column.isGiven) continue;
        const std::string at = fullNameOf(table) + column.name + std::to_string(row);
        const bool isWild = hasWildRows_ && column.name != "k" && chance(at + ".wild", 25);
        const bool isNull = column.nullable && chance(at + ".isnull", isWild ? 50 : 0);
        names += (names.empty() ? "" : ", ") + column.name;
        list += (list.empty() ? "" : ", ") +
                (isNull                              ? "null"
                 : isWild && column.name == "f"      ? valueOf(*column.type, 1)
                 : isWild && chance(at + ".end", 60) ? std::string(column.type->end)
                 : isWild                            ? valueOf(*column.type, 1)
                                                     : valueOf(*column.type, row));
      }
      add("insert " + fullNameOf(table) + " (" + names + ") values (" + list + ")");
    }
  }

  void addLater(int table) {
    const std::string name = nameOf(table), full = fullNameOf(table);
    for (int number = 1; number <= 3; ++number) {
      const std::string at = name + ".i" + std::to_string(number);
      if (!chance(at, 35)) continue;
      const std::string column = numbered("c", number);
      add("create " + oneOf(at + ".unique", {"", "", "unique "}) +
          oneOf(at + ".clustered", {"", "", "", "clustered "}) + "index i" +
          std::to_string(number) + " on " + full + " (" +
          oneOf(at + ".columns", {column, "k, " + column, column + " desc, k", "k, f"}) + ")" +
          oneOf(at + ".with", {"", "", " with fillfactor = 70", " with max_rows_per_page = 9"}));
    }
    for (int number = 1; number <= 2; ++number) {
      const std::string at = name + ".f" + std::to_string(number);
      if (!chance(at, 40)) continue;
      const int other = 1 + static_cast<int>(pick(at + ".to", kTables));
      const std::string key = chance(at + ".named", 70) ? "constraint fk" + std::to_string(table) +
                                                              std::to_string(number) + " "
                                                        : "";
      add("grant references on " + fullNameOf(other) + " to public");
      add("alter table " + full + " add " + key + "foreign key (" +
          oneOf(at + ".from", {"f", "f", "k"}) + ") references " + fullNameOf(other) + " (k)");
    }
    for (const char* column : {"c1", "c2"}) {
      const std::string at = name + "." + column;
      const Values values = typeOf(at)->values;
      if (values != Values::number && values != Values::text) continue;
      const std::string number = values == Values::number ? "1" : "2";
      maybe(at + ".d", 15, "exec sp_bindefault d" + number + ", '" + at + "'");
      maybe(at + ".r", 15, "exec sp_bindrule ru" + number + ", '" + at + "'");
    }
    maybe(name + ".primary", 15, "exec sp_primarykey " + name + ", k");
    maybe(name + ".gap", 10,
          "exec sp_chgattribute " + name + ", 'exp_row_size', " +
              oneOf(name + ".size", {"20", "40"}));
    maybe(name + ".replicated", 10, "exec sp_setreptable " + name + ", 'true'");
    maybe(name + ".slices", 5, "alter table " + full + " partition 3");
  }

  std::string relation(const std::string& decision, int views) {
    const int number = static_cast<int>(pick(decision, static_cast<std::size_t>(kTables + views)));
    return number < kTables ? fullNameOf(number + 1) : "dbo." + numbered("v", number - kTables + 1);
  }

  void compiled() {
    if (has(Release::ase15)) {
      for (int number = 1; number <= 3; ++number) {
        const std::string name = numbered("fn", number);
        maybe(name, 60,
              "create function " + name + " (@a " + oneOf(name + ".type", {"int", "numeric(9,0)"}) +
                  oneOf(name + ".value", {"", " = 3"}) + ") returns int as return " +
                  (number == 1 ? "@a" : "dbo." + numbered("fn", number - 1) + "(@a)") +
                  oneOf(name + ".plus", {"", " + 1"}));
      }
    }
    for (int number = 0; number < 5; ++number) {
      const std::string name = numbered("v", number + 1);
      maybe(name, 75,
            "create view dbo." + name + oneOf(name + ".names", {"", "", " (k, f)"}) +
                " as select k, " + oneOf(name + ".column", {"f", "f", "k * 2 as f"}) + " from " +
                relation(name + ".from", number) + oneOf(name + ".where", {"", " where k > 1"}));
    }
    for (int number = 1; number <= 5; ++number) {
      const std::string name = numbered("p", number);
      if (!chance(name, 75)) continue;
      const auto body = [&](const std::string& at) {
        return oneOf(at + ".body",
                     {"select k from " + relation(at + ".from", 5),
                      "exec " + numbered("p", 1 + static_cast<int>(pick(at + ".calls", 5))),
                      "print 'x'", "return 5"});
      };
      add("create procedure " + name +
          oneOf(name + ".parameters", {"", " @a int", " @a ty2 = null, @b int output"}) + " as " +
          body(name));
      maybe(name + ";2", 20, "create procedure " + name + ";2 as " + body(name + ";2"));
      maybe(name + ".mode", 25,
            "exec sp_procxmode " + name + ", " + oneOf(name + ".xmode", {"anymode", "chained"}));
    }
  }

  void addTriggers(int table) {
    const std::string name = nameOf(table);
    for (const char* event : {"insert", "update", "delete"}) {
      const std::string at = name + "." + event;
      if (!chance(at, 25)) continue;
      const std::string trigger =
          ownerOf(table) + "." + numbered(std::string(1, *event) + "tr", table);
      add("create trigger " + trigger + " on " + fullNameOf(table) + " for " + event + " as " +
          oneOf(at + ".body",
                {"print 'x'", "if update(f) print 'f'", "select k from inserted", "exec p1"}));
      maybe(at + ".disabled", 25,
            "alter table " + fullNameOf(table) + " disable trigger " +
                numbered(std::string(1, *event) + "tr", table));
    }
  }

  void permissions() {
    for (const char* what : {"create table", "create view", "create procedure"})
      maybe(what, 30,
            std::string("grant ") + what + " to " +
                oneOf(std::string(what) + ".to", {"ann", "ben", "g1"}));
    const Words grantees{"public", "ben", "cleo", "g1", "r1", "r2"};
    const auto grant = [&](const std::string& object, bool isTable) {
      for (int number = 1; number <= 2; ++number) {
        const std::string at = object + ".grant" + std::to_string(number);
        if (!chance(at, 45)) continue;
        const std::string to = oneOf(at + ".to", grantees);
        const std::string what =
            oneOf(at + ".what", {"select", "select (k)", "update (f)", "delete", "insert", "all"});
        add("grant " + (isTable ? what : "select") + " on " + object + " to " + to +
            (to == "ben" ? oneOf(at + ".option", {"", " with grant option"}) : ""));
        maybe(at + ".revoke", 15, "revoke delete on " + object + " from cleo");
        if (to == "ben" && chance(at + ".by", 50)) {
          add("setuser 'ben'\ngrant select on " + object + " to cleo");
          add("setuser");
        }
      }
    };
    for (int table = 1; table <= kTables; ++table) grant(fullNameOf(table), true);
    for (int view = 1; view <= 5; ++view) grant("dbo." + numbered("v", view), false);
    for (int number = 1; number <= 5; ++number) {
      const std::string name = numbered("p", number);
      maybe(name + ".grant", 40,
            "grant execute on " + name + " to " + oneOf(name + ".to", grantees));
    }
  }

  unsigned seed_;
  Release release_;
  bool varies_;
  int rate_ = 0;
  bool hasWildRows_ = false;
  std::vector<std::string> batches_;
};

}  // namespace

MadePair madePair(unsigned seed, Release release) {
  return {Side(seed, release, true).batches(), Side(seed, release, false).batches()};
}

}  // namespace kelvane::change_script
