#include "cli/words/side_arguments.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "cli/words/row_file_paths.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kAllowNulls = "--allow-nulls-by-default", kAse = "--ase",
                           kKeepGoing = "--keep-going", kLoginLimit = "--login-limit",
                           kQueryLimit = "--query-limit", kVerbose = "--verbose";

constexpr auto kReleases = std::to_array<Choice<std::optional<embedded::Release>>>({
    {"12.5", embedded::Release::ase125},
    {"15", embedded::Release::ase15},
    {"16", embedded::Release::ase16},
});

constexpr auto kOptions = std::to_array<Option>({
    {kAllowNulls, "", "columns without null or not null allow null"},
    {kAse, kRelease, "behave exactly like this release: 12.5, 15 or 16", kNamesOf<kReleases>},
    {kKeepGoing, "", "report failing statements and continue"},
    {kLoginLimit, kSeconds, "time limit for a login; default: 15"},
    {kOdbcDriver, "NAME", "ODBC driver for servers given by options; default: FreeTDS"},
    {kQueryLimit, kSeconds, "time limit for a statement; default: 300, 0 for none"},
    {kTrace, kFile, "write every statement and progress event as a line of JSON"},
    {kVerbose,
     "",
     "also report what was read, timings, and ignored statements of scripts",
     {},
     "-v"},
});

constexpr std::string_view kDefaultDriver = "FreeTDS";

std::string text(std::string_view option) { return std::string(option); }

LoadSettings loadSettings(const Arguments& arguments) {
  LoadSettings settings;
  settings.keepGoing = arguments.has(kKeepGoing);
  settings.verbose = arguments.has(kVerbose);
  settings.catalog.allowNullsByDefault = arguments.has(kAllowNulls);
  settings.catalog.release = choiceOf<kReleases>(arguments, kAse, settings.catalog.release);
  return settings;
}

std::chrono::seconds seconds(const Arguments& arguments, std::string_view option, int atLeast,
                             int unlessSaid) {
  constexpr int kMost = 1'000'000;
  const auto value = arguments.value(option);
  if (!value) return std::chrono::seconds(unlessSaid);
  int number = -1;
  const char* end = value->data() + value->size();
  const auto [stop, error] = std::from_chars(value->data(), end, number);
  if (error != std::errc() || stop != end || number < atLeast || number > kMost)
    throw UsageError(arguments.called(option) + " takes a number of seconds from " +
                     std::to_string(atLeast) + ", not '" + *value + "'");
  return std::chrono::seconds(number);
}

bool isServer(const std::string& operand) {
  return equalText(toUtf16(operand.substr(0, kServerMark.size())), toUtf16(kServerMark),
                   CaseMode::ignore);
}

// Names `where`, and nothing of the address.
void refusePassword(const odbc::ConnectionString& address, std::string_view where) {
  if (address.find(odbc::kPasswordKeywords))
    throw UsageError(
        "everybody on this machine can read a password on the command line; remove it from " +
        text(where) + " and provide it in another way");
}

ServerPlace serverOfOperand(const std::string& operand) {
  const odbc::ConnectionString address(
      toUtf16(std::string_view(operand).substr(kServerMark.size())));
  refusePassword(address, "'odbc:'");
  const std::string shown = text(kServerMark) + toUtf8(odbc::masked(address.text()));
  if (operand.find('=') == operand.npos)
    throw UsageError("'" + shown + "' is not a connection string such as odbc:DSN=prod;UID=sa");
  return {shown, address, {}, {}};
}

bool isNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

// A server that is named otherwise than by a connection string.
struct ServerWords {
  std::optional<std::string> dsn, server, driver, user, database;
};

void addServer(const std::string& server, const std::string& driver,
               odbc::ConnectionString& address) {
  const auto add = [&](std::u16string_view keyword, const std::string& value) {
    address.add(keyword, toUtf16(value));
  };
  add(u"Driver", driver);
  const bool freeTds = address.isForFreeTds();
  const std::size_t colon = server.rfind(':');
  if (colon != server.npos && colon == server.find(':') &&
      isNumber(std::string_view(server).substr(colon + 1))) {
    add(u"Server", server.substr(0, colon));
    add(u"Port", server.substr(colon + 1));
  } else {
    add(freeTds ? u"Servername" : u"Server", server);
  }
  if (freeTds) add(u"TDS_Version", "5.0");
}

