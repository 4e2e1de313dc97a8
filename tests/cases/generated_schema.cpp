#include "tests/cases/generated_schema.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <initializer_list>
#include <map>
#include <random>
#include <vector>

#include "model/attributes.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using Text = std::u16string;
using Names = std::vector<Text>;

struct Type {
  std::string written;
  Column shown;  // as the server describes it
  std::string value;
  bool isUserType = false;
};

Text joined(const Names& names, const char16_t* separator) {
  Text result;
  for (const Text& name : names) result += (result.empty() ? u"" : separator) + name;
  return result;
}

std::string listed(const std::vector<std::string>& parts) {
  std::string result;
  for (const std::string& part : parts) result += (result.empty() ? "" : ", ") + part;
  return result;
}

// Its parts are made from the left to the right, as operands of + are by some compilers only.
std::string text(std::initializer_list<std::string> parts) {
  std::string result;
  for (const std::string& part : parts) result += part;
  return result;
}

Type plain(const std::string& name, int precision, int length, int scale, const char* value) {
  const auto shortScale = static_cast<std::int16_t>(scale);
  return {name, {u"", toUtf16(name), length, precision, shortScale, {}, u"", 0}, value};
}

// A type of fixed length that takes null is based on one of changing length.
Text nullableBase(const Text& base) {
  for (const std::u16string_view kind : {u"int", u"float", u"money"})
    if (base.ends_with(kind)) return Text(kind) + u"n";
  if (base == u"real") return u"floatn";
  if (base.ends_with(u"datetime")) return u"datetimn";
  if (base == u"date" || base == u"numeric" || base == u"decimal") return base + u"n";
  return base == u"char" || base == u"binary" ? u"var" + base : base;
}

class Generator {
 public:
  explicit Generator(unsigned seed) : engine_(seed) {
    people();
    for (int i = upTo(3); i > 0; --i) userType();
    for (const char16_t* owner : {u"ann", u"dbo"}) {
      const int ownersFirst = declared.Tables.count() + 1;
      for (int i = upTo(3); i >= 0; --i) table(owner, ownersFirst);
    }
    for (int i = upTo(3); i > 0; --i) view();
    for (int i = upTo(3); i > 0; --i) procedure();
    for (User& user : declared.Users) permissions(user);
    for (Group& group : declared.Groups) permissions(group);
  }

  Schema declared;
  std::string script = "set quoted_identifier on\ngo\n";

 private:
  int upTo(int most) { return static_cast<int>(engine_() % static_cast<unsigned>(most + 1)); }
  bool maybe() { return upTo(1) == 1; }
  template <class Values>
  const auto& oneOf(const Values& values) {
    return values[static_cast<std::size_t>(upTo(static_cast<int>(std::size(values)) - 1))];
  }
  Names someOf(Names names, int most) {
    std::ranges::shuffle(names, engine_);
    const int count = 1 + upTo(std::min(most, static_cast<int>(names.size())) - 1);
    names.resize(static_cast<std::size_t>(count));
    return names;
  }
  Text fresh(const std::string& kind) { return toUtf16(kind + std::to_string(100 + ++number_)); }

  // Keywords in either case, with gaps and comments behind them; names with and without marks.
  std::string word(std::string text) {
    static const std::array<std::string, 4> kGaps = {" ", "\n  ", " /* a, 'b' */ ", " -- it's (\n"};
    const bool upper = maybe();
    for (char& c : text) c = upper ? static_cast<char>(std::toupper(c)) : c;
    return text + oneOf(kGaps);
  }
  std::string named(const Text& name) {
    static const std::array<std::string, 3> kMarks = {"", "[]", "\"\""};
    const std::string& marks = oneOf(kMarks);
    return marks.empty() ? toUtf8(name) : marks[0] + toUtf8(name) + marks[1];
  }
  std::string named(const Text& owner, const Text& name) {
    return text({owner == u"dbo" && maybe() ? "" : named(owner) + ".", named(name)});
  }
  std::string inParentheses(const Names& names) {
    std::vector<std::string> parts;
    for (const Text& name : names) parts.push_back(named(name));
    return "(" + listed(parts) + ") ";
  }
  // Sends a batch; what the server keeps of a definition is all of it.
  Text send(const std::string& text) {
    static const std::array<std::string, 3> kEnds = {"go\n", "GO\n", "  go  \n"};
    script += text + "\n" + oneOf(kEnds);
    return toUtf16(text + "\n");
  }

