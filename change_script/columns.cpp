// Steps for the columns of tables that stay.

#include <algorithm>
#include <utility>

#include "change_script/table_steps.h"
#include "change_script/types.h"
#include "inventory/ddl/tables.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

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
  ColumnType stored(Writing& writing, const ColumnType& type) {
    ColumnType base = type;
    if (const UserType* user = writing.userType(type.type)) base.type = user->base.type;
    return base;
  }

  void planColumn(const Change& part) {
    if (part.isOnlyInSource()) return planNewColumn(*std::get<const Column*>(part.source), part);
    const Column& was = *std::get<const Column*>(part.target);
    if (part.isOnlyInTarget()) {
      Statement drop = alter(old_);
      (drop << " drop ").name(was.name);
      const bool isComputed = !was.computed.isDefault();
      const std::size_t at =
          planner_.add(Stage::columns, described(change_, &part),
                       {guarded("exists (" + columnOf(old_, was.name) + ")", drop)},
                       isComputed ? std::vector<Danger>{} : std::vector{Danger::dropColumn});
      planner_.step(at).copiesData = true;
      planner_.end(&was, at);
      if (was.type.identity) identityDrop_ = at;
      steps_.touched[was.name] = at;
      return;
    }
    planChangedColumn(part, was, *std::get<const Column*>(part.source));
  }

  void planNewColumn(const Column& column, const Change& part) {
    const bool isComputed = !column.computed.isDefault();
    const bool needsValue = !isComputed && !column.type.nullable && !column.type.identity &&
                            column.defaultValue->text.empty();
    std::vector<Batch> batches = planner_.fromSource([&](Writing& writing) {
      Column added = column;
      if (needsValue) {
        DefaultValue value;
        value.text = placeholderOf(stored(writing, column.type).type);
        added.defaultValue = value;
      }
      const Statement text = columnText(writing, now_, added);
      Statement add = alter(old_);
      add << " add " << text.text();
      Batch batch = guarded("not exists (" + columnOf(old_, column.name) + ")", add);
      batch.quotedIdentifier = batch.quotedIdentifier || text.needsQuotedIdentifier();
      writing.add(Phase::tables, batch.text, {}, batch.quotedIdentifier);
    });
    if (needsValue) {
      Statement replace = alter(old_);
      (replace << " replace ").name(column.name) << " default null";
      batches.push_back(batchOf(replace));
    }
    const std::size_t at =
        planner_.add(Stage::columns, described(change_, &part), std::move(batches),
                     needsValue ? std::vector{Danger::nullToNotNull} : std::vector<Danger>{});
    planner_.step(at).copiesData = !column.type.nullable && !isComputed;
    steps_.comes[column.name] = at;
    if (column.type.identity) newIdentity_ = at;
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
      } else if (one.label == "default") {
        hasDefault = true;
      } else if (one.label == "rule" || one.label == "access rule") {
        hasBindings = true;
      } else {
        planner_.omit(difference, "no statement changes it in a table that has rows");
      }
    }
    if (hasDefault) planDefault(was, is, difference);
    const bool wasUser = !was.type.type.owner.isDefault() || !is.type.type.owner.isDefault();
    // A modification to or from a user-defined type takes what is bound along.
    Column unbound;
    unbound.name = was.name;
    if (modified && wasUser) {
      planBindings(unbound, is, difference, modified);
    } else if (hasDefault || hasBindings) {
      if (const auto at = planBindings(was, is, difference, {})) planner_.end(&was, *at);
    }
  }

  std::optional<std::size_t> planType(const Column& was, const Column& is,
                                      const std::string& difference) {
    const std::vector<Danger> dangers =
        dangersOf(stored(planner_.old(), was.type), stored(planner_.now(), is.type));
    if (!is.computed.isDefault() || std::ranges::count(dangers, Danger::rebuild) != 0) {
      planner_.omit(difference, "no statement changes it in a table that has rows");
      return std::nullopt;
    }
    std::vector<Batch> batches = planner_.fromSource([&](Writing& writing) {
      Column modified;
      modified.name = was.name;
      modified.type = is.type;
      const Statement text = columnText(writing, now_, modified);
      Statement modify = alter(old_);
      modify << " modify " << text.text();
      writing.add(Phase::tables, guarded(asItWas(was, is), modify).text, {},
                  modify.needsQuotedIdentifier() || text.needsQuotedIdentifier());
    });
    for (const Danger danger : dangers) {
      const ColumnType to = stored(planner_.now(), is.type);
      if (auto check = checkOf(old_.name, was.name, danger, to.type))
        batches.insert(batches.begin(), *std::move(check));
    }
    const std::size_t at = planner_.add(Stage::columns, difference, std::move(batches), dangers);
    planner_.step(at).copiesData =
        copiesData(stored(planner_.old(), was.type), stored(planner_.now(), is.type));
    planner_.end(&was, at);
    steps_.touched[was.name] = at;
    steps_.comes[was.name] = at;
    return at;
  }

  /// A modification that changes nothing is an error.
  std::string asItWas(const Column& was, const Column& is) const {
    const DataType& from = was.type.type;
    const DataType& to = is.type.type;
    std::string text =
        "exists (select 1 from syscolumns c, systypes t\n    where c.id = " + idOf(old_.name) +
        " and c.name = " + literal(was.name) + " and c.usertype = t.usertype and ";
    if (from.name != to.name || from.owner != to.owner) {
      constexpr std::string_view kUnsigned = "unsigned ";
      text += "t.name = " + literal(from.name.starts_with(kUnsigned)
                                        ? "u" + from.name.substr(kUnsigned.size())
                                        : from.name);
      if (!from.owner.isDefault()) text += " and t.uid = user_id(" + literal(*from.owner) + ")";
    } else if (was.type.nullable != is.type.nullable) {
      text += std::string("c.status & 8 = ") + (was.type.nullable ? "8" : "0");
    } else if (from.precision != to.precision) {
      text += "c.prec = " + std::to_string(from.precision.value_or(0));
    } else if (from.scale != to.scale) {
      text += "c.scale = " + std::to_string(from.scale.value_or(0));
    } else {
      text += "c.length = " + std::to_string(from.length.value_or(1));
      if (from.name.starts_with("uni")) text += " * @@unicharsize";
      if (from.name.starts_with("n")) text += " * @@ncharsize";
    }
    return text + ")";
  }

  void planDefault(const Column& was, const Column& is, const std::string& difference) {
    if (was.defaultValue->text == is.defaultValue->text) return;
    if (is.defaultValue->text == "null" || is.defaultValue->text == "NULL")
      return planner_.omit(difference, "the statement for it takes the default away");
    Statement replace = alter(old_);
    (replace << " replace ").name(was.name)
        << " default " << (is.defaultValue->text.empty() ? "null" : is.defaultValue->text);
    planner_.add(Stage::columns, difference, {batchOf(replace)});
  }

  std::optional<std::size_t> planBindings(const Column& was, const Column& is,
                                          const std::string& difference,
                                          std::optional<std::size_t> needs) {
    std::vector<Batch> batches;
    const std::string column = argument({now_.name.name, is.name});
    const std::string user = Writing::userFor(now_.name.owner);
    const auto bind = [&](std::string_view unbind, std::string_view bind, const QualifiedName& from,
                          const QualifiedName& to) {
      if (from == to) return;
      if (to == QualifiedName{})
        return batches.push_back(callOf("exec " + std::string(unbind) + " " + column, user));
      batches.push_back(callOf(
          "exec " + std::string(bind) + " " + argument({to.owner, to.name}) + ", " + column, user));
    };
    bind("sp_unbindefault", "sp_bindefault", was.defaultValue->bound, is.defaultValue->bound);
    bind("sp_unbindrule", "sp_bindrule", *was.rule, *is.rule);
    bind("sp_unbindrule", "sp_bindrule", *was.accessRule, *is.accessRule);
    if (batches.empty()) return std::nullopt;
    const std::size_t at = planner_.add(Stage::bindings, difference, std::move(batches));
    if (needs) planner_.step(at).needs.push_back(*needs);
    return at;
  }

  /// Steps of which nothing is run touch nothing.
  void planColumns() {
    if (identityDrop_ && newIdentity_) planner_.step(*newIdentity_).needs.push_back(*identityDrop_);
    std::erase_if(steps_.touched,
                  [&](const auto& one) { return !planner_.step(one.second).isAllowed; });
  }

  Planner& planner_;
  const Change& change_;
  const Table& now_;
  const Table& old_;
  ColumnSteps steps_;
  std::optional<std::size_t> identityDrop_, newIdentity_;
};

}  // namespace

ColumnSteps planColumns(const TablePair& pair) { return ColumnPlan(pair).plan(); }

}  // namespace kelvane::change_script
