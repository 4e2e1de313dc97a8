#include "drivers/embedded/script.h"

#include <fstream>
#include <sstream>
#include <system_error>

#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/tsql/script.h"

namespace kelvane::embedded {
namespace {

std::string_view lineAt(std::string_view text, std::uint32_t line) {
  for (std::uint32_t current = 1; current < line; ++current) {
    const auto end = text.find('\n');
    if (end == std::string_view::npos) return {};
    text.remove_prefix(end + 1);
  }
  text = text.substr(0, text.find('\n'));
  while (!text.empty() && (text.back() == '\r' || text.back() == ' ')) text.remove_suffix(1);
  const auto first = text.find_first_not_of(" \t");
  return first == std::string_view::npos ? std::string_view{} : text.substr(first);
}

// Sorts what the batches say into errors and notes, with lines of the file.
class ScriptOutcome final : public Outcome {
 public:
  ScriptOutcome(LoadReport& report, std::string_view name) : report_(report), name_(name) {}

  void enter(const tsql::Batch& batch) { batch_ = &batch; }

  void beginRows(const std::vector<ResultColumn>&) override {}
  void row(Row) override {}
  void count(std::int64_t) override {}
  void notice(const Notice& notice) override {
    if (!notice.isError()) return;
    const std::uint32_t line = notice.line == 0 ? 1 : notice.line;
    ScriptNote note{std::string(name_), batch_->firstLine + line - 1, notice.message.number,
                    notice.message.text, std::string(lineAt(batch_->text, line))};
    (notice.alreadyGone ? report_.notes : report_.errors).push_back(std::move(note));
  }

 private:
  LoadReport& report_;
  std::string_view name_;
  const tsql::Batch* batch_ = nullptr;
};

LoadReport refused(std::string_view name, std::string text, std::uint32_t line = 0) {
  LoadReport report;
  report.errors.push_back({std::string(name), line, 0, std::move(text), ""});
  return report;
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

LoadReport loadScript(EmbeddedCatalog& catalog, std::string_view name, std::string_view text,
                      const LoadOptions& options) {
  std::vector<tsql::Batch> batches;
  try {
    batches = tsql::splitScript(text);
  } catch (const tsql::ScriptError& error) {
    return refused(name, error.what());
  }
  LoadReport report;
  ScriptOutcome outcome(report, name);
  Server& server = catalog.server();
  Session session(server);
  session.acceptsAnyDatabase = true;
  session.caller.database = server.database;
  bool ranAnything = false;
  for (const tsql::Batch& batch : batches) {
    outcome.enter(batch);
    for (std::uint32_t run = 0; run < batch.repeat; ++run) {
      ranAnything = session.run(batch.text, outcome) || ranAnything;
      if (session.ended || (options.stopAtFirstError && !report.errors.empty())) break;
    }
    if (session.ended || (options.stopAtFirstError && !report.errors.empty())) break;
  }
  server.database = session.caller.database;
  if (!ranAnything && report.errors.empty()) return refused(name, "holds no statement");
  return report;
}

LoadReport loadFile(EmbeddedCatalog& catalog, const std::filesystem::path& file,
                    const LoadOptions& options) {
  const std::string name = file.string();
  std::error_code failure;
  const auto status = std::filesystem::status(file, failure);
  if (status.type() == std::filesystem::file_type::not_found) {
    return refused(name, "there is no such file");
  }
  if (failure) return refused(name, "cannot be read: " + failure.message());
  if (std::filesystem::is_directory(status)) {
    return refused(name, "is a directory; name a script file");
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    return refused(name,
                   "cannot be read: " + std::error_code(errno, std::generic_category()).message());
  }
  std::ostringstream content;
  content << stream.rdbuf();
  if (stream.bad()) return refused(name, "cannot be read to its end");
  return loadScript(catalog, name, content.str(), options);
}

}  // namespace kelvane::embedded
