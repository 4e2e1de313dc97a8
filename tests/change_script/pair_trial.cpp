#include "tests/change_script/pair_trial.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "inventory/ddl/statement.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::change_script {
namespace {

using inventory::Column;
using inventory::Kind;
using inventory::Table;
using Batches = std::vector<std::string>;

std::string scriptOf(const Batches& batches) {
  std::string text;
  for (const std::string& batch : batches) text += batch + "\ngo\n";
  return text;
}

embedded::EmbeddedCatalog catalogOf(const Batches& batches, Release release) {
  embedded::CatalogOptions options;
  options.release = release;
  embedded::EmbeddedCatalog catalog(options);
  load(catalog, scriptOf(batches));
  return catalog;
}

/// A scale may change, and the blanks of a char.
std::string trimmed(std::string text, bool isNumber) {
  text.erase(text.find_last_not_of(' ') + 1);
  if (isNumber && text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
  }
  return text;
}

/// The rows as lines, in the order of their texts.
Lines rowsOf(embedded::EmbeddedCatalog& catalog, const inventory::QualifiedName& table,
             const Lines& columns) {
  inventory::Statement select("select ", inventory::Quotes::brackets);
  std::string_view separator;
  for (const std::string& column : columns) {
    select << std::exchange(separator, ", ");
    select.name(column);
  }
  select << " from ";
  select.name(table);
  Lines lines;
  const auto connection = catalog.connect();
  const auto rows = connection->Open(toUtf16(select.text()), ado::kClientCursor);
  for (; !rows->EndOfRows(); rows->MoveNext()) {
    std::string line;
    for (std::int32_t at = 0; at < rows->FieldCount(); ++at) {
      const ado::Value& value = rows->Fields(at).Value();
      line += (value.isNull()
                   ? "-"
                   : trimmed(toUtf8(value.toText()), std::holds_alternative<ado::Decimal>(value))) +
              "|";
    }
    lines.push_back(std::move(line));
  }
  std::ranges::sort(lines);
  return lines;
}

template <class Record>
const Record* named(const std::vector<Record>& records, const auto& name) {
  const auto found = std::ranges::find(records, name, &Record::name);
  return found == records.end() ? nullptr : &*found;
}

/// Whether the values of a column have to be what they were.
bool keepsValues(const Column& was, const Column& is) {
  const auto& before = was.type.type;
  const auto& after = is.type.type;
  if (!was.computed.isDefault() || !is.computed.isDefault() || before.name == "timestamp")
    return false;
  return before == after || (before.name == after.name && before.owner->empty()) ||
         (before.name == "varchar" && after.name == "char");
}

class Faults {
 public:
  Faults(const MadePair& pair, const PairTrial& trial)
      : pair_(pair),
        trial_(trial),
        catalog_(catalogOf(pair.target, trial.release)),
        before_(catalogOf(pair.target, trial.release)) {
    auto source = catalogOf(pair.source, trial.release);
    source_ = inventory::readAll(*source.connect());
    target_ = inventory::readAll(*before_.connect());
  }

  Lines find() {
    script_ = planned(target_);
    text_ = textOf(script_);
    const Lines errors = load(catalog_, text_);
    result_ = inventory::readAll(*catalog_.connect());
    left_ = inventory::compare(source_, result_, everything());
    const bool isStopped = !errors.empty() && errors[0].find("message 20001:") != std::string::npos;
    if (isStopped) {
      for (const std::string& line :
           inventory::lines(inventory::compare(target_, result_, everything())))
        add("stopped and changed", line);
    } else {
      for (const std::string& error : errors) add("error", error);
      addLeft();
      addSecond();
      addRestart();
    }
    addRows(isStopped);
    addMissing();
    return std::move(faults_);
  }

  const std::string& text() const { return text_; }

