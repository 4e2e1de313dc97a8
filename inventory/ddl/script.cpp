#include "inventory/ddl/script.h"

#include <algorithm>

#include "inventory/ddl/batch_lines.h"
#include "inventory/ddl/statement.h"

namespace kelvane::inventory {
namespace {

/// How a text that ends within a line keeps its end.
enum class TextEnds : std::uint8_t { byStatement, byMark };

/// The text as literals, of which none has a line that isql takes for a command.
std::string execution(std::string_view text) {
  std::string all = "exec(";
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size(); at = nextLine(text, at)) {
    if (at == 0 || !isCommand(lineAt(text, at))) continue;
    all += literal(text.substr(begin, at - begin)) + " + ";
    begin = at;
  }
  return all + literal(text.substr(begin)) + ")";
}

/// Writes batches, and between them what the session has to be for the next one.
class Session {
 public:
  Session(std::ostream& out, TextEnds ends) : out_(out), ends_(ends) {}

  void run(const Batch& batch) {
    // The longest literal that all releases take.
    constexpr std::size_t kLongestLiteral = 16000;
    const bool endsWithin = batch.isText && !batch.text.ends_with('\n');
    const bool isMarked = endsWithin && ends_ == TextEnds::byMark;
    become(batch.user, batch.quotedIdentifier);
    if (batch.isText && batch.text.size() < kLongestLiteral &&
        ((endsWithin && !isMarked) || hasCommand(batch.text)))
      return end(execution(batch.text));
    if (isMarked) end(kEndsWithinLine);
    // An empty line before it would be kept too.
    end(batch.text, batch.isText ? "" : "\n");
    // What follows a marked text is a script of its own.
    if (isMarked) finish();
  }
  void begin(Phase phase) {
    finish();
    end(headingOf(phase));
  }
  void finish() { become({}, false); }

 private:
  void become(const std::string& user, bool quotedIdentifier) {
    if (user != user_) {
      // A user who is not the owner of the database cannot become another one.
      if (!user_.empty()) end("setuser");
      if (!user.empty()) end("setuser " + literal(user));
      user_ = user;
    }
    if (quotedIdentifier != quotedIdentifier_) {
      end(quotedIdentifier ? kQuotedIdentifierOn : "set quoted_identifier off");
      quotedIdentifier_ = quotedIdentifier;
    }
  }
  void end(std::string_view text, std::string_view before = "\n") {
    out_ << before << text;
    if (!text.ends_with('\n')) out_ << '\n';
    out_ << "go\n";
  }

  std::ostream& out_;
  TextEnds ends_;
  std::string user_;
  bool quotedIdentifier_ = false;
};

}  // namespace

void addStatementIfNone(Script& script) {
  const auto isStatement = [](const Batch& batch) {
    return batch.isText || !batch.text.starts_with("-- ");
  };
  const bool hasAny = std::ranges::any_of(script.objects, [&](const ScriptedObject& one) {
    return std::ranges::any_of(one.batches, isStatement);
  });
  if (hasAny) return;
  const auto isDatabase = [](const ScriptedObject& one) { return one.kind == Kind::database; };
  auto database = std::ranges::find_if(script.objects, isDatabase);
  if (database == script.objects.end())
    database = script.objects.insert(database, {Kind::database, "database", "database.sql", {}});
  database->batches.push_back({Phase::settings,
                               "-- Nothing is declared; a script needs a statement.\n"
                               "declare @nothing int",
                               {},
                               false,
                               false});
}

std::string folderOf(Kind kind) {
  std::string folder(rowOf(kind).plural);
  std::ranges::replace(folder, ' ', '-');
  return folder;
}

void write(const Script& script, std::ostream& out,
           const std::function<void(std::size_t object)>& begin) {
  Session session(out, TextEnds::byStatement);
  std::vector<std::size_t> next(script.objects.size(), 0);
  for (auto phase = Phase::settings; phase <= Phase::closing;
       phase = static_cast<Phase>(static_cast<int>(phase) + 1)) {
    for (std::size_t at = 0; at < script.objects.size(); ++at) {
      const std::vector<Batch>& batches = script.objects[at].batches;
      const bool hasBatches = next[at] < batches.size() && batches[next[at]].phase == phase;
      if (begin && hasBatches) begin(at);
      for (; next[at] < batches.size() && batches[next[at]].phase == phase; ++next[at])
        session.run(batches[next[at]]);
    }
  }
  session.finish();
}

void write(const ScriptedObject& object, std::ostream& out) {
  Session session(out, TextEnds::byMark);
  Phase phase = usualPhase(object.kind);
  for (const Batch& batch : object.batches) {
    if (batch.phase != phase) session.begin(batch.phase);
    phase = batch.phase;
    session.run(batch);
  }
  session.finish();
}

}  // namespace kelvane::inventory
