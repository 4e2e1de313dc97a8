#include "drivers/embedded/engine/star_expansion.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "drivers/embedded/engine/temporary_tables.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/scan.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

constexpr std::string_view kComment =
    "/* Adaptive Server has expanded all '*' elements in the following statement */ ";

struct NamedColumns {
  std::string table;
  std::vector<std::string> columns;
};

struct Replacement {
  std::uint32_t begin;
  std::uint32_t end;
  std::string text;
};

std::string written(const std::string& name) {
  const bool plain =
      !name.empty() && reservedWord(name).empty() && std::ranges::all_of(name, [](unsigned char c) {
        return c >= 0x80 || c == '_' || c == '$' || c == '#' || c == '@' ||
               (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
      });
  return plain ? name : "[" + name + "]";
}

// The first byte behind the blanks and comments at the head of a batch.
std::size_t firstToken(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    if (isLineComment(text, at)) {
      at = endOfLine(text, at);
    } else if (isBlockComment(text, at)) {
      at = std::min(endOfBlockComment(text, at), text.size());
    } else if (static_cast<unsigned char>(text[at]) <= ' ') {
      ++at;
    } else {
      break;
    }
  }
  return at;
}

class StarExpansion {
 public:
  StarExpansion(std::string_view text, Catalog& catalog, const Caller& caller,
                const TemporaryTables& temporaries)
      : text_(text), catalog_(catalog), caller_(caller), temporaries_(temporaries) {}

  std::string expand(const tsql::Statement& definition);

 private:
  void statements(const StatementList& list) {
    for (const auto& statement : list) parts(*statement);
  }
  void parts(const tsql::Statement& statement);
  void commented(std::size_t begin, const auto& walk);
  void condition(const Expr& expr);
  void query(const Query& query);
  void derived(const TableRef& table);
  std::optional<std::vector<NamedColumns>> tables(const TableRef& table);
  std::optional<NamedColumns> columnsOf(const NamedTable& table);
  std::optional<std::vector<std::string>> columnsOf(const Query& query);
  std::optional<std::vector<NamedColumns>> starred(const Select& select, const Star& star);

  std::string_view text_;
  Catalog& catalog_;
  const Caller& caller_;
  const TemporaryTables& temporaries_;
  std::optional<ObjectInfo> changedTable_;  // what `inserted` and `deleted` look like
  std::vector<Replacement> replacements_;
};

std::string StarExpansion::expand(const tsql::Statement& definition) {
  const SourceRange range = definition.range;
  const std::size_t first = range.begin + firstToken(range.in(text_));
  std::visit(Overloaded{
                 [&](const CreateView& s) { commented(first, [&] { query(*s.query); }); },
                 [&](const CreateProcedure& s) { statements(s.body); },
                 [&](const CreateFunction& s) { statements(s.body); },
                 [&](const CreateTrigger& s) {
                   changedTable_ = catalog_.findObject(s.table, caller_);
                   statements(s.body);
                 },
                 [](const auto&) {},
             },
             definition.node);
  std::ranges::stable_sort(replacements_, {}, &Replacement::begin);
  std::string result;
  std::size_t at = range.begin;
  for (const Replacement& replacement : replacements_) {
    result += text_.substr(at, replacement.begin - at);
    result += replacement.text;
    at = replacement.end;
  }
  return result.append(text_.substr(at, range.end - at));
}

// Puts the comment at `begin` when the walk replaced anything.
void StarExpansion::commented(std::size_t begin, const auto& walk) {
  const std::size_t before = replacements_.size();
  walk();
  if (replacements_.size() == before) return;
  const auto at = static_cast<std::uint32_t>(begin);
  replacements_.push_back({at, at, std::string(kComment)});
}

void StarExpansion::parts(const tsql::Statement& statement) {
  const auto leaf = [&](const auto& walk) { commented(statement.range.begin, walk); };
  const auto change = [&](const std::vector<TableRefPtr>& from, const ExprPtr& where) {
    leaf([&] {
      for (const auto& table : from) derived(*table);
      if (where) condition(*where);
    });
  };
  std::visit(Overloaded{
                 [&](const SelectStatement& s) { leaf([&] { query(*s.query); }); },
                 [&](const DeclareCursor& s) { leaf([&] { query(*s.query); }); },
                 [&](const Insert& s) {
                   if (const auto* rows = std::get_if<QueryPtr>(&s.source)) {
                     leaf([&] { query(**rows); });
                   }
                 },
                 [&](const Update& s) { change(s.from, s.where); },
                 [&](const Delete& s) { change(s.from, s.where); },
                 [&](const Block& s) { statements(s.statements); },
                 [&](const If& s) {
                   leaf([&] { condition(*s.condition); });
                   parts(*s.then);
                   if (s.otherwise) parts(*s.otherwise);
                 },
                 [&](const While& s) {
                   leaf([&] { condition(*s.condition); });
                   parts(*s.body);
                 },
                 [](const auto&) {},
             },
             statement.node);
}

