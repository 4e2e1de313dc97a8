// The server and the database: what they are, and what the catalog has.

#include <algorithm>
#include <cctype>

#include "inventory/read/reading.h"
#include "inventory/read/status_bits.h"

namespace kelvane::inventory {
namespace {

/// An option of sp_dboption. Of several bits one is enough.
struct Option {
  std::string_view name;
  int status = 0, status2 = 0, status3 = 0;
};

constexpr Option kOptions[] = {
    {"abort tran on log full", 0, 1, 0},
    {"allow nulls by default", 8192, 16384, 0},
    {"async log service", 0, 0, 1024},
    {"auto identity", 0, 4, 0},
    {"dbo use only", 2048, 0, 0},
    {"ddl in tran", 512, 0, 0},
    {"delayed commit", 0, 0, 2048},
    {"disable alias access", 0, 2048, 0},
    {"identity in nonunique index", 0, 8, 0},
    {"no chkpt on recovery", 16, 0, 0},
    {"no free space acctg", 0, 2, 0},
    {"read only", 1024, 0, 0},
    {"select into/bulkcopy/pllsort", 4, 0, 0},
    {"single user", 4096, 0, 0},
    {"trunc log on chkpt", 8, 0, 0},
    {"unique auto_identity index", 0, 64, 0},
};

struct CharacterSet {
  int id;
  std::string_view name;
};

constexpr CharacterSet kCharacterSets[] = {{0, "ascii_7"}, {1, "iso_1"}, {2, "cp850"}, {3, "cp437"},
                                           {4, "roman8"},  {5, "mac"},   {190, "utf8"}};

constexpr int kSortOrder = 123, kCharacterSet = 131;  // sysconfigures.config

std::string lowerCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char letter) {
    return static_cast<char>(letter < 0x80 ? std::tolower(letter) : letter);
  });
  return text;
}

}  // namespace

void readServer(Reading& reading) {
  reading.session.rows(
      "server",
      "select @@version, db_name(), user_name(), @@ncharsize, @@unicharsize, @@maxpagesize,"
      " case when 'a' = 'A' then 1 else 0 end",
      [&](const Row& row) {
        Server& server = reading.database.server;
        server.version = row.text(0);
        server.database = row.text(1);
        server.user = row.text(2);
        server.ncharSize = std::max(row.number(3), 1);
        reading.types.setCharacterSizes(row.number(3), row.number(4));
        server.pageSize = row.number(5);
        server.embedded = reading.usesEmbeddedBits();
        server.ignoresCase = row.number(6) != 0;
      });
}

void readCatalogColumns(Reading& reading) {
  reading.session.rows(
      "columns of the catalog",
      "select o.name, c.name from syscolumns c, sysobjects o where o.id = c.id and o.type = 'S'"
      " and o.name in ('sysobjects', 'syscolumns', 'systypes', 'sysindexes', 'syscomments',"
      " 'sysprotects', 'sysreferences', 'sysconstraints', 'syspartitions', 'syspartitionkeys',"
      " 'sysattributes', 'sysencryptkeys', 'sysusermessages', 'systhresholds')",
      [&](const Row& row) { reading.catalog.add(row.text(0), row.text(1)); });
}

void readDatabase(Reading& reading) {
  enum Part { database, configuration, action };
  const std::string noName = "convert(varchar(255), null)";
  reading.session.rowsOfParts(
      "options of the database",
      {{"options of the database",
        "select 0, status, status2, status3, suser_name(suid) from master..sysdatabases"
        " where name = db_name()"},
       {"character set and sort order",
        "select 1, config, value, 0, " + noName +
            " from master..syscurconfigs where config in (123, 131)"},
       {"names of permissions",
        "select 2, number, 0, 0, name from master..spt_values where type in ('T', 'GP')"}},
      [&](const Row& row) {
        Server& server = reading.database.server;
        switch (row.number(0)) {
          case database:
            reading.database.settings.owner = row.text(4);
            for (const Option& option : kOptions) {
              if ((row.number(1) & option.status) != 0 || (row.number(2) & option.status2) != 0 ||
                  (row.number(3) & option.status3) != 0)
                reading.database.settings.options.push_back({std::string(option.name)});
            }
            break;
          case configuration:
            if (row.number(1) == kCharacterSet) {
              reading.characterSet = row.number(2);
              const auto* set = std::ranges::find(kCharacterSets, row.number(2), &CharacterSet::id);
              server.characterSet = set == std::end(kCharacterSets)
                                        ? "number " + std::to_string(row.number(2))
                                        : std::string(set->name);
            } else if (row.number(1) == kSortOrder) {
              server.sortOrder = "number " + std::to_string(row.number(2));
            }
            break;
          case action:
            reading.actions[row.number(1)] = lowerCase(row.text(4));
            break;
          default:
            break;
        }
      });
}

void readSegments(Reading& reading) {
  enum Part { segment, threshold };
  constexpr int kLastOfServer = 2;  // system, default and logsegment are in every database
  struct Found {
    int segment;
    Threshold threshold;
  };
  std::vector<Found> thresholds;
  reading.session.rowsOfParts(
      "segments",
      {{"segments", "select 0, segment, 0, 0, name from syssegments"},
       {"thresholds", "select 1, segment, free_space, status, proc_name from systhresholds"}},
      [&](const Row& row) {
        if (row.number(0) == segment) {
          reading.segments[row.number(1)] = row.text(4);
          if (row.number(1) > kLastOfServer)
            reading.database.settings.segments.push_back({row.text(4)});
        } else {
          Threshold one;
          one.freePages = row.number(2);
          one.lastChance = (row.number(3) & threshold_status::kLastChance) != 0;
          one.procedure = row.text(4);
          thresholds.push_back({row.number(1), std::move(one)});
        }
      });
  for (Found& found : thresholds) {
    Threshold& one = found.threshold;
    // The server keeps one of its own; where it is follows from the size of the log.
    if (one.lastChance && one.procedure == "sp_thresholdaction") continue;
    if (one.lastChance) one.freePages = 0;
    const auto named = reading.segments.find(found.segment);
    one.segment =
        named == reading.segments.end() ? reading.segmentName(found.segment) : named->second;
    reading.database.settings.thresholds.push_back(std::move(one));
  }
}

void readMessages(Reading& reading) {
  if (!reading.catalog.has("sysusermessages")) return reading.session.skip();
  reading.session.rows(
      "messages",
      "select m.error, m.langid, m.description, l.name from sysusermessages m"
      " left join master..syslanguages l on l.langid = m.langid order by m.error, m.langid",
      [&](const Row& row) {
        Message message;
        message.number = row.number(0);
        // Numbers of languages differ from server to server. That of us_english has no row.
        message.language = row.text(3);
        const int language = row.number(1);
        if (message.language.empty() && language != 0)
          message.language = "language " + std::to_string(language);
        message.text = row.text(2);
        reading.database.messages.push_back(std::move(message));
      });
}

}  // namespace kelvane::inventory
