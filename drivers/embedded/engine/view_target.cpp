#include "drivers/embedded/engine/view_target.h"

#include <algorithm>
#include <utility>

#include "drivers/embedded/engine/builtins.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/error.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

bool isAggregateCall(const Expr& expr) {
  const auto* call = as<Call>(expr);
  return call != nullptr && isAggregateName(call->function.name);
}

bool showsRowsAsTheyAre(const Query& query) {
  if (!query.isSingle() || !query.compute.empty() || query.limit) return false;
  const Select& select = query.terms.front().select;
  const bool aggregates = std::ranges::any_of(
      select.items, [](const SelectItem& item) { return anyWithin(*item.value, isAggregateCall); });
  return !aggregates && !select.distinct && !select.top && select.groupBy.empty() &&
         !select.having && select.from.size() == 1 &&
         std::holds_alternative<NamedTable>(select.from.front()->node);
}

bool hasInsteadOf(Catalog& catalog, const ObjectInfo& view) {
  return catalog.recordsOf(view.id).objects.first<&SysObject::deltrig>(view.id) != nullptr;
}

ViewLevel levelOf(Catalog& catalog, const ObjectInfo& view, const Caller& caller) {
  const SourceText stored = catalog.source(view.id);
  ViewLevel level;
  level.text = std::make_shared<const StatementList>(parseBatch(stored.text, stored.options()));
  const auto* definition =
      level.text->empty() ? nullptr : std::get_if<CreateView>(&level.text->front()->node);
  if (definition == nullptr) throw ServerError(message::viewWithoutText, caller.line, view.name);
  if (!showsRowsAsTheyAre(*definition->query)) {
    throw ServerError(message::viewNotUpdatable, caller.line, view.name);
  }
  if (hasInsteadOf(catalog, view)) {
    throw ServerError(message::notSupported, caller.line,
                      "Changes of a view with 'instead of' triggers");
  }
  level.database = catalog.databaseOf(view.id);
  level.hasCheckOption = definition->checkOption;
  level.select = &definition->query->terms.front().select;
  level.from = &std::get<NamedTable>(level.select->from.front()->node);
  for (const ColumnInfo& column : catalog.columns(view.id)) level.columns.push_back(column.name);
  return level;
}

}  // namespace

std::size_t ViewTarget::firstChecked() const {
  const auto first = std::ranges::find(levels, true, &ViewLevel::hasCheckOption);
  return static_cast<std::size_t>(first - levels.begin());
}

ViewTarget viewTarget(Catalog& catalog, const ObjectInfo& view, const Caller& caller) {
  constexpr std::size_t kMostLevels = 16;
  ViewTarget target{view.name, {}, view};
  Caller there = caller;
  while (target.table.type == "V") {
    if (target.levels.size() == kMostLevels) {
      throw ServerError(message::tooManyViews, caller.line);
    }
    const ViewLevel& level = target.levels.emplace_back(levelOf(catalog, target.table, caller));
    there = catalog.callerIn(level.database, there);
    target.table = catalog.requireObject(level.from->name, there);
  }
  return target;
}

// The levels from the table outwards, each a table to the one around it.
ViewedRow Translator::viewed(const ViewTarget& view, Source row) {
  ViewedRow result;
  result.conditions.resize(view.levels.size());
  for (std::size_t i = view.levels.size(); i-- > 0;) {
    const ViewLevel& level = view.levels[i];
    const Caller outer = std::exchange(caller_, context_.catalog.callerIn(level.database, caller_));
    row.exposedName = level.from->alias.empty() ? level.from->name.name : level.from->alias;
    row.owner.clear();
    row.database.clear();
    const Scope scope{nullptr, {row}, Clause::Where};
    if (const Expr* where = level.select->where.get()) {
      result.conditions[i] = condition(*where, &scope, Polarity::Positive);
    }
    auto columns = std::make_shared<SourceColumns>();
    const auto add = [&](const SourceColumn& shown) {
      if (columns->size() == level.columns.size()) return;
      columns->push_back(shown);
      columns->back().name = level.columns[columns->size() - 1];
    };
    for (const SelectItem& item : level.select->items) {
      if (as<Star>(*item.value)) {
        for (const SourceColumn& column : *row.columns) add(column);
      } else if (const auto* column = as<ColumnRef>(*item.value)) {
        add(*scope.resolve(*column, item.value->range.line).column);
      } else {
        const SqlValue derived = value(*item.value, &scope);
        add({"", derived.type, "", "(" + derived.sql + ")"});
      }
    }
    row.columns = std::move(columns);
    caller_ = outer;
  }
  result.source = std::move(row);
  return result;
}

}  // namespace kelvane::embedded
