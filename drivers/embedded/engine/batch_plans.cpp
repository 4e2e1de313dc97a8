// The plans of a batch: making them, keeping them, running them.

#include <algorithm>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/globals.h"

namespace kelvane::embedded {

using namespace tsql;

TranslationContext BatchRun::context() const {
  TranslationContext context{server_.catalog, session_.caller, session_.temporaries, variables_};
  context.beforeRun = compiling_;
  context.rowLimit = session_.options.rowLimit;
  context.systemColumns = &server_.systemColumns;
  context.ansiNull = session_.options.ansiNull;
  context.stringRtruncation = session_.options.stringRtruncation;
  context.rowRules = &server_.rowRules;
  context.tableColumns = &server_.tableColumns;
  context.namesVersion = server_.namesVersion();
  if (compiling_) context.createdLater = &createdLater_;
  context.identityInsert = writesIdentity();
  context.texts = batch_->texts;
  return context;
}

bool BatchRun::writesIdentity() const {
  const auto* insert = current_ == nullptr ? nullptr : std::get_if<Insert>(&current_->node);
  const std::string& table =
      compiling_ ? identityInsertTable_ : session_.options.identityInsertTable;
  return insert != nullptr && table == insert->table.name;
}

Circumstances BatchRun::circumstances() const {
  const SessionOptions& options = session_.options;
  return {server_.namesVersion(), session_.caller.uid, session_.caller.database, options.rowLimit,
          writesIdentity(),       options.ansiNull,    options.stringRtruncation};
}

bool BatchRun::serves(const Prepared& prepared, const Circumstances& now) const {
  const Plan& plan = prepared.plan;
  return prepared.made == now &&
         std::ranges::all_of(plan.assumptions,
                             [&](const NullAssumption& assumption) {
                               const auto found = variables_.find(assumption.variable);
                               return found != variables_.end() &&
                                      isNull(found->second.value) == assumption.isNull;
                             }) &&
         std::ranges::all_of(plan.temporaries, [&](const TemporaryUse& use) {
           const auto found = session_.temporaries.find(use.name);
           return found != session_.temporaries.end() && found->second.definition == use.definition;
         });
}

// A plan is kept with its place in the tree and used again while nothing it was made from changed.
Prepared& BatchRun::prepared(const void* key, const Translate& translate) {
  // A node with more is one whose plans no longer serve.
  constexpr std::size_t kMostPlans = 4;
  const Circumstances now = circumstances();
  NodePlans& kept = plans_[key];
  const auto found =
      std::ranges::find_if(kept, [&](const Prepared& one) { return serves(one, now); });
  if (found != kept.end()) return *found;
  const TranslationContext made = context();
  Translator translator(made);
  Plan plan = translate(translator);
  if (kept.size() >= kMostPlans || (!kept.empty() && kept.front().made != now)) {
    for (Prepared& one : kept) giveBack(one);
    kept.clear();
  }
  kept.push_back({std::move(plan), now, {}});
  return kept.back();
}

void BatchRun::giveBack(Prepared& prepared) {
  if (!prepared.statement) return;
  server_.giveBack(prepared.plan.sql, std::move(*prepared.statement));
  prepared.statement.reset();
}

void BatchRun::giveBackStatements() {
  for (auto& [key, kept] : plans_) {
    for (Prepared& prepared : kept) giveBack(prepared);
  }
}

void BatchRun::limitPlans() {
  constexpr std::size_t kMostPlans = 1000;
  if (plans_.size() <= kMostPlans) return;
  giveBackStatements();
  plans_.clear();
}

void BatchRun::returnPlans() {
  giveBackStatements();
  for (auto& [key, kept] : plans_) {
    std::erase_if(kept, [](const Prepared& prepared) { return prepared.plan.holdsTexts; });
  }
  batch_->plans = std::move(plans_);
}

Cell BatchRun::parameterValue(const Parameter& parameter, const Row* bound,
                              const ParsedBatch& batch) const {
  switch (parameter.source) {
    case Parameter::Source::Variable:
      return variables_.at(parameter.name).value;
    case Parameter::Source::Global:
      return globalVariable(parameter.name, session_);
    case Parameter::Source::Text:
      return batch.texts[parameter.position];
    case Parameter::Source::Literal:
    case Parameter::Source::Number:
    case Parameter::Source::Real:
      return constantValue(parameter).value();
    case Parameter::Source::Bound:
      return bound->at(parameter.position);
    case Parameter::Source::Written:
      return std::int64_t{session_.firing != nullptr &&
                          std::ranges::count(session_.firing->trigger.written, parameter.name) !=
                              0};
    case Parameter::Source::Session:
      break;
  }
  return sessionFact(parameter.name);
}

Cell BatchRun::sessionFact(std::string_view name) const {
  if (name == "uid") return std::int64_t{session_.caller.uid};
  if (name == "database") return session_.caller.database;
  const Client& client = session_.client();
  if (name == "login") return session_.login();
  return name == "host" ? client.host : client.process;
}

void BatchRun::bind(Prepared& prepared, const Row* bound) { bind(prepared, bound, *batch_); }

void BatchRun::bind(Prepared& prepared, const Row* bound, const ParsedBatch& batch) {
  if (!prepared.statement) {
    prepared.statement = server_.statement(prepared.plan.sql);
  }
  prepared.statement->reset();
  // A parameter may have vanished from the text with the comparison that it was in.
  const auto used = std::min(prepared.plan.parameters.size(),
                             static_cast<std::size_t>(prepared.statement->parameterCount()));
  for (std::size_t i = 0; i < used; ++i) {
    prepared.statement->bind(static_cast<int>(i) + 1,
                             parameterValue(prepared.plan.parameters[i], bound, batch));
  }
}

bool BatchRun::step(Prepared& prepared) {
  struct Counted {
    bool& counted;
    ~Counted() { counted = false; }
  } counted{server_.running.counted};
  counted.counted = true;
  return prepared.statement->step();
}

std::int64_t BatchRun::execute(Prepared& prepared, const Row* bound) {
  bind(prepared, bound);
  while (step(prepared)) {
  }
  const std::int64_t rows = server_.catalog.store().changes();
  giveBack(prepared);
  return rows;
}

}  // namespace kelvane::embedded
