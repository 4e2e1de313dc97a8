#include "drivers/embedded/engine/globals.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {
namespace {

enum class GlobalType {
  Int,
  Smallint,
  Tinyint,
  Numeric,
  Name,
  Text,
  Bytes8,
  Bytes16,
  Bytes64,
  Time
};

using enum GlobalType;

constexpr std::size_t kBytesOfOptions = 64;

struct Global {
  std::string_view name;  // without the `@@`
  GlobalType type = Int;
  Release since = Release::ase125;
  std::int64_t number = 0;
  std::string_view text = {};
  bool isNull = false;
  /// Of those that change; the rest of the row then says nothing.
  Cell (*value)(const Session&) = nullptr;
};

constexpr Global number(std::string_view name, std::int64_t value, Release since = Release::ase125,
                        GlobalType type = Int) {
  return {name, type, since, value};
}
constexpr Global text(std::string_view name, GlobalType type, std::string_view value,
                      Release since = Release::ase125) {
  return {name, type, since, 0, value};
}
constexpr Global null(std::string_view name, GlobalType type, Release since = Release::ase125) {
  return {name, type, since, 0, {}, true};
}
constexpr Global changing(std::string_view name, GlobalType type, Cell (*value)(const Session&),
                          Release since = Release::ase125) {
  return {name, type, since, 0, {}, false, value};
}

struct Version {
  std::string_view text;
  std::int64_t number;
  std::int64_t codeLine;
};

Version versionOf(const CatalogOptions& options) {
  switch (options.release.value_or(Release::ase125)) {
    case Release::ase15:
      return {
          "Adaptive Server Enterprise/15.7/EBF 19495 SMP/P/x86_64/Enterprise Linux/ase157/"
          "2820/64-bit/FBO/Fri Sep 16 00:54:24 2011",
          15700, 15700};
    case Release::ase16:
      return {
          "Adaptive Server Enterprise/16.0/EBF 22385 SMP/P/x86_64/Enterprise Linux/ase160sp00/"
          "3530/64-bit/FBO/Sun Feb 16 06:52:50 2014",
          16000, 16000};
    case Release::ase125:
      break;
  }
  return {
      "Adaptive Server Enterprise/12.5.4/EBF 13387/P/Linux Intel/Enterprise "
      "Linux/ase1254/2006/32-bit/OPT/Sat May 20 00:55:26 2006",
      12540, 12500};
}

Version versionOf(const Session& session) { return versionOf(session.server.catalog.options()); }

Cell fetchStatus(const Session& session) {
  constexpr std::int64_t kFetched = 0, kFailed = -1;
  return session.cursors.fetchedRow() ? kFetched : kFailed;
}

Cell sqlStatus(const Session& session) {
  constexpr std::int64_t kFetched = 0, kNoMoreRows = 2;
  return session.cursors.fetchedRow() ? kFetched : kNoMoreRows;
}

Cell transactionState(const Session& session) {
  constexpr std::int64_t kInProgress = 0, kSucceeded = 1, kStatementAborted = 2, kAborted = 3;
  const bool isOpen = session.transactions.depth() > 0;
  if (session.last.error != 0) return isOpen ? kStatementAborted : kAborted;
  if (isOpen) return kInProgress;
  return session.transactions.wasRolledBack() ? kAborted : kSucceeded;
}

Cell zeros(std::size_t count) { return Blob(count); }

Cell lastTimestamp(const Session& session) {
  Server& server = session.server;
  const auto database = server.catalog.databaseId(session.caller.database);
  const auto& counts = server.running.timestamps;
  const auto found = counts.find(database.value_or(0));
  return timestampOf(found == counts.end() ? 0 : found->second);
}

constexpr auto kSince15 = Release::ase15, kSince16 = Release::ase16;

// Sorted by name.
constexpr auto kGlobals = std::to_array<Global>({
    number("active_instances", 1, kSince15),
    text("authmech", Name, "ase", kSince15),
    number("bootcount", 1, kSince15),
    changing(
        "boottime", Time, [](const Session& s) -> Cell { return s.server.startedAt; }, kSince15),
    number("bulkarraysize", 50),
    number("bulkbatchsize", 0),
    number("char_convert", 0),
    number("cis_rpc_handling", 0),
    text("cis_version", Text, "none"),
    number("client_csexpansion", 1),
    number("client_csid", -1),
    null("client_csname", Name),
    null("clusterboottime", Time, kSince15),
    number("clustercoordid", 0, kSince15),
    null("clustermode", Name, kSince15),
    null("clustername", Name, kSince15),
    number("cmpstate", 0),
    changing("connections", Int,
             [](const Session& s) -> Cell { return std::int64_t{s.server.sessionCount()}; }),
    number("cpu_busy", 0),
    number("curloid", 0),
    changing(
        "cursor_rows", Int, [](const Session& s) -> Cell { return s.cursors.openedRows(); },
        kSince15),
    number("datefirst", 7, Release::ase125, Tinyint),
    changing("dbts", Bytes8, lastTimestamp),
    changing("error", Int, [](const Session& s) -> Cell { return s.last.error; }),
    null("errorlog", Text),
    number("failedoverconn", 0),
    changing("fetch_status", Int, fetchStatus, kSince15),
    number("guestuserid", 2),
    null("hacmpservername", Name),
    number("haconnection", 0),
    number("hadr_mode", -1, kSince16),
    number("hadr_state", -1, kSince16),
    number("heapmemsize", 4096, kSince15),
    changing("identity", Numeric, [](const Session& s) -> Cell { return s.last.identity; }),
    number("idle", 0),
    number("instanceid", 0, kSince15),
    null("instancename", Name, kSince15),
    number("invaliduserid", -1),
    number("io_busy", 0),
    changing("isolation", Int, [](const Session& s) -> Cell { return s.options.isolation; }),
    number("jsinstanceid", 0, kSince15),
    null("kernel_addr", Bytes8),
    number("kernel_size", 0),
    text("kernelmode", Name, "threaded", kSince15),
    number("langid", 0, Release::ase125, Smallint),
    text("language", Name, "us_english"),
    null("lastkpgendate", Time, kSince15),
    null("lastlogindate", Time, kSince15),
    number("lock_timeout", -1),
    number("lwpid", 0, kSince15),
    number("max_connections", 25),
    number("max_precision", 38, Release::ase125, Tinyint),
    number("maxcharlen", 1, Release::ase125, Tinyint),
    number("maxgroupid", 1048576),
    number("maxpagesize", 2048),
    number("maxspid", 2147483647, kSince15),
    number("maxsuid", 2147483647),
    number("maxuserid", 2147483647),
    null("mempool_addr", Bytes8),
    number("min_poolsize", 512),
    number("mingroupid", 16384),
    number("minspid", 1, kSince15),
    number("minsuid", -32768),
    number("minuserid", -32768),
    number("monitors_active", 0),
    number("ncharsize", 1, Release::ase125, Tinyint),
    changing("nestlevel", Int,
             [](const Session& s) -> Cell { return std::int64_t{s.calls.level}; }),
    null("nextkpgendate", Time, kSince15),
    number("nodeid", 0, kSince15),
    text("optgoal", Name, "allrows_mix", kSince15),
    changing("options", Bytes64, [](const Session&) { return zeros(kBytesOfOptions); }),
    text("optlevel", Name, "ase_default", kSince15),
    null("optoptions", Bytes64, kSince15),
    number("opttimeoutlimit", 10, kSince15),
    number("ospid", 0, kSince15),
    number("pack_received", 0),
    number("pack_sent", 0),
    number("packet_errors", 0),
    number("pagesize", 2048),
    number("parallel_degree", 1),
    number("plwpid", 0, kSince15),
    number("probesuid", 2),
    changing("procid", Int,
             [](const Session& s) -> Cell { return std::int64_t{s.calls.procedureId}; }),
    null("quorum_physname", Text, kSince15),
    text("recovery_state", Name, "NOT_IN_RECOVERY", kSince15),
    number("remotestate", 0),
    number("repartition_degree", 1, kSince15),
    number("resource_granularity", 10, kSince15),
    changing("rowcount", Int, [](const Session& s) -> Cell { return s.last.rowCount; }),
    number("scan_parallel_degree", 1),
    text("servername", Name, "EMBEDDED"),
    changing(
        "setrowcount", Int,
        [](const Session& s) -> Cell { return static_cast<std::int64_t>(s.options.rowLimit); },
        kSince15),
    number("shmem_flags", 0),
    changing("spid", Smallint, [](const Session& s) -> Cell { return std::int64_t{s.number}; }),
    changing("sqlstatus", Int, sqlStatus),
    null("ssl_ciphersuite", Text),
    number("stringsize", 50),
    number("sys_tempdbid", 2, kSince15, Smallint),
    number("system_busy", 0, kSince15),
    text("system_view", Name, "instance", kSince15),
    number("tempdbid", 2, Release::ase125, Smallint),
    number("textcolid", 0),
    number("textdataptnid", 0, kSince15),
    number("textdbid", 0),
    number("textobjid", 0),
    number("textptnid", 0, kSince15),
    null("textptr", Bytes16),
    number("textptr_parameters", 0, kSince15),
    changing("textsize", Int, [](const Session& s) -> Cell { return s.options.textSize; }),
    null("textts", Bytes8),
    number("thresh_hysteresis", 64),
    number("timeticks", 100000),
    number("total_errors", 0),
    number("total_read", 0),
    number("total_write", 0),
    changing("tranchained", Int,
             [](const Session& s) -> Cell { return std::int64_t{s.caller.chained}; }),
    changing("trancount", Int,
             [](const Session& s) -> Cell { return std::int64_t{s.transactions.depth()}; }),
    number("tranrollback", 0, kSince15),
    number("transactional_rpc", 0),
    changing("transtate", Int, transactionState),
    number("unicharsize", 2),
    number("user_busy", 0, kSince15),
    changing("version", Text,
             [](const Session& s) -> Cell { return std::string(versionOf(s).text); }),
    changing("version_as_integer", Int,
             [](const Session& s) -> Cell { return versionOf(s).codeLine; }),
    changing("version_number", Int, [](const Session& s) -> Cell { return versionOf(s).number; }),
});

static_assert(std::ranges::is_sorted(kGlobals, {}, &Global::name));

const Global* find(std::string_view name) {
  const std::string wanted = tsql::lowerCase(name.substr(name.starts_with("@@") ? 2 : 0));
  const auto* found = std::ranges::lower_bound(kGlobals, wanted, {}, &Global::name);
  return found != kGlobals.end() && found->name == wanted ? found : nullptr;
}

}  // namespace

std::optional<ColumnType> globalVariableType(std::string_view name, const CatalogOptions& options) {
  const Global* global = find(name);
  if (global == nullptr || !options.has(global->since)) return std::nullopt;
  const bool nullable = global->isNull;
  switch (global->type) {
    case Int:
      break;
    case Smallint:
      return plainType(TypeKind::Smallint, nullable);
    case Tinyint:
      return plainType(TypeKind::Tinyint, nullable);
    case Numeric:
      return numericType(38, 0, nullable);
    case Name:
      return varcharType(30, nullable);
    case Text:
      return varcharType(255, nullable);
    case Bytes8:
      return varbinaryType(8, nullable);
    case Bytes16:
      return varbinaryType(16, nullable);
    case Bytes64:
      return varbinaryType(64, nullable);
    case Time:
      return plainType(TypeKind::Datetime, nullable);
  }
  return intType(nullable);
}

Cell globalVariable(std::string_view name, const Session& session) {
  const Global* global = find(name);
  if (global == nullptr || global->isNull) return {};
  if (global->value != nullptr) return global->value(session);
  return global->text.empty() ? Cell(global->number) : Cell(std::string(global->text));
}

}  // namespace kelvane::embedded