 private:
  void add(const std::string& kind, const std::string& what) {
    faults_.push_back(kind + ": " + what);
  }
  ChangeScript planned(const Database& target) const {
    return plan(source_, target, inventory::compare(source_, target, everything()),
                optionsFor(trial_.release, trial_.allow));
  }
  bool allows(Danger danger) const { return allowed(trial_.allow).has(danger); }

  bool isSomethingNotDone() const {
    return !script_.omissions.empty() ||
           std::ranges::any_of(script_.steps, [](const Step& step) { return !step.isAllowed; });
  }
  /// The columns of a view are what those are that it selects.
  bool followsNotDone(const Change& change) const {
    return change.kind == Kind::view && change.attributes.empty() && isSomethingNotDone() &&
           std::ranges::all_of(change.parts,
                               [](const Change& part) { return part.kind == Kind::column; });
  }

  /// What is left must be said, by what is omitted or by a step that is not done.
  void addLeft() {
    for (const Change& change : left_) {
      const std::string name = change.name.substr(0, change.name.find(';'));
      const auto isNamed = [&](const auto& one) {
        return one.what.find(name) != std::string::npos;
      };
      const auto isNotDone = [&](const Step& step) {
        return !step.isAllowed && step.kind == change.kind &&
               (step.object == name || step.difference.find(name) != std::string::npos);
      };
      if (followsNotDone(change) || std::ranges::any_of(script_.omissions, isNamed) ||
          std::ranges::any_of(script_.steps, isNotDone))
        continue;
      for (const std::string& line : inventory::lines({change})) add("left", line);
    }
  }

  void addSecond() {
    for (const Step& step : planned(result_).steps) {
      if (!step.isAllowed || step.stage == Stage::checks) continue;
      if (step.kind == Kind::view && isSomethingNotDone()) continue;
      add("second", step.difference);
    }
  }

  /// Who allows all that is missing gets all but what is impossible.
  void addMissing() {
    std::string words = trial_.allow;
    for (const Step& step : script_.steps) words += "," + listed(step.missing);
    if (words.find_first_not_of(',') == std::string::npos || trial_.allow == "all") return;
    const ChangeScript more =
        plan(source_, target_, inventory::compare(source_, target_, everything()),
             optionsFor(trial_.release, words));
    for (const Step& step : more.steps) {
      if (!step.isAllowed && step.isPossible)
        add("still missing", listed(step.missing) + ": " + step.difference);
    }
  }

  void addRestart() {
    if (text_.find("sp_rename") != std::string::npos) return;
    const Batches batches = batchesOf(text_);
    if (batches.empty()) return;
    const std::size_t count = std::size_t{trial_.seed} * 7919U % batches.size();
    std::string done;
    for (std::size_t at = 0; at <= count; ++at) done += batches[at];
    auto catalog = catalogOf(pair_.target, trial_.release);
    load(catalog, done);
    for (const std::string& error : load(catalog, text_))
      add("restart", error + ", stopped behind " + batches[count]);
    const Database result = inventory::readAll(*catalog.connect());
    for (const std::string& line :
         inventory::lines(inventory::compare(result_, result, everything())))
      add("restart", line + ", stopped behind " + batches[count]);
  }

  void addRows(bool isStopped) {
    for (const Table& table : target_.tables) {
      const Table* now = named(result_.tables, table.name);
      if (now == nullptr) {
        if (isStopped || !allows(Danger::dropTable) || named(source_.tables, table.name) != nullptr)
          add("rows", "table " + inventory::shown(table.name) + " is gone");
        continue;
      }
      Lines columns;
      for (const Column& column : table.columns) {
        const Column* after = named(now->columns, column.name);
        if (after != nullptr) {
          if (keepsValues(column, *after)) columns.push_back(column.name);
        } else if (isStopped || (column.computed.isDefault() && !allows(Danger::dropColumn))) {
          add("rows", "column " + inventory::shown(table.name) + "." + column.name + " is gone");
        }
      }
      if (columns.empty()) continue;
      const Lines was = rowsOf(before_, table.name, columns);
      const Lines is = rowsOf(catalog_, table.name, columns);
      if (was != is)
        add("rows", inventory::shown(table.name) + ": " + ::testing::PrintToString(was) + " -> " +
                        ::testing::PrintToString(is));
    }
  }