  Type type() {
    const auto sized = [&](const std::string& name, const char* shown, int width) {
      const int length = 1 + upTo(60), bytes = length * width;
      Type type = plain(shown, bytes, bytes, 0, name.ends_with("binary") ? "0x1F" : "'x'");
      type.written = name + "(" + std::to_string(length) + ")";
      return type;
    };
    const auto exact = [&](const std::string& name) {
      const int precision = 1 + upTo(37), scale = upTo(precision - 1);
      const int length = 1 + static_cast<int>(std::ceil(precision * std::log2(10.0) / 8));
      Type type = plain(name, precision, length, scale, "0");
      type.written += "(" + std::to_string(precision) + ", " + std::to_string(scale) + ")";
      return type;
    };
    if (!userTypes_.empty() && upTo(5) == 0) return oneOf(userTypes_);
    // clang-format off
    return oneOf(std::array{
        sized("char", "char", 1), sized("varchar", "varchar", 1), sized("char varying", "varchar", 1),
        sized("nvarchar", "varchar", 1), sized("binary", "binary", 1), sized("varbinary", "varbinary", 1),
        sized("unichar", "unichar", 2), sized("univarchar", "univarchar", 2), exact("numeric"), exact("decimal"),
        plain("int", 10, 4, 0, "-7"), plain("smallint", 5, 2, 0, "3"), plain("tinyint", 3, 1, 0, "255"),
        plain("bigint", 19, 8, 0, "9000000000"), plain("float", 15, 8, 0, "1.5e3"), plain("real", 7, 4, 0, "0.5"),
        plain("money", 19, 8, 4, "$2.5"), plain("smallmoney", 10, 4, 4, "1"),
        plain("datetime", 23, 8, 3, "'Jan 2 2003'"), plain("smalldatetime", 16, 4, 0, "'20030102 13:00'"),
        plain("date", 10, 4, 0, "'2003-01-02'")});
    // clang-format on
  }

  void people() {
    for (int i = upTo(2); i > 0; --i) {
      const Text name = fresh("grp");
      send(text({word("exec"), "sp_addgroup ", named(name)}));
      declared.Groups.append({name, u"", name, {}, {}});
    }
    declared.Groups.append({u"public", u"", u"public", {}, {}});
    const int last = declared.Groups.count();
    for (const Text name : {u"ann", u"bob", u"dbo", u"guest"}) {
      const bool isAdded = name < u"c";
      const int place = isAdded ? 1 + upTo(last - 1) : last;
      Group& group = declared.Groups[place];
      group.Users.append({name, u"", u"", {}});
      declared.Users.append({name, u"", name, {}});
      if (isAdded)
        send(text({"exec sp_adduser '", toUtf8(name), "', ", named(name),
                   place == last ? "" : ", " + named(group.Name)}));
    }
  }

  void userType() {
    Type type = this->type();
    if (type.isUserType || type.written.starts_with("uni") || type.written.starts_with("n")) return;
    UDDT made{fresh("kind"), u"dbo", u"", type.shown.DataType, type.shown.Length, 0, 0, {},
              u"",           u""};
    made.FullName = u"dbo." + made.Name;
    if (type.written.starts_with("decimal")) {
      made.Precision = type.shown.Precision;
      made.iScale = type.shown.iScale;
    }
    made.Nullable = maybe();
    if (made.Nullable) made.BaseType = nullableBase(made.BaseType);
    if (made.BaseType.starts_with(u"var")) type.shown.DataType = made.BaseType;
    send(text({word("exec"), "sp_addtype ", named(made.Name), ", '", type.written, "', ",
               made.Nullable ? "'null'" : "'not null'"}));
    if (maybe()) {
      made.BoundDefault = fresh("def");
      type.shown.Default = send("create default " + named(made.BoundDefault) + " as " + type.value);
      send("exec sp_bindefault " + toUtf8(made.BoundDefault) + ", '" + toUtf8(made.Name) + "'");
    }
    if (maybe()) {
      made.BoundRule = fresh("rul");
      send("create rule " + named(made.BoundRule) + " as @v = " + type.value);
      send("exec sp_bindrule '" + toUtf8(made.BoundRule) + "', " + named(made.Name));
    }
    type.written = toUtf8(made.Name);
    type.shown.Nullable = made.Nullable;
    type.isUserType = true;
    userTypes_.push_back(type);
    declared.UDDTs.append(std::move(made));
  }

