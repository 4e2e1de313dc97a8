#include "drivers/embedded/script.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <fstream>
#include <optional>
#include <system_error>

#include "drivers/embedded/encoding.h"
#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/batch_cache.h"
#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/made_objects.h"
#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/parser.h"
#include "drivers/embedded/tsql/scan.h"
#include "drivers/embedded/tsql/script.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {
namespace {

namespace fs = std::filesystem;

// The rest of the line, without the blanks around it.
std::string_view lineFrom(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  text = text.substr(0, text.find('\n'));
  text = text.substr(0, text.find_last_not_of(kBlanks) + 1);
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

std::string_view lineAt(std::string_view text, std::uint32_t line) {
  for (std::uint32_t current = 1; current < line; ++current) {
    const auto end = text.find('\n');
    if (end == std::string_view::npos) return {};
    text.remove_prefix(end + 1);
  }
  return lineFrom(text);
}

// With stars in the place of passwords: of the text or word behind such a word. A call of a
// procedure that takes one ends with its name.
std::string withoutPasswords(std::string_view line) {
  constexpr std::string_view kWords[] = {"passwd", "password", "passphrase"};
  constexpr std::string_view kProcedures[] = {
      "sp_addlogin",  "sp_password",   "sp_addexternlogin",   "sp_addremotelogin",
      "sp_companion", "sp_encryption", "sp_config_rep_agent", "sp_ha_admin",
      "sp_ldapadmin", "sp_ssladmin",   "sp_passwordpolicy",   "sp_replication_path"};
  constexpr std::string_view kStars = "***";
  bool hidesNext = false;
  std::string shown;
  for (std::size_t at = 0; at < line.size();) {
    const char c = line[at];
    std::size_t end = at + 1;
    const auto belongs = [](unsigned char letter) {
      return std::isalnum(letter) != 0 || letter == '_' || letter >= 0x80;
    };
    if (c == '\'' || c == '"') {
      end = std::min(tsql::endOfQuoted(line, at, c), line.size());
      const std::string_view text = line.substr(at, end - at);
      shown += hidesNext ? c + std::string(kStars) + c : std::string(text);
      hidesNext = false;
    } else if (belongs(static_cast<unsigned char>(c))) {
      while (end < line.size() && belongs(static_cast<unsigned char>(line[end]))) ++end;
      const std::string word = tsql::lowerCase(line.substr(at, end - at));
      const bool isWord = std::ranges::find(kWords, word) != std::end(kWords);
      shown += hidesNext && !isWord ? kStars : line.substr(at, end - at);
      hidesNext = isWord;
      const bool takesPassword = std::ranges::find(kProcedures, word) != std::end(kProcedures);
      if (takesPassword) return shown + " ...";
    } else {
      shown += c;
    }
    at = end;
  }
  return shown;
}

// Where the statements of a batch begin, found when a message asks for it.
class StatementLines {
 public:
  StatementLines(std::string_view batch, tsql::ParseOptions options)
      : batch_(batch), options_(options) {}

  // The first line of the statement that `line` belongs to, where several are on it of the one with
  // so many statements left; `line` itself in a batch that is not understood.
  std::string firstLineOf(std::uint32_t line, std::size_t left) {
    if (!known_) read();
    if (left != 0 && left <= begins_.size()) {
      const auto running = begins_.end() - static_cast<std::ptrdiff_t>(left);
      const bool isBefore = running + 1 == begins_.end() || line <= (running + 1)->line;
      if (running->line <= line && isBefore) {
        return withoutPasswords(lineFrom(batch_.substr(running->at)));
      }
    }
    const auto after = std::ranges::upper_bound(begins_, line, {}, &Begin::line);
    if (after != begins_.begin()) return withoutPasswords(lineFrom(batch_.substr((after - 1)->at)));
    // The line may hold the password of a statement that began before it.
    return std::string(lineAt(withoutPasswords(batch_), line));
  }

 private:
  struct Begin {
    std::uint32_t line;
    std::uint32_t at;
  };

  void read() {
    known_ = true;
    try {
      // The range of a statement with a stored text begins with the batch.
      const tsql::Token first = tsql::tokenize(batch_, options_).front();
      for (const auto& statement : tsql::parseBatch(batch_, options_)) {
        begins_.push_back({std::max(statement->range.line, first.line),
                           std::max(statement->range.begin, first.begin)});
      }
    } catch (const tsql::ServerError&) {
      begins_.clear();
    }
  }

  std::string_view batch_;
  tsql::ParseOptions options_;
  bool known_ = false;
  std::vector<Begin> begins_;
};

// A loop may say the same without end.
constexpr std::size_t kMostNotes = 10'000;

// Sorts what the batches say into errors and notes, with lines of the file.
class ScriptOutcome final : public Outcome {
 public:
  ScriptOutcome(LoadReport& report, std::string_view name, const LoadOptions& options)
      : report_(report), name_(name), options_(options) {}

  void enter(const tsql::Batch& batch, const Session& session) {
    batch_ = &batch;
    session_ = &session;
    lines_.emplace(batch.text, session.parseOptions());
  }

  void beginRows(const std::vector<ResultColumn>&) override {}
  void row(Row) override {}
  void count(std::int64_t) override {}
  void notice(const Notice& notice) override {
    const bool listed = notice.ignored && options_.listIgnored;
    if (!notice.isError() && !listed && notice.withoutColumns.empty()) return;
    const std::uint32_t line = notice.line == 0 ? 1 : notice.line;
    ScriptNote note{std::string(name_), batch_->firstLine + line - 1, notice.message.number,
                    notice.message.text, lines_->firstLineOf(line, session_->statementsLeft)};
    if (!notice.withoutColumns.empty()) {
      report_.incomplete.push_back(
          {session_->caller.database, notice.withoutColumns, std::move(note)});
      return;
    }
    auto& notes = notice.alreadyGone || listed ? report_.notes : report_.errors;
    if (notes.size() > kMostNotes) return;
    if (notes.size() == kMostNotes)
      note = {note.file, note.line, 0, "further messages are not listed", ""};
    notes.push_back(std::move(note));
  }

 private:
  LoadReport& report_;
  std::string_view name_;
  const LoadOptions& options_;
  const tsql::Batch* batch_ = nullptr;
  const Session* session_ = nullptr;
  std::optional<StatementLines> lines_;
};

class FailureOutcome final : public Outcome {
 public:
  void beginRows(const std::vector<ResultColumn>&) override {}
  void row(Row) override {}
  void count(std::int64_t) override {}
  void notice(const Notice& notice) override { failed = failed || notice.isError(); }

  bool failed = false;
};

// Creates a view once more that was kept without its columns. True if that leaves none to know.
bool completed(Server& server, const ViewWithoutColumns& kept) {
  Catalog& catalog = server.catalog;
  if (!catalog.databaseId(kept.database)) return true;
  Session session(server);
  session.enter(kept.database);
  const auto point = kept.view.find('.');
  tsql::ObjectName name;
  name.owner = kept.view.substr(0, point);
  name.name = kept.view.substr(point + 1);
  const auto view = catalog.findObject(name, session.caller);
  if (!view || view->type != "V" || !catalog.columns(view->id).empty()) return true;
  const SourceText source = catalog.source(view->id);
  const auto batch = parsedAlone(source.text, source.options());
  if (batch->statements.empty()) return false;
  auto* definition = std::get_if<tsql::CreateView>(&batch->statements.front()->node);
  if (definition == nullptr) return false;
  definition->orReplace = true;
  session.caller.uid = view->uid;
  FailureOutcome outcome;
  BatchRun run(session, batch, outcome);
  if (run.compile()) run.run();
  return !outcome.failed;
}

void refuse(LoadReport& report, std::string_view name, std::string text) {
  report.errors.push_back({std::string(name), 0, 0, std::move(text), ""});
  report.readable = false;
}

constexpr std::string_view kNothing = "contains no statements";

// Runs a script and adds to the report; false when it contains no statements.
class Loader {
 public:
  Loader(EmbeddedCatalog& catalog, const LoadOptions& options)
      : server_(catalog.server()), options_(options) {}

  void begin(std::string_view name, std::size_t number, std::size_t files) {
    at_ = {name, number, files};
    tell(0);
  }

  bool run(std::string_view name, std::string_view text) {
    std::string converted;
    std::vector<tsql::Batch> batches;
    try {
      tsql::requireText(text);
      if (!isUtf8(text)) {
        converted = utf8FromWindows1252(text);
        text = converted;
        report.notes.push_back({std::string(name), 0, 0, "is not UTF-8; read as Windows-1252", ""});
      }
      if (text.find('\n') == text.npos && text.find('\r') != text.npos) {
        converted = text;
        std::ranges::replace(converted, '\r', '\n');
        text = converted;
      }
      batches = tsql::splitScript(text);
    } catch (const tsql::ScriptError& error) {
      refuse(report, name, error.what());
      return true;
    }
    return runBatches(name, text, batches);
  }

  // Several scripts. textOf(number) is none when it cannot be read, which is then in the report.
  template <class NameOf, class TextOf>
  void runAll(std::size_t scripts, NameOf nameOf, TextOf textOf) {
    bool ranAnything = false;
    for (std::size_t at = 0; at < scripts && !stopped(); ++at) {
      const std::string name = nameOf(at);
      begin(name, at + 1, scripts);
      const auto text = textOf(at);
      if (!text) break;
      if (run(name, *text)) {
        ranAnything = true;
      } else {
        report.notes.push_back({name, 0, 0, std::string(kNothing), ""});
      }
    }
    if (!ranAnything && !stopped()) {
      for (std::size_t at = 0; at < scripts; ++at)
        refuse(report, nameOf(at), std::string(kNothing));
    }
    finish();
  }

  void finish() {
    if (stopped()) return;
    completeViews();
    if (options_.listMade) report.made = made_.all();
  }

  bool stopped() const {
    return !report.readable || (options_.stopAtFirstError && !report.errors.empty());
  }

  LoadReport report;

 private:
  // The databases that they use may have come behind them, and views over such views too.
  void completeViews() {
    const auto isCompleted = [&](const ViewWithoutColumns& kept) {
      return completed(server_, kept);
    };
    while (std::erase_if(report.incomplete, isCompleted) > 0) {
    }
  }

  bool goesOn(const Session& session) const { return !stopped() && !session.ended; }

  void tell(std::size_t percent) {
    at_.percent = static_cast<int>(percent);
    if (options_.progress) options_.progress(at_);
  }

  bool runBatches(std::string_view name, std::string_view text,
                  const std::vector<tsql::Batch>& batches) {
    ScriptOutcome outcome(report, name, options_);
    Session session(server_);
    session.acceptsAnyDatabase = true;
    session.caller.database = server_.database;
    bool ranAnything = false;
    for (const tsql::Batch& batch : batches) {
      for (const tsql::Batch& part : tsql::splitAtSemicolons(batch)) {
        outcome.enter(part, session);
        server_.steps.begin();
        for (std::uint32_t run = 0; run < part.repeat && goesOn(session) && !server_.steps.ranOut();
             ++run) {
          tell(static_cast<std::size_t>(part.text.data() - text.data()) * 100 / text.size());
          ranAnything = session.run(part.text, outcome) || ranAnything;
        }
        if (options_.listMade) made_.note(name, part, session);
        if (!goesOn(session)) break;
      }
      if (!goesOn(session)) break;
    }
    if (session.transactions.hasChanges()) {
      report.undone.push_back({std::string(name), 0, 0,
                               "a transaction is still open at the end of the script, which undoes "
                               "what it changed; end it with 'commit'",
                               ""});
    }
    server_.database = session.caller.database;
    return ranAnything;
  }

  Server& server_;
  const LoadOptions& options_;
  MadeObjects made_{server_};
  LoadProgress at_;
};

std::string lastError() {
  return "cannot be read: " + std::error_code(errno, std::generic_category()).message();
}

// The bytes of a file; none when it cannot be read, which is then in the report.
std::optional<std::string> contentOf(const fs::path& file, LoadReport& report) {
  std::string content;
  // What is no regular file has no size to know.
  std::error_code noSize;
  if (const auto size = fs::file_size(file, noSize); !noSize) content.reserve(size);
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  std::array<char, 1 << 16> piece;
  while (stream.read(piece.data(), piece.size()) || stream.gcount() > 0) {
    content.append(piece.data(), static_cast<std::size_t>(stream.gcount()));
  }
  if (!stream.eof() || stream.bad()) {
    refuse(report, file.string(), lastError());
    return std::nullopt;
  }
  return content;
}

bool isHidden(const fs::path& path) { return path.filename().string().starts_with('.'); }

bool isScript(const fs::path& path) {
  return tsql::equalsIgnoringCase(path.extension().string(), ".sql");
}

// Whether a link within `folder` leads to a folder that it is in.
bool leadsBack(const fs::path& link, const fs::path& folder) {
  for (fs::path around = link; around != folder && around.has_parent_path();) {
    around = around.parent_path();
    if (fs::equivalent(link, around)) return true;
  }
  return false;
}

// Calls visit(entry) for what is in `folder` and in the folders below it, but for hidden ones.
// Throws fs::filesystem_error.
template <class Visit>
void walk(const fs::path& folder, Visit visit) {
  const auto options = fs::directory_options::follow_directory_symlink;
  for (auto entry = fs::recursive_directory_iterator(folder, options);
       entry != fs::recursive_directory_iterator(); ++entry) {
    if (isHidden(entry->path())) {
      entry.disable_recursion_pending();
      continue;
    }
    if (entry->is_symlink() && leadsBack(entry->path(), folder))
      throw fs::filesystem_error("", entry->path(),
                                 std::make_error_code(std::errc::too_many_symbolic_link_levels));
    visit(*entry);
  }
}

std::vector<fs::path> filesOf(std::span<const fs::path> places, LoadReport& report) {
  std::vector<fs::path> files;
  for (const fs::path& place : places) {
    std::error_code failure;
    const auto status = fs::status(place, failure);
    if (status.type() == fs::file_type::not_found) {
      refuse(report, place.string(), "there is no such file");
    } else if (failure) {
      refuse(report, place.string(), "cannot be read: " + failure.message());
    } else if (!fs::is_directory(status)) {
      files.push_back(place);
    } else {
      try {
        const auto scripts = scriptsOf(place);
        if (scripts.empty()) refuse(report, place.string(), "is a folder without .sql files");
        files.insert(files.end(), scripts.begin(), scripts.end());
      } catch (const fs::filesystem_error& error) {
        refuse(report, error.path1().empty() ? place.string() : error.path1().string(),
               "cannot be read: " + error.code().message());
      }
    }
  }
  return files;
}

}  // namespace

std::string ScriptNote::describe() const {
  std::string result = file;
  if (line != 0) result += ":" + std::to_string(line);
  result += ": ";
  if (number != 0) result += "message " + std::to_string(number) + ": ";
  result += text;
  if (!statement.empty()) result += " (near \"" + statement + "\")";
  return result;
}

std::vector<fs::path> scriptsOf(const fs::path& folder) {
  std::vector<fs::path> scripts;
  walk(folder, [&](const fs::directory_entry& entry) {
    if (entry.is_regular_file() && isScript(entry.path())) scripts.push_back(entry.path());
  });
  std::ranges::sort(scripts);
  return scripts;
}

bool isScriptOf(const fs::path& folder, const fs::path& file) {
  if (!isScript(file) || isHidden(file)) return false;
  bool isFound = fs::equivalent(folder, file.parent_path());
  walk(folder, [&](const fs::directory_entry& entry) {
    isFound = isFound || (entry.is_directory() && fs::equivalent(entry, file.parent_path()));
  });
  return isFound;
}

LoadReport loadScript(EmbeddedCatalog& catalog, std::string_view name, std::string_view text,
                      const LoadOptions& options) {
  Loader loader(catalog, options);
  loader.begin(name, 1, 1);
  const bool ranAnything = loader.run(name, text);
  if (!ranAnything && !loader.stopped()) refuse(loader.report, name, std::string(kNothing));
  loader.finish();
  return std::move(loader.report);
}

LoadReport loadFiles(EmbeddedCatalog& catalog, std::span<const fs::path> places,
                     const LoadOptions& options) {
  Loader loader(catalog, options);
  const std::vector<fs::path> files = filesOf(places, loader.report);
  loader.runAll(
      files.size(), [&](std::size_t at) { return files[at].string(); },
      [&](std::size_t at) { return contentOf(files[at], loader.report); });
  return std::move(loader.report);
}

LoadReport loadTexts(EmbeddedCatalog& catalog, std::span<const ScriptText> texts,
                     const LoadOptions& options) {
  Loader loader(catalog, options);
  loader.runAll(
      texts.size(), [&](std::size_t at) { return texts[at].name; },
      [&](std::size_t at) { return std::optional<std::string_view>(texts[at].text); });
  return std::move(loader.report);
}

}  // namespace kelvane::embedded
