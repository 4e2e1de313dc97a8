// Steps for the columns of tables that stay.

#include <algorithm>
#include <utility>

#include "change_script/table_steps.h"
#include "change_script/types.h"
#include "inventory/ddl/tables.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

bool isIdentity(const Column& column) { return column.type.identity; }
bool isTimestamp(const Column& column) { return column.type.type.name == "timestamp"; }
constexpr std::string_view kBindDefault = "sp_bindefault", kBindRule = "sp_bindrule";

class ColumnPlan {
 public:
  explicit ColumnPlan(const TablePair& pair)
      : planner_(pair.planner), change_(pair.change), now_(pair.now), old_(pair.old) {}

  ColumnSteps plan() {
    for (const Change& part : change_.parts) {
      if (part.kind == Kind::column) planColumn(part);
    }
    planColumns();
    return std::move(steps_);
  }

 private:
  /// What the release lacks becomes an omission, not a batch.
  Statement textOf(const Column& column) {
    Statement text;
    planner_.fromSource([&](Writing& writing) { text = columnText(writing, now_, column); });
    return text;
  }

  void planColumn(const Change& part) {
    if (part.isOnlyInSource()) return planNewColumn(*std::get<const Column*>(part.source), part);
    const Column& was = *std::get<const Column*>(part.target);
    if (part.isOnlyInTarget()) return planDroppedColumn(was, part);
    planChangedColumn(part, was, *std::get<const Column*>(part.source));
  }

  void planDroppedColumn(const Column& was, const Change& part) {
    Statement name;
    name.name(was.name);
    const bool isComputed = !was.computed.isDefault();
    const std::size_t at =
        planner_.addClause(described(change_, &part),
                           {&old_, AlterVerb::drop, name.text(), name.needsQuotedIdentifier(),
                            "exists (" + columnOf(old_, was.name) + ")"},
                           isComputed ? std::vector<Danger>{} : std::vector{Danger::dropColumn});
    planner_.step(at).copiesData = !isComputed || was.materialized;
    planner_.end(&was, at);
    if (was.type.identity) identity_.drop = at;
    if (isTimestamp(was)) timestamp_.drop = at;
    steps_.touched[was.name] = at;
  }

  void planNewColumn(const Column& column, const Change& part) {
    const bool isComputed = !column.computed.isDefault();
    const bool needsValue = !isComputed && !column.type.nullable && !column.type.identity &&
                            column.defaultValue->text.empty();
    Column added = column;
    if (needsValue) {
      DefaultValue value;
      value.text = placeholderOf(planner_.storedNew(column.type).type);
      added.defaultValue = value;
    }
    const Statement text = textOf(added);
    const std::size_t at =
        planner_.addClause(described(change_, &part),
                           {&old_, AlterVerb::add, text.text(), text.needsQuotedIdentifier(),
                            "not exists (" + columnOf(old_, column.name) + ")"},
                           needsValue ? std::vector{Danger::nullToNotNull} : std::vector<Danger>{});
    if (needsValue) {
      Statement replace = alter(old_);
      (replace << " replace ").name(column.name) << " default null";
      // It may be bound where the script is started again.
      if (const QualifiedName& bound = column.defaultValue->bound; bound != QualifiedName{})
        planner_.step(at).batches.push_back(unboundFrom(old_, column.name, true, bound));
      planner_.step(at).batches.push_back(batchOf(replace));
    }
    planner_.step(at).copiesData =
        isComputed ? column.materialized : !column.type.nullable || column.type.identity;
    steps_.comes[column.name] = at;
    planner_.provide(now_.name.name, column.name, at);
    if (column.type.identity) identity_.creation = at;
    if (isTimestamp(column)) timestamp_.creation = at;
    Column bare;
    bare.name = column.name;
    planBindings(bare, column, described(change_, &part), at);
  }

  void planChangedColumn(const Change& part, const Column& was, const Column& is) {
    const std::string difference = described(change_, &part);
    std::optional<std::size_t> modified;
    bool hasDefault = false, hasBindings = false;
    for (const AttributeChange& one : part.attributes) {
      if (one.label == "type") {
        modified = planType(was, is, described(change_, &part));
        if (!modified) {
          steps_.kept.insert(was.name);
          return;
        }
      } else if (one.label == "default") {
        hasDefault = true;
      } else if (one.label == "rule" || one.label == "access rule") {
        hasBindings = true;
      } else {
        planner_.omit(difference, std::string(kOnlyAgain));
      }
    }
    if (hasDefault) planDefault(was, is, difference);
    const bool wasUser = !was.type.type.owner.isDefault() || !is.type.type.owner.isDefault();
    // A modification to or from a user-defined type may take what is bound along, or leave it.
    if (modified && wasUser) {
      planBindings(was, is, difference, modified);
    } else if (hasDefault || hasBindings) {
      if (const auto at = planBindings(was, is, difference, {})) planner_.end(&was, *at);
    }
  }