odbc::ConnectionString addressOf(const ServerWords& words) {
  odbc::ConnectionString address({});
  if (words.dsn) address.add(u"DSN", toUtf16(*words.dsn));
  if (words.server)
    addServer(*words.server, words.driver.value_or(std::string(kDefaultDriver)), address);
  if (words.user) address.add(u"UID", toUtf16(*words.user));
  if (words.database) address.add(u"Database", toUtf16(*words.database));
  return address;
}

// Somebody may take what an option names for a connection string.
void refusePasswords(const Arguments& arguments, const SideOptions& options) {
  for (const std::string_view option :
       {options.server, options.user, options.database, kOdbcDriver}) {
    if (const auto value = arguments.value(option))
      refusePassword(odbc::ConnectionString(toUtf16(*value)), option);
  }
}

ServerPlace serverOfOptions(const Arguments& arguments, const SideOptions& options) {
  const std::string server = *arguments.value(options.server);
  return {text(options.server) + " " + server,
          addressOf({{},
                     server,
                     arguments.value(kOdbcDriver),
                     arguments.value(options.user),
                     arguments.value(options.database)}),
          {},
          {}};
}

[[noreturn]] void refuseCompany(const std::string& side) {
  throw UsageError("'" + side + "' is a whole side; it cannot be combined with others");
}

bool isSnapshot(const std::vector<std::string>& operands) {
  return operands.size() == 1 && operands.front().ends_with(kSnapshotEnding);
}

// The command line may say otherwise as whom to log in, and where to.
ServerPlace serverOfEnvironment(const std::string& name, const Environment& environment,
                                const Arguments& arguments, const SideOptions& options) {
  const auto said = [&](std::string_view option, const std::optional<std::string>& unlessSaid) {
    const auto value = arguments.value(option);
    return value ? value : unlessSaid;
  };
  ServerWords words{environment.dsn, environment.server, said(kOdbcDriver, std::nullopt),
                    said(options.user, environment.user),
                    said(options.database, environment.database)};
  if (environment.odbcDriver && !arguments.isGiven(kOdbcDriver))
    words.driver = environment.odbcDriver;
  if (environment.connection && (words.user || words.database))
    throw UsageError("'" + name +
                     "' has a connection string, which already names user and database");
  const odbc::ConnectionString address =
      environment.connection ? odbc::ConnectionString(toUtf16(*environment.connection))
                             : addressOf(words);
  const std::string shown = environment.server
                                ? *environment.server
                                : text(kServerMark) + toUtf8(odbc::masked(address.text()));
  return {
      name + " (" + shown + ")", address, said(options.passwordFile, environment.passwordFile), {}};
}

// A snapshot is of one database.
void refuseDatabase(const Arguments& arguments, const SideOptions& options,
                    const std::string& name) {
  if (arguments.has(options.database))
    throw UsageError(text(options.database) + " is for servers and scripts, but '" + name +
                     "' is a snapshot");
}

// A database is what the other side has.
RowFilesPlace rowFilesPlace(const std::string& path, const Arguments& arguments,
                            const SideOptions& options, const ReadingSettings& settings) {
  if (!settings.rowFiles)
    throw UsageError("'" + path + "' contains rows; only kelvane data takes it for a side");
  if (arguments.has(options.database))
    throw UsageError(text(options.database) + " is for servers and scripts, but '" + path +
                     "' contains rows");
  return {path, *settings.rowFiles, settings.load.verbose};
}

