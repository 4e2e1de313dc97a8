#include "cli/verbs/doctor_report.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>
#include <string_view>

#include "cli/screen/figures.h"
#include "inventory/attributes.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using inventory::Database;
using inventory::Definition;
using inventory::Limit;

constexpr std::string_view kMask = "<name>";

std::string seconds(std::chrono::steady_clock::duration time) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(2) << std::chrono::duration<double>(time).count() << " s";
  return text.str();
}

/// Hides what the owner of a database has named.
class Mask {
 public:
  Mask(const Database& database, bool names) : shows_(names) {
    if (shows_) return;
    add(database.server.database);
    add(database.server.user);
    add(database.settings.owner);
    inventory::forEachObjects([&](const auto& list) {
      for (const auto& record : database.*list.member) addNamesOf(record);
    });
    // Without these the words of a server say nothing.
    for (const char* one : {"dbo", "guest", "public", "master"}) names_.erase(one);
  }

  /// A text of a server: names that are known, and what stands in quotes, are left out.
  std::string operator()(std::string_view text) const {
    if (shows_) return std::string(text);
    std::string masked;
    for (std::size_t at = 0; at < text.size();) {
      const char quote = text[at];
      if (quote == '\'' || quote == '"') {
        const std::size_t end = std::min(text.find(quote, at + 1), text.size() - 1);
        masked += quote + shownWord(text.substr(at + 1, end > at ? end - at - 1 : 0), true) + quote;
        at = end + 1;
        continue;
      }
      std::size_t end = at;
      while (end < text.size() && isWord(text[end])) ++end;
      masked += end > at ? shownWord(text.substr(at, end - at), false) : std::string(1, text[at]);
      at = std::max(end, at + 1);
    }
    return masked;
  }
  bool showsNames() const { return shows_; }

 private:
  static bool isWord(char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return byte >= 0x80 || byte == '_' || byte == '#' || byte == '$' || byte == '@' ||
           std::isalnum(byte) != 0;
  }
  static std::string lower(std::string_view text) {
    std::string lowered(text);
    std::ranges::transform(lowered, lowered.begin(), [](unsigned char letter) {
      return static_cast<char>(letter < 0x80 ? std::tolower(letter) : letter);
    });
    return lowered;
  }

  void add(const std::string& name) {
    if (!name.empty()) names_.insert(lower(name));
  }
  void add(const inventory::QualifiedName& name) {
    add(name.owner);
    add(name.name);
  }
  void add(const inventory::GivenName& name) { add(name.name); }
  template <class Record>
  void addNamesOf(const Record& record) {
    if constexpr (requires { record.name; }) add(record.name);
    if constexpr (requires { record.login; }) add(record.login);
    const auto addAll = [&](const auto& parts) {
      for (const auto& part : parts) add(part.name);
    };
    if constexpr (requires { record.triggers; }) addAll(record.triggers);
    if constexpr (requires { record.columns; }) addAll(record.columns);
    if constexpr (requires { record.checks; }) {
      addAll(record.keys);
      addAll(record.foreignKeys);
      addAll(record.checks);
      addAll(record.indexes);
    }
  }

  std::string shownWord(std::string_view word, bool isQuoted) const {
    const std::string name = lower(word);
    // Those of the server's own tables are no secret.
    const bool isOfServer = name.starts_with("sys") && !names_.contains(name);
    if (isQuoted) return std::string(isOfServer || name == "dbo" ? word : kMask);
    return std::string(names_.contains(name) ? kMask : word);
  }

  bool shows_;
  std::set<std::string, std::less<>> names_;
};

/// Calls visit(kind, state) for each definition of an object.
template <class Visit>
void forEachDefinition(const Database& database, Visit&& visit) {
  const auto all = [&](std::string_view kind, const auto& records) {
    for (const auto& record : records) visit(kind, record.definition.state);
  };
  all("view", database.views);
  all("procedure", database.procedures);
  all("function", database.functions);
  all("rule", database.rules);
  all("default", database.defaults);
  for (const auto& table : database.tables) all("trigger", table.triggers);
  for (const auto& view : database.views) all("trigger", view.triggers);
}

std::string contents(const Database& database) {
  std::string text;
  inventory::forEachObjects([&](const auto& list) {
    const auto& row = inventory::rowOf(list.kind);
    const std::size_t count = (database.*list.member).size();
    if (count > 0) text += (text.empty() ? "" : ", ") + counted(count, row.singular, row.plural);
  });
  return text.empty() ? "no objects" : text;
}

void writeServer(const Diagnosis& diagnosis, const Mask& mask, std::ostream& out) {
  const inventory::Server& server = diagnosis.database.server;
  const auto orUnknown = [](const std::string& text) { return text.empty() ? "unknown" : text; };
  out << "Server\n"
      << "  side: " << (diagnosis.isServer ? "a live server" : "scripts") << '\n'
      << "  release: " << orUnknown(server.version) << '\n'
      << "  character set: " << orUnknown(server.characterSet) << '\n'
      << "  sort order: " << orUnknown(server.sortOrder)
      << (server.ignoresCase ? ", letter case does not count" : ", letter case counts") << '\n'
      << "  page size: " << server.pageSize << " bytes\n";
  if (mask.showsNames())
    out << "  database: " << server.database << "\n  user: " << server.user << '\n';
  out << "  contents: " << contents(diagnosis.database) << '\n';
  const bool isKnown = server.version.find("Adaptive Server Enterprise") != std::string::npos ||
                       server.version.empty();
  if (!isKnown)
    out << "  This is no Adaptive Server Enterprise: what is read from it may be wrong.\n";
}