  void table(const Text& owner, int ownersFirst) {
    Table made;
    made.Name = fresh("tab");
    made.Owner = owner;
    made.FullName = owner + u"." + made.Name;
    std::vector<std::string> parts, values, later;
    Names columns, given, notNull;
    for (int i = 2 + upTo(5); i > 0; --i) {
      const Type type = this->type();
      Column column = type.shown;
      column.Name = fresh("col");
      column.OrdinalPosition = made.Columns.count() + 1;
      std::string part = named(column.Name) + " ";
      part += type.isUserType ? type.written + " " : word(type.written);
      if (given.size() == columns.size() && column.iScale == 0 &&
          type.written.starts_with("numeric")) {
        part += word("identity");
      } else {
        given.push_back(column.Name);
        values.push_back(type.value);
        if (upTo(2) == 0) {
          column.Default = toUtf16(type.value);
          part += word("default") + type.value + " ";
        }
        if (!type.isUserType || maybe()) {
          column.Nullable = maybe();
          part += word(column.Nullable ? "null" : "not null");
        }
        if (upTo(3) == 0)
          part += text({word("check"), "(", named(column.Name), " = ", type.value, ")"});
      }
      columns.push_back(column.Name);
      written_[column.Name] = type.written;
      if (!column.Nullable) notNull.push_back(column.Name);
      parts.push_back(part);
      made.Columns.append(std::move(column));
    }
    const auto constraint = [&](const Text& name, const std::string& rest) {
      const std::string whole = text({word("constraint"), named(name), " ", rest});
      const std::string added =
          text({word("alter table"), named(owner, made.Name), " ", word("add")});
      maybe() ? parts.push_back(whole) : later.push_back(added + whole);
    };
    bool clusteredIsFree = true;
    const auto clustering = [&](bool unlessSaid) {
      const bool clustered = clusteredIsFree && maybe();
      clusteredIsFree = clusteredIsFree && !clustered;
      const bool said = clustered != unlessSaid || maybe();
      return std::pair(clustered, said ? word(clustered ? "clustered" : "nonclustered") : "");
    };
    if (!notNull.empty() && maybe()) {
      const auto [clustered, kind] = clustering(true);
      const Names& key = keys_[made.Name] = someOf(notNull, 3);
      made.PrimaryKey = {
          {fresh("pk"), joined(key, u", "), clustered ? u"Clustered" : u"Non Clustered"}};
      constraint(made.PrimaryKey[1].Name, text({word("primary key"), kind, inParentheses(key)}));
    }
    for (int i = upTo(2); i > 0; --i) later.push_back(indexOn(made, columns, clustering));
    foreignKey(made, columns, ownersFirst, constraint);
    send(text({word("create table"), named(owner, made.Name), " (", listed(parts), ") "}));
    for (const std::string& one : later) send(one);
    triggers(made);
    const auto onInsert = [](const Trigger& trigger) { return bool{trigger.Is_Insert}; };
    if (made.ForeignKey.empty() && std::ranges::none_of(made.Triggers, onInsert) &&
        !given.empty()) {
      made.Miscallaneous.RowCount = 1;
      send(text({word("insert"), named(owner, made.Name), inParentheses(given), word("values"), "(",
                 listed(values), ")"}));
    }
    declared.Tables.append(std::move(made));
  }

