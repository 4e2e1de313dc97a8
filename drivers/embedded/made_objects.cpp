#include "drivers/embedded/made_objects.h"

#include <algorithm>
#include <type_traits>
#include <variant>

#include "drivers/embedded/tsql/parser.h"

namespace kelvane::embedded {
namespace {

template <class Node>
constexpr bool kMakesObject =
    std::is_same_v<Node, tsql::CreateTable> || std::is_same_v<Node, tsql::CreateView> ||
    std::is_same_v<Node, tsql::CreatePrecomputed> || std::is_same_v<Node, tsql::CreateProcedure> ||
    std::is_same_v<Node, tsql::CreateFunction> || std::is_same_v<Node, tsql::CreateRule> ||
    std::is_same_v<Node, tsql::CreateDefault>;

}  // namespace

void MadeObjects::note(std::string_view file, const tsql::Batch& batch, Session& session) {
  try {
    const tsql::ParseOptions options = session.parseOptions();
    // The range of a statement with a stored text begins with the batch.
    const Origin origin{file, batch.firstLine, tsql::tokenize(batch.text, options).front().line};
    for (const auto& statement : tsql::parseBatch(batch.text, options))
      note(*statement, origin, session);
  } catch (const tsql::ServerError&) {
    return;  // it has made nothing, and the loader has said why
  }
}

void MadeObjects::note(const tsql::Statement& statement, const Origin& origin, Session& session) {
  const auto inside = [&](const tsql::StatementPtr& one) {
    if (one) note(*one, origin, session);
  };
  std::visit(
      [&]<class Node>(const Node& node) {
        if constexpr (kMakesObject<Node>) {
          note(node.name, std::max(statement.range.line, origin.least), origin, session);
        } else if constexpr (std::is_same_v<Node, tsql::If>) {
          inside(node.then);
          inside(node.otherwise);
        } else if constexpr (std::is_same_v<Node, tsql::Block> ||
                             std::is_same_v<Node, tsql::CreateSchema>) {
          std::ranges::for_each(node.statements, inside);
        }
      },
      statement.node);
}

void MadeObjects::note(const tsql::ObjectName& name, std::uint32_t line, const Origin& origin,
                       Session& session) {
  const auto object = server_.catalog.findObject(name, session.caller);
  if (!object) return;
  const std::string& database = name.database.empty() ? session.caller.database : name.database;
  made_[object->id] = {database, std::string(origin.file), origin.firstLine + line - 1};
}

std::vector<MadeObject> MadeObjects::all() const {
  std::vector<MadeObject> objects;
  for (const auto& [id, made] : made_) {
    if (!server_.catalog.databaseId(made.database)) continue;
    Session session(server_);
    session.enter(made.database);
    const auto object = server_.catalog.objectById(id);
    if (!object) continue;
    objects.push_back({made.database, object->type,
                       server_.catalog.userName(object->uid).value_or("") + "." + object->name,
                       made.file, made.line});
  }
  return objects;
}

}  // namespace kelvane::embedded