  /// None: the column keeps its type.
  std::optional<std::size_t> planType(const Column& was, const Column& is,
                                      const std::string& difference) {
    const std::vector<Danger> dangers =
        dangersOf(planner_.storedOld(was.type), planner_.storedNew(is.type));
    const auto* const freed = planner_.freed(was);
    const auto omitted = [&](std::string reason) -> std::optional<std::size_t> {
      planner_.omit(difference, std::move(reason));
      if (freed != nullptr) planner_.forbid(freed->step);
      return std::nullopt;
    };
    if (!converts(planner_.storedOld(was.type), planner_.storedNew(is.type)))
      return omitted("the server does not convert the values; drop the column first");
    if (!was.computed.isDefault() || !is.computed.isDefault() ||
        std::ranges::count(dangers, Danger::rebuild) != 0)
      return omitted(std::string(kOnlyAgain));
    // A modification that changes nothing is an error.
    if (freed != nullptr && freed->type == is.type && dangers.empty()) {
      planner_.step(freed->step).difference = difference;
      return ended(was, freed->step);
    }
    Column modified;
    modified.name = was.name;
    modified.type = is.type;
    const Statement text = textOf(modified);
    const ColumnType& before = freed == nullptr ? was.type : freed->type;
    const std::size_t at =
        planner_.addClause(difference,
                           {&old_, AlterVerb::modify, text.text(), text.needsQuotedIdentifier(),
                            "exists (" + columnOf(old_, was.name, before) + ")"},
                           dangers);
    if (freed != nullptr) planner_.needEachOther(freed->step, at);
    const ColumnType from = planner_.storedOld(was.type);
    const ColumnType to = planner_.storedNew(is.type);
    for (const Danger danger : dangers) {
      if (auto check = checkOf(planner_, old_.name, was.name, danger, from.type, to.type))
        planner_.check(at, *std::move(check));
    }
    planner_.step(at).copiesData = copiesData(from, to);
    return ended(was, at);
  }

  std::size_t ended(const Column& was, std::size_t step) {
    planner_.end(&was, step);
    steps_.touched[was.name] = step;
    steps_.comes[was.name] = step;
    return step;
  }

  void planDefault(const Column& was, const Column& is, const std::string& difference) {
    if (was.defaultValue->text == is.defaultValue->text) return;
    if (is.defaultValue->text == "null" || is.defaultValue->text == "NULL")
      return planner_.omit(
          difference, "the statement for it takes the default away; " + std::string(kOnlyAgain));
    Statement replace = alter(old_);
    (replace << " replace ").name(was.name)
        << " default " << (is.defaultValue->text.empty() ? "null" : is.defaultValue->text);
    std::vector<Batch> batches;
    // That of the source is bound where the script is started again.
    for (const QualifiedName& bound : {was.defaultValue->bound, is.defaultValue->bound}) {
      if (bound != QualifiedName{}) batches.push_back(unboundFrom(old_, was.name, true, bound));
    }
    batches.push_back(batchOf(replace));
    planner_.add(Stage::columns, difference, std::move(batches));
  }

  std::optional<std::size_t> planBindings(const Column& was, const Column& is,
                                          const std::string& difference,
                                          std::optional<std::size_t> needs) {
    std::vector<Batch> batches;
    const std::string column = argument({now_.name.name, is.name});
    const std::string user = Writing::userFor(now_.name.owner);
    const UserType* type = needs ? planner_.now().userType(is.type.type) : nullptr;
    const auto bind = [&](std::string_view bind, const QualifiedName& from, const QualifiedName& to,
                          const QualifiedName& ofType) {
      const QualifiedName none;
      if (to != none && (needs || from != to))
        return batches.push_back(callOf(
            "exec " + std::string(bind) + " " + argument({to.owner, to.name}) + ", " + column,
            user));
      if (to != none) return;
      for (const QualifiedName& one : {from, ofType == from ? none : ofType}) {
        if (one != none) batches.push_back(unboundFrom(now_, is.name, bind == kBindDefault, one));
      }
    };
    const UserType plain;
    if (type == nullptr) type = &plain;
    bind(kBindDefault, was.defaultValue->bound, is.defaultValue->bound, type->defaultValue);
    bind(kBindRule, *was.rule, *is.rule, type->rule);
    bind(kBindRule, *was.accessRule, *is.accessRule, type->accessRule);
    if (batches.empty()) return std::nullopt;
    const std::size_t at = planner_.add(Stage::bindings, difference, std::move(batches));
    if (needs) planner_.step(at).needs.push_back(*needs);
    return at;
  }

  /// Steps of which nothing is run touch nothing.
  void planColumns() {
    needDrop(identity_, isIdentity);
    needDrop(timestamp_, isTimestamp);
    std::erase_if(steps_.touched, [&](const auto& one) {
      if (planner_.step(one.second).isAllowed) return false;
      steps_.untouched.insert(one);
      return true;
    });
  }

  /// A column of which a table has one at most.
  struct OnlyOne {
    std::optional<std::size_t> drop, creation;
  };
  void needDrop(const OnlyOne& one, bool (*isSuch)(const Column&)) {
    if (!one.creation) return;
    if (one.drop) {
      planner_.step(*one.creation).needs.push_back(*one.drop);
    } else if (std::ranges::any_of(old_.columns, isSuch)) {
      planner_.forbid(*one.creation);
    }
  }

  Planner& planner_;
  const Change& change_;
  const Table& now_;
  const Table& old_;
  ColumnSteps steps_;
  OnlyOne identity_, timestamp_;
};

}  // namespace

ColumnSteps planColumns(const TablePair& pair) { return ColumnPlan(pair).plan(); }

}  // namespace kelvane::change_script