void StarExpansion::condition(const Expr& expr) {
  if (const auto* in = as<InSubquery>(expr)) query(*in->query);
  if (const auto* scalar = as<ScalarSubquery>(expr)) query(*scalar->query);
  if (const auto* quantified = as<Quantified>(expr)) query(*quantified->query);
  eachOperand(expr, [&](const Expr& operand) { condition(operand); });
}

void StarExpansion::derived(const TableRef& table) {
  if (const auto* join = std::get_if<Join>(&table.node)) {
    derived(*join->left);
    derived(*join->right);
  } else if (const auto* inner = std::get_if<DerivedTable>(&table.node)) {
    query(*inner->query);
  }
}

void StarExpansion::query(const Query& query) {
  for (const UnionTerm& term : query.terms) {
    const Select& select = term.select;
    for (const SelectItem& item : select.items) {
      const auto* star = as<Star>(*item.value);
      if (star == nullptr) {
        condition(*item.value);
        continue;
      }
      const auto tables = starred(select, *star);
      if (!tables) continue;
      std::string list;
      for (const NamedColumns& table : *tables) {
        for (const std::string& column : table.columns) {
          list += (list.empty() ? "" : ", ") + written(table.table) + "." + written(column);
        }
      }
      replacements_.push_back({item.value->range.begin, item.value->range.end, std::move(list)});
    }
    for (const auto& table : select.from) derived(*table);
    if (select.where) condition(*select.where);
    if (select.having) condition(*select.having);
  }
}

// The tables whose columns a star stands for; none when one of them is not known.
std::optional<std::vector<NamedColumns>> StarExpansion::starred(const Select& select,
                                                                const Star& star) {
  std::vector<NamedColumns> found;
  for (const auto& table : select.from) {
    auto some = tables(*table);
    if (!some) return std::nullopt;
    std::ranges::move(*some, std::back_inserter(found));
  }
  if (!star.table.empty()) {
    std::erase_if(found, [&](const NamedColumns& t) { return t.table != star.table.name; });
  }
  if (found.empty()) return std::nullopt;
  return found;
}

std::optional<std::vector<NamedColumns>> StarExpansion::tables(const TableRef& table) {
  if (const auto* join = std::get_if<Join>(&table.node)) {
    auto left = tables(*join->left);
    auto right = tables(*join->right);
    if (!left || !right) return std::nullopt;
    std::ranges::move(*right, std::back_inserter(*left));
    return left;
  }
  if (const auto* named = std::get_if<NamedTable>(&table.node)) {
    auto columns = columnsOf(*named);
    if (!columns) return std::nullopt;
    return std::vector{std::move(*columns)};
  }
  const auto& inner = std::get<DerivedTable>(table.node);
  auto columns = inner.columns.empty() ? columnsOf(*inner.query) : std::optional(inner.columns);
  if (!columns) return std::nullopt;
  return std::vector{NamedColumns{inner.alias, std::move(*columns)}};
}

std::optional<NamedColumns> StarExpansion::columnsOf(const NamedTable& table) {
  const ObjectName& name = table.name;
  NamedColumns result{table.alias.empty() ? name.name : table.alias, {}};
  std::vector<ColumnInfo> columns;
  if (changedTable_ && (name.name == "inserted" || name.name == "deleted")) {
    columns = catalog_.columns(changedTable_->id);
  } else if (name.name.starts_with('#')) {
    const TemporaryTable* found = temporaries_.find(name.name);
    if (found != nullptr) columns = found->columns;
  } else if (const auto object = catalog_.findObject(name, caller_)) {
    columns = catalog_.columns(object->id);
  }
  if (columns.empty()) return std::nullopt;
  for (const ColumnInfo& column : columns) result.columns.push_back(column.name);
  return result;
}

std::optional<std::vector<std::string>> StarExpansion::columnsOf(const Query& query) {
  const Select& select = query.terms.front().select;
  std::vector<std::string> names;
  for (const SelectItem& item : select.items) {
    if (const auto* star = as<Star>(*item.value)) {
      const auto tables = starred(select, *star);
      if (!tables) return std::nullopt;
      for (const NamedColumns& table : *tables) {
        names.insert(names.end(), table.columns.begin(), table.columns.end());
      }
    } else if (!item.alias.empty()) {
      names.push_back(item.alias);
    } else if (const auto* column = as<ColumnRef>(*item.value)) {
      names.push_back(column->column);
    } else {
      return std::nullopt;
    }
  }
  return names;
}

}  // namespace

std::string withExpandedStars(const tsql::Statement& definition, std::string_view text,
                              Catalog& catalog, const Caller& caller,
                              const TemporaryTables& temporaries) {
  return StarExpansion(text, catalog, caller, temporaries).expand(definition);
}

}  // namespace kelvane::embedded
