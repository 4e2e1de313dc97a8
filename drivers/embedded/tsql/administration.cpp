// Statements for administrators: keys, logins, and those without an effect on a catalog.
#include <algorithm>

#include "drivers/embedded/tsql/grammar.h"

namespace kelvane::tsql {

// `create`, `alter` and `drop encryption key`
StatementNode Parser::encryptionKey() {
  since(15);
  EncryptionKey key;
  key.action = at("create") ? KeyAction::Create : at("alter") ? KeyAction::Alter : KeyAction::Drop;
  take();
  expect("encryption");
  expect("key");
  if (at("dual") && at("master", 1)) {
    take();
    take();
    key.name.name = "dual master";
  } else {
    key.name = objectName();
  }
  while (keyClause(key)) {
  }
  return key;
}

bool Parser::keyClause(EncryptionKey& key) {
  const auto random = [&] {
    const bool isRandom = accept("random");
    if (!isRandom) expect("null");
    return isRandom;
  };
  if ((at("add") || at("drop")) && at("encryption", 1) && !at("key", 2)) {
    key.addsCopy = at("add");
    take();
    expect("encryption");
    while (keyClause(key)) {
    }
  } else if (accept("as") || at("default")) {
    const bool isNot = accept("not");
    expect("default");
    key.isDefault = !isNot;
  } else if (at("not") && at("default", 1)) {
    take();
    take();
    key.isDefault = false;
  } else if (at("modify") && at("owner", 1)) {
    take();
    take();
    key.newOwner = nameOrString();
  } else if (accept("for")) {
    if (accept("user")) {
      key.copyFor = nameOrString();
    } else {
      // Of an algorithm, there is one.
      if (!at("aes") && !at("recovery") && !at("login_association")) unexpected();
      take();
    }
  } else if (accept("keylength")) {
    key.bits = typeArgument();
  } else if (accept("init_vector")) {
    key.randomVector = random();
  } else if (accept("pad")) {
    key.randomPad = random();
  } else if (accept("passwd") || accept("passphrase")) {
    key.hasPassword = !accept("system_encr_passwd");
    if (key.hasPassword) password();
  } else if (at("master") && at("key", 1)) {
    take();
    take();
    key.masterKey = true;
  } else if (at("no") && at("dual_control", 1)) {
    take();
    take();
  } else if (accept("dual_control")) {
    key.dualControl = true;
  } else if (accept("modify") || at("recover") || at("regenerate") || at("static")) {
    key.others.push_back(atKind(TokenKind::Word) ? wordText() : std::string());
    if (accept("key") || accept("encryption")) key.others.back() += " key";
  } else {
    return accept("with") || accept("and") || acceptSymbol(",");
  }
  return true;
}

// Not kept.
void Parser::password() {
  if (atName()) {
    take();
  } else {
    constant();
  }
}

// `create login l with password p fullname 'x' default database d ...`
StatementNode Parser::createLogin() {
  since(15);
  expect("create");
  expect("login");
  CreateLogin login;
  login.name = nameOrString();
  expect("with");
  accept("encrypted");
  accept("encryption");
  expect("password");
  password();
  while (!endsStatement()) {
    if (accept("fullname")) {
      login.fullName = nameOrString();
    } else if (at("default") && at("database", 1)) {
      take();
      take();
      login.database = nameOrString();
    } else if ((at("default") && at("language", 1)) || at("language")) {
      accept("default");
      take();
      login.language = nameOrString();
    } else {
      const Token& first = peek();
      if (!atKind(TokenKind::Word)) unexpected();
      take();
      while (atKind(TokenKind::Word) && !endsStatement() && !at("fullname") && !at("default") &&
             !at("language")) {
        take();
      }
      login.others.emplace_back(from(first).in(text()));
      if (!atKind(TokenKind::Word) && !endsStatement()) take();
    }
    acceptSymbol(",");
  }
  return login;
}

// Statements whose first word names other things as well.
bool Parser::atUnreservedStatement() const {
  if (!atKind(TokenKind::Word)) return false;
  if (at("transfer")) return at("table", 1);
  if (at("mount") || at("unmount")) return at("database", 1);
  if (at("refresh")) return at("precomputed", 1);
  return atMerge();
}

bool Parser::atMerge() const {
  if (!at("merge")) return false;
  return at("into", 1) || (atName(1) && (at("using", 2) || at("as", 2) || at("using", 3)));
}

// The words that say what the statement does: `update statistics`, `create temporary database`.
std::string Parser::utilityVerb() {
  static constexpr std::string_view kActions[] = {"alter",  "create",   "delete",    "drop",
                                                  "update", "truncate", "deallocate"};
  static constexpr std::string_view kKinds[] = {"temporary", "archive", "inmemory", "global",
                                                "system"};
  struct Later {
    std::string_view first, second;
    int release;
  };
  static constexpr Later kLater[] = {
      {"alter", "login", 15},         {"alter", "precomputed", 15},   {"alter", "thread", 15},
      {"create", "inmemory", 15},     {"create", "login", 15},        {"create", "thread", 15},
      {"deallocate", "locator", 15},  {"drop", "login", 15},          {"drop", "thread", 15},
      {"refresh", "precomputed", 15}, {"reorg", "defrag", 15},        {"transfer", "table", 15},
      {"truncate", "lob", 15},        {"truncate", "precomputed", 15}};
  for (const Later& later : kLater) {
    if (at(later.first) && at(later.second, 1)) since(later.release);
  }
  if (at("alter") && at("database", 1) && at("set", 3) && at("encrypt", 4)) since(16);
  std::string verb = wordText();
  if (std::ranges::find(kActions, verb) == std::end(kActions)) {
    if (verb == "transfer" || verb == "mount" || verb == "unmount") verb += ' ' + wordText();
    if (verb != "refresh") return verb;
  }
  while (std::ranges::any_of(kKinds, [&](std::string_view kind) { return at(kind); })) take();
  verb += ' ' + wordText();
  const auto also = [&](std::string_view second) {
    if (accept(second)) verb += ' ' + std::string(second);
  };
  if (verb.ends_with(" login")) also("profile");
  if (verb.ends_with(" thread")) also("pool");
  if (verb.ends_with(" precomputed")) {
    expect("result");
    expect("set");
    verb += " result set";
  }
  return verb;
}

// Runs up to the next statement; that of a web service is its body, which a request executes.
StatementNode Parser::utilityStatement() {
  Utility result{utilityVerb()};
  if (result.verb == "create service") {
    while (!atKind(TokenKind::End)) take();
    return result;
  }
  const bool isNamed = result.verb == "create database" || result.verb == "create role";
  if (isNamed && !atNameOrString()) unexpected();
  if (atNameOrString() && (result.verb.find(' ') != std::string::npos)) {
    result.object = take().value();
    // Of an `alter`.
    if (result.verb.starts_with("alter ") && (at("drop") || at("set") || at("lock"))) take();
  }
  for (;;) {
    if (atSymbol("(")) skipParenthesized();
    const bool forLoad = at("load") && previous().reserved == "for";
    const bool setsVariable = result.verb == "create plan" && at("set") &&
                              previous().reserved == "and" && atKind(TokenKind::Variable, 1);
    if (endsStatement() && !forLoad && !setsVariable) return result;
    if (setsVariable) requireDeclared(peek(1));
    result.hasMore = true;
    take();
  }
}

}  // namespace kelvane::tsql