Place placeOfEnvironment(const std::string& name, const Environment& environment,
                         const Arguments& arguments, const SideOptions& options,
                         const ReadingSettings& settings) {
  if (environment.isServer()) {
    ServerPlace place = serverOfEnvironment(name, environment, arguments, options);
    place.limits = settings.limits;
    return place;
  }
  for (const std::string_view option : {options.user, options.passwordFile}) {
    if (arguments.has(option))
      throw UsageError(text(option) + " is for servers, but '" + name + "' is not one");
  }
  if (environment.snapshot) {
    refuseDatabase(arguments, options, name);
    return SnapshotPlace{*environment.snapshot};
  }
  if (environment.rows) {
    std::error_code none;
    if (!isRowFiles(*environment.rows) && std::filesystem::exists(*environment.rows, none))
      throw UsageError("'" + *environment.rows + "', the rows of '" + name +
                       "', is no file of rows and no folder of them alone");
    return rowFilesPlace(*environment.rows, arguments, options, settings);
  }
  const auto database = arguments.value(options.database);
  return ScriptPlace{environment.scripts, settings.load, database ? database : environment.database,
                     options.database};
}

}  // namespace

OptionFamily readingOptions() { return {"Reading", kOptions}; }

ReadingSettings readingSettings(const Arguments& arguments) {
  return {loadSettings(arguments),
          {.loginLimit = seconds(arguments, kLoginLimit, 1, 15),
           .queryLimit = seconds(arguments, kQueryLimit, 0, 300)}};
}

std::optional<inventory::TargetRelease> askedRelease(const Arguments& arguments) {
  const auto release = readingSettings(arguments).load.catalog.release;
  if (!release) return std::nullopt;
  switch (*release) {
    case embedded::Release::ase125:
      return inventory::TargetRelease::ase125;
    case embedded::Release::ase15:
      return inventory::TargetRelease::ase15;
    case embedded::Release::ase16:
      return inventory::TargetRelease::ase16;
  }
  return std::nullopt;
}

Place placeOf(const Arguments& arguments, const std::vector<std::string>& operands,
              const SideOptions& options, const ReadingSettings& settings) {
  refusePasswords(arguments, options);
  const bool byOption = arguments.has(options.server);
  const auto named = std::ranges::find_if(
      operands, [&](const auto& operand) { return arguments.environments.contains(operand); });
  if (named != operands.end()) {
    const std::string name(environmentName(*named));
    if (operands.size() > 1) refuseCompany(name);
    return placeOfEnvironment(name, arguments.environments.at(*named), arguments, options,
                              settings);
  }
  if (!byOption) {
    const bool isOdbc = std::ranges::any_of(operands, isServer);
    if (arguments.has(options.user) || (isOdbc && arguments.has(options.database)))
      throw UsageError(text(arguments.has(options.user) ? options.user : options.database) +
                       " needs " + text(options.server) +
                       "; for an 'odbc:' side write UID= and Database= into it");
  }
  const auto server = std::ranges::find_if(operands, isServer);
  for (const std::string& operand : operands) {
    std::error_code failed;
    if (!isServer(operand) && !std::filesystem::exists(operand, failed))
      refusePassword(odbc::ConnectionString(toUtf16(operand)), "the side");
  }
  if (!byOption && server == operands.end()) {
    if (arguments.has(options.passwordFile))
      throw UsageError(text(options.passwordFile) + " is for servers, but that side is not one");
    if (const auto rows = std::ranges::find_if(operands, isRowFiles); rows != operands.end()) {
      if (operands.size() > 1) refuseCompany(*rows);
      return rowFilesPlace(*rows, arguments, options, settings);
    }
    if (!isSnapshot(operands))
      return ScriptPlace{operands, settings.load, arguments.value(options.database),
                         options.database};
    refuseDatabase(arguments, options, operands.front());
    return SnapshotPlace{operands.front(), settings.load.verbose};
  }
  ServerPlace place = byOption ? serverOfOptions(arguments, options) : serverOfOperand(*server);
  if (operands.size() > 1) refuseCompany(place.name);
  place.passwordFile = arguments.value(options.passwordFile);
  place.limits = settings.limits;
  place.verbose = settings.load.verbose;
  return place;
}

std::string nameOf(const Place& place, const std::vector<std::string>& operands) {
  if (const auto* server = std::get_if<ServerPlace>(&place)) return server->name;
  std::string names;
  for (const std::string& operand : operands)
    names += (names.empty() ? "" : " ") + std::string(environmentName(operand));
  return names;
}

}  // namespace kelvane::cli
