// Steps for what is made whole, new or again: it is written as a database is.

#include <map>
#include <set>
#include <utility>

#include "change_script/planner.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// What is created as a value, and only once.
void guardValue(const ScriptedObject& object, Batch& batch) {
  const bool isCreation =
      object.kind == Kind::rule || object.kind == Kind::defaultObject
          ? batch.isText
          : object.kind == Kind::encryptionKey && batch.text.starts_with("create ");
  if (!isCreation) return;
  const std::size_t dot = object.name.find('.');
  batch.text = "if " + idOf({object.name.substr(0, dot), object.name.substr(dot + 1)}) +
               " is null\n    exec(" + literal(batch.text) + ")";
  batch.isText = false;
}

}  // namespace

/// What is dropped comes back with all that belongs to it, or stays.
void Planner::linkMade(const ScriptedObject& object, std::size_t first, const Texts& texts) {
  const std::vector<Step>& steps = script_.steps;
  std::size_t creation = first;
  const Stage stage = object.kind == Kind::type ? Stage::values : Stage::compiled;
  while (creation < steps.size() && steps[creation].stage != stage) ++creation;
  if (creation == steps.size()) return;
  for (std::size_t at = first; at < steps.size(); ++at) {
    if (at != creation) step(at).needs.push_back(creation);
  }
  if (const auto drop = dropsForMade_.find({object.kind, object.name}); drop != dropsForMade_.end())
    needEachOther(drop->second, creation);
  if (const auto types = usersOfTypes_.find({object.kind, object.name});
      types != usersOfTypes_.end()) {
    for (const std::size_t type : types->second) step(type).needs.push_back(creation);
  }
  if (const auto types = madeForTypes_.find({object.kind, object.name});
      types != madeForTypes_.end())
    step(creation).needs.insert(step(creation).needs.end(), types->second.begin(),
                                types->second.end());
  const auto found = texts.find({object.kind, object.name});
  if (found == texts.end()) return;
  for (const Definition* text : found->second) useText(creation, *text);
  // Procedures may call what is missing.
  if (object.kind != Kind::procedure)
    provide(object.name.substr(object.name.find('.') + 1), {}, creation);
}

/// What cannot be made is not dropped either.
void Planner::forbidMade(const ScriptedObject& object, std::size_t first) {
  for (std::size_t at = first; at < script_.steps.size(); ++at) forbid(at);
  if (const auto drop = dropsForMade_.find({object.kind, object.name}); drop != dropsForMade_.end())
    forbid(drop->second);
}

Planner::Texts Planner::textsOfMade() const {
  Texts texts;
  const auto add = [&](Kind kind, const auto& records) {
    for (const auto& one : records) texts[{kind, shown(one.name)}].push_back(&one.definition);
  };
  add(Kind::view, made_.views);
  add(Kind::function, made_.functions);
  add(Kind::procedure, made_.procedures);
  return texts;
}

/// What is made whole is written as a database is; types are there to be found by columns.
void Planner::planMade() {
  made_.server = source_.server;
  std::set<std::string> isMade;
  for (const UserType& type : made_.types) isMade.insert(shown(type.name));
  for (const UserType& type : source_.types) {
    if (!isMade.contains(shown(type.name))) made_.types.push_back(type);
  }
  Script script = scriptOf(made_, options_.release, source_);
  const Texts texts = textsOfMade();
  // A member of a group of procedures stands for all of it.
  std::set<std::string> leftOut;
  for (const Omission& one : script.omissions)
    leftOut.insert(one.what.substr(0, one.what.find(';')));
  std::map<std::pair<Kind, std::string>, std::size_t> firsts;
  for (ScriptedObject& object : script.objects) {
    if (object.kind == Kind::type && !isMade.contains(object.name)) continue;
    const auto reason = reasons_.find({object.kind, object.name});
    begin(object.kind, object.name);
    std::map<Stage, std::vector<Batch>> stages;
    std::set<std::string> users;
    for (Batch& batch : object.batches) {
      guardValue(object, batch);
      if (!batch.user.empty()) users.insert(batch.user);
      std::vector<Batch>& batches = stages[stageOf(batch.phase)];
      if (auto drops = dropsBefore_.extract({object.kind, object.name}); !drops.empty())
        batches = std::move(drops.mapped());
      batches.push_back(std::move(batch));
    }
    const std::size_t first = script_.steps.size();
    firsts.emplace(std::pair(object.kind, object.name), first);
    for (auto& [stage, batches] : stages)
      add(stage, reason == reasons_.end() ? object.name : reason->second, std::move(batches));
    for (std::size_t at = first; at < script_.steps.size(); ++at) {
      for (const std::string& user : users) needMade(at, Kind::user, user);
    }
    linkMade(object, first, texts);
    if (leftOut.contains(titleOf(object.kind, object.name))) forbidMade(object, first);
  }
  for (const NeedOfMade& one : needsOfMade_) {
    if (const auto found = firsts.find(one.made); found != firsts.end())
      step(one.step).needs.push_back(found->second);
  }
  for (Omission& one : script.omissions) script_.omissions.push_back(std::move(one));
}

}  // namespace kelvane::change_script