  template <class Clustering>
  std::string indexOn(Table& made, const Names& columns, const Clustering& clustering) {
    index key{fresh("ix"), u"", u""};
    const auto [clustered, kind] = clustering(false);
    const bool ofConstraint = maybe(), unique = ofConstraint || maybe();
    key.IndexDescription = clustered ? u"clustered" : u"nonclustered";
    if (unique) key.IndexDescription += u", unique";
    std::vector<std::string> keys;
    for (const Text& column : someOf(columns, 3)) {
      const bool descends = upTo(3) == 0;
      key.IndexKeys += (keys.empty() ? u" " : u", ") + column + (descends ? u" DESC" : u"");
      keys.push_back(named(column) + (descends ? " desc" : ""));
    }
    for (const index& other : std::as_const(made).Indexes)
      if (other.IndexKeys == key.IndexKeys) return "print 'no second index on the same keys'";
    const std::string list = "(" + listed(keys) + ") ";
    const std::string table = named(made.Owner, made.Name) + " ";
    std::string sql = text({word("alter table"), table, word("add constraint"), named(key.Name),
                            " ", word("unique"), kind, list});
    if (!ofConstraint) {
      sql = text({word("create"), unique ? word("unique") : "", kind, word("index"),
                  named(key.Name), " on ", table, list});
      if (unique && upTo(2) == 0) {
        key.IndexDescription += u", ignore duplicate keys";
        sql += text({word("with"), word("ignore_dup_key")});
      } else if (!unique && clustered && maybe()) {
        key.IndexDescription += u", allow duplicate rows";
        sql += text({word("with"), word("allow_dup_row")});
      }
    }
    key.IndexDescription += u" located on default";
    made.Indexes.append(std::move(key));
    return sql;
  }

  // To the primary key of an earlier table of the same owner, from columns of the same types. The
  // name of that key is looked up for tables of the reading user alone; none is one blank, as the
  // server has no empty texts.
  template <class Constraint>
  void foreignKey(Table& made, const Names& columns, int ownersFirst,
                  const Constraint& constraint) {
    for (int i = ownersFirst; i <= declared.Tables.count(); ++i) {
      const Table& other = std::as_const(declared).Tables[i];
      const Names& key = keys_[other.Name];
      Names from;
      for (const Text& wanted : key) {
        const auto fits = std::ranges::find_if(columns, [&](const Text& column) {
          return written_[column] == written_[wanted] && std::ranges::count(from, column) == 0;
        });
        if (fits != columns.end()) from.push_back(*fits);
      }
      if (from.empty() || from.size() != key.size()) continue;
      const bool isNamed = from.size() == 1 && made.Owner == u"dbo";
      made.ForeignKey = {{fresh("fk"), joined(from, u","), 1, other.Name, joined(key, u","),
                          isNamed ? other.PrimaryKey[1].Name : u" "}};
      constraint(made.ForeignKey[1].Name,
                 text({word("foreign key"), inParentheses(from), word("references"),
                       named(other.Owner, other.Name), maybe() ? inParentheses(key) : ""}));
      return;
    }
  }

  void triggers(Table& made) {
    const int first = upTo(7);
    for (const int events : {first, ~first & upTo(7)}) {
      Trigger trigger{fresh("trg"), u"", (events & 4) != 0, (events & 2) != 0, (events & 1) != 0};
      std::vector<std::string> list;
      if (trigger.Is_Insert) list.push_back(word("insert"));
      if (trigger.Is_Update) list.push_back(word("update"));
      if (trigger.Is_Delete) list.push_back(word("delete"));
      if (list.empty()) continue;
      trigger.Definition =
          send(text({"/* why */\n", word("create trigger"), named(made.Owner, trigger.Name), " on ",
                     named(made.Owner, made.Name), " ", word("for"), listed(list),
                     "\nas  print 'caf\xc3\xa9 %1!', @@rowcount"}));
      made.Triggers.append(std::move(trigger));
    }
  }