/// Objects without their names are one line for each reason.
void writeGaps(const Diagnosis& diagnosis, const Mask& mask, std::ostream& out) {
  out << "\nWhat could not be read\n";
  if (!diagnosis.complete) out << "  a part of the scripts: its statements failed\n";
  std::vector<std::pair<std::string, std::size_t>> lines;
  std::map<std::string, std::size_t> places;
  for (const inventory::Gap& gap : diagnosis.database.gaps) {
    const std::string line = mask(gap.what) + ": " + mask(gap.reason);
    const auto [place, isNew] = places.try_emplace(line, lines.size());
    if (isNew) lines.emplace_back(line, 0);
    ++lines[place->second].second;
  }
  for (const auto& [line, count] : lines) {
    out << "  " << line;
    if (count > 1) out << " (" << count << " times)";
    out << '\n';
  }
  if (lines.empty()) {
    if (diagnosis.complete) out << "  nothing: everything could be read\n";
    return;
  }
  out << "  A comparison does not prove equality as long as something is missing. Let the login "
         "read\n"
         "  the system tables that are named, or use one that is the database's owner.\n";
}

void writeHidden(const Diagnosis& diagnosis, std::ostream& out) {
  std::map<std::string_view, std::size_t> hidden;
  forEachDefinition(diagnosis.database, [&](std::string_view kind, Definition::State state) {
    if (state == Definition::State::hidden) ++hidden[kind];
  });
  out << "\nHidden definitions\n";
  if (hidden.empty()) {
    out << "  none\n";
    return;
  }
  for (const auto& [kind, count] : hidden) out << "  " << counted(count, kind) << '\n';
  out << "  They were hidden with sp_hidetext and nobody can read them. Compare the scripts that\n"
         "  created them.\n";
}

void writeSteps(const Diagnosis& diagnosis, std::ostream& out) {
  out << "\nStatements\n";
  std::chrono::steady_clock::duration all{};
  for (const TimedStep& step : diagnosis.steps) all += step.time;
  out << "  sent: " << diagnosis.statements << '\n';
  for (const TimedStep& step : diagnosis.steps)
    out << "  " << step.what << ": " << seconds(step.time) << '\n';
  out << "  all: " << seconds(all) << '\n';
  constexpr auto kLong = std::chrono::seconds(60);
  if (all > kLong)
    out << "  This takes long. Run `update all statistics` on the system tables that are slow, or\n"
           "  read while the server has less to do.\n";
}

std::string_view word(enumEntityType kind) {
  constexpr std::array<std::string_view, entity_FUNCTION + 1> kWords{
      "table", "view", "procedure", "type", "group", "user", "function"};
  return kWords[kind];
}

std::string_view adviceFor(Limit limit) {
  switch (limit) {
    case Limit::unknown:
      return "Please report this page, with --names if you may: one of the readers is wrong.";
    case Limit::refused:
      return "Run kelvane compare --published --trace FILE to see the statement.";
    case Limit::quotedName:
    case Limit::pattern:
    case Limit::namesake:
    case Limit::release:
      return "Only --published and cASE_Fetch are concerned; hosts can use cASE_CatalogFetch.";
    case Limit::systemTables:
      return "Nothing to do: nobody declared them.";
  }
  return {};
}

void writeAgreement(const Diagnosis& diagnosis, const Mask& mask, std::ostream& out) {
  out << "\nAgreement with the published statements\n";
  if (!diagnosis.agreement) {
    out << "  not looked at\n";
    return;
  }
  const inventory::Agreement& agreement = *diagnosis.agreement;
  out << "  published statements: " << diagnosis.askedStatements << " in "
      << seconds(diagnosis.askedTime) << '\n'
      << "  objects: " << agreement.objects << ", of which " << agreement.differing.size()
      << (agreement.differing.size() == 1 ? " differs\n" : " differ\n");
  for (std::size_t limit = 0; limit < inventory::kLimitCount; ++limit) {
    const auto isOf = [&](const inventory::Disagreement& one) {
      return one.limit == static_cast<Limit>(limit);
    };
    const auto count = std::ranges::count_if(agreement.differing, isOf);
    if (count == 0) continue;
    out << "  " << count << ": " << describe(static_cast<Limit>(limit)) << '\n';
    for (const inventory::Disagreement& one : agreement.differing) {
      if (mask.showsNames() && isOf(one))
        out << "    " << word(one.kind) << ' ' << toUtf8(one.object) << '\n';
    }
    out << "    " << adviceFor(static_cast<Limit>(limit)) << '\n';
  }
}

}  // namespace

void writeDiagnosis(const Diagnosis& diagnosis, bool names, std::ostream& out) {
  const Mask mask(diagnosis.database, names);
  writeServer(diagnosis, mask, out);
  writeGaps(diagnosis, mask, out);
  writeHidden(diagnosis, out);
  writeSteps(diagnosis, out);
  writeAgreement(diagnosis, mask, out);
}

}  // namespace kelvane::cli