  const MadePair& pair_;
  const PairTrial& trial_;
  embedded::EmbeddedCatalog catalog_, before_;
  Database source_, target_, result_;
  ChangeScript script_;
  std::string text_;
  std::vector<Change> left_;
  Lines faults_;
};

/// The first of them, without what tells one case from another.
std::string kindOf(const Lines& faults) {
  constexpr std::size_t kLength = 70;
  std::string kind = faults.empty() ? std::string() : faults[0];
  std::erase_if(kind, [](char letter) { return letter >= '0' && letter <= '9'; });
  return kind.substr(0, kLength);
}

/// All batches of both, each once.
Batches allOf(const MadePair& pair) {
  Batches all = pair.target;
  std::set<std::string> known(all.begin(), all.end());
  for (const std::string& batch : pair.source) {
    if (known.insert(batch).second) all.push_back(batch);
  }
  return all;
}

MadePair without(const MadePair& pair, const std::set<std::string>& batches) {
  MadePair less = pair;
  for (Batches* one : {&less.source, &less.target})
    std::erase_if(*one, [&](const std::string& batch) { return batches.contains(batch); });
  return less;
}

constexpr std::string_view kItemEnd = ",\n ";

Batches itemsOf(const MadePair& pair) {
  std::set<std::string> items;
  for (const Batches* one : {&pair.source, &pair.target}) {
    for (const std::string& batch : *one) {
      for (std::size_t at = 0; (at = batch.find(kItemEnd, at)) != std::string::npos; ++at)
        items.insert(batch.substr(at, batch.find(kItemEnd, at + 1) - at));
    }
  }
  return {items.begin(), items.end()};
}

MadePair withoutItem(const MadePair& pair, const std::string& item) {
  MadePair less = pair;
  for (Batches* one : {&less.source, &less.target}) {
    for (std::string& batch : *one) {
      if (const auto at = batch.find(item); at != std::string::npos) batch.erase(at, item.size());
    }
  }
  return less;
}

}  // namespace

Lines faultsOf(const MadePair& pair, const PairTrial& trial) {
  try {
    return Faults(pair, trial).find();
  } catch (const std::exception& failure) {
    return {std::string("exception: ") + failure.what()};
  }
}

MadePair reduced(MadePair pair, const PairTrial& trial) {
  const std::string kind = kindOf(faultsOf(pair, trial));
  const auto takes = [&](MadePair less) {
    if (kindOf(faultsOf(less, trial)) != kind) return false;
    pair = std::move(less);
    return true;
  };
  for (std::size_t size = allOf(pair).size() / 2; size > 0; size /= 2) {
    for (std::size_t at = 0;;) {
      const Batches all = allOf(pair);
      if (at >= all.size()) break;
      const auto first = all.begin() + static_cast<std::ptrdiff_t>(at);
      const auto last = all.begin() + static_cast<std::ptrdiff_t>(std::min(at + size, all.size()));
      if (!takes(without(pair, {first, last}))) at += size;
    }
  }
  for (const std::string& item : itemsOf(pair)) takes(withoutItem(pair, item));
  return pair;
}

std::string shown(const MadePair& pair, const PairTrial& trial) {
  std::string text = "release " + std::to_string(static_cast<int>(trial.release)) + ", --allow '" +
                     trial.allow + "'\n-- the target:\n" + scriptOf(pair.target) +
                     "-- the source:\n" + scriptOf(pair.source);
  Faults faults(pair, trial);
  const Lines found = faults.find();
  text += "-- the change script:\n" + faults.text() + "-- the faults:\n";
  for (const std::string& fault : found) text += fault + '\n';
  return text;
}

}  // namespace kelvane::change_script