  void view() {
    const Table& from = std::as_const(declared).Tables[1 + upTo(declared.Tables.count() - 1)];
    View made{fresh("vew"), u"dbo", u"", {}, u""};
    std::vector<std::string> items;
    for (Column column : from.Columns) {
      const std::string source = text({maybe() ? "" : "t.", named(column.Name)});
      column.Name = fresh("out");
      column.Default = u"";
      const std::string name = named(column.Name);
      items.push_back(maybe() ? source + " as " + name : name + " = " + source);
      made.Columns.append(std::move(column));
    }
    made.Definition =
        send(text({word("create view"), named(u"dbo", made.Name), " as ", word("select"),
                   listed(items), " from ", named(from.Owner, from.Name), " t"}));
    declared.Views.append(std::move(made));
  }

  void procedure() {
    StoredProc made{fresh("prc"), u"dbo", u"", {}, u""};
    std::vector<std::string> list;
    for (int i = upTo(4); i > 0; --i) {
      const Type type = this->type();
      Column column = type.shown;
      column.Name = u"@" + fresh("p");
      column.Nullable = True;
      column.DataType.resize(30, u' ');  // a char(30)
      column.Default = u"";
      column.OrdinalPosition = made.Columns.count() + 1;
      list.push_back(text({toUtf8(column.Name), " ", type.written, upTo(2) == 0 ? " = null" : "",
                           upTo(2) == 0 ? " output" : ""}));
      made.Columns.append(std::move(column));
    }
    // Mostly longer than one row of the text that the server keeps.
    const std::string longText(static_cast<std::size_t>(upTo(600)), 'x');
    made.Definition = send(text({word("create procedure"), named(made.Owner, made.Name), " ",
                                 listed(list), "\nas\n  print '", longText, "'\n  return 0"}));
    declared.StoredProcs.append(std::move(made));
  }

  template <class Holder>
  void permissions(Holder& holder) {
    if (holder.Name == u"dbo") return;
    const auto each = [](const auto& attributes, const auto& visit) {
      std::apply([&](const auto&... one) { (visit(one), ...); }, attributes);
    };
    each(attributes::kSystemPermission, [&](const auto& attribute) {
      if (upTo(3) != 0) return;
      holder.Permissions.*attribute.value = True;
      send(text({word("grant"), toUtf8(attribute.label), " to ", named(holder.Name)}));
    });
    const auto on = [&](const Text& owner, const Text& name, const std::string& allowed,
                        const std::string& columns) {
      PermissionEntity entity;
      entity.EntityName = name;
      entity.EntityOwner = entity.Grantor = owner;
      bool holdsAny = false;
      each(attributes::kObjectPermission, [&](const auto& attribute) {
        const std::string label = toUtf8(attribute.label);
        // Who owns it needs no grant, and none is kept.
        if (allowed.find(label) == std::string::npos || upTo(2) != 0 || owner == holder.Name)
          return;
        entity.*attribute.value = holdsAny = true;
        const bool byColumn = label != "Delete" && label != "Insert" && maybe();
        send(text({word("grant"), label, byColumn ? columns : "", " on ", named(owner, name),
                   " to ", named(holder.Name), holder.Name == u"ann" ? " with grant option" : ""}));
      });
      if (holdsAny) holder.Permissions.PermissionEntities.append(entity);
    };
    for (const StoredProc& one : declared.StoredProcs) on(one.Owner, one.Name, "Execute", "");
    for (const Table& one : std::as_const(declared).Tables)
      on(one.Owner, one.Name, "Delete Insert References Select Update",
         "(" + named(one.Columns[1].Name) + ")");
    for (const View& one : declared.Views) on(one.Owner, one.Name, "Select", "");
  }

  std::mt19937 engine_;
  int number_ = 0;
  std::vector<Type> userTypes_;
  std::map<Text, std::string> written_;  // the types of the columns
  std::map<Text, Names> keys_;           // the primary keys of the tables
};

}  // namespace

GeneratedSchema generatedSchema(unsigned seed) {
  Generator made(seed);
  return {std::move(made.declared), std::move(made.script)};
}

}  // namespace kelvane::cli
