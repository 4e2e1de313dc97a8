// Procedures about compiled objects: their transaction mode, hidden texts, extended procedures.
#include <algorithm>

#include "drivers/embedded/catalog/ordered_triggers.h"
#include "drivers/embedded/catalog/procedures/query_report.h"
#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

namespace {

// sp_procxmode

struct TransactionMode {
  std::string_view word;
  std::optional<int> bits;  ///< none: the catalog has no place for it
};

constexpr TransactionMode kModes[] = {
    {"unchained", 0},
    {"chained", procedure_status2::kChained},
    {"anymode", procedure_status2::kAnyMode},
    {"any", procedure_status2::kAnyMode},
    {"dynamic ownership chain", {}},
    {"no dynamic ownership chain", {}},
    {"dynamic", {}},
    {"static", {}},
};

std::vector<ResultColumn> modeLayout(ProcedureRun& run) {
  return {run.nameColumn("procedure name", 30, false),
          run.nameColumn("user name", 30, false),
          {"transaction mode", declaredType(TypeKind::Varchar, 15, {}, false)}};
}

void reportModes(ProcedureRun& run, int procedureId) {
  run.result().resultSets.push_back(
      queryReport(run, modeLayout(run),
                  "SELECT o.name, u.name, CASE WHEN o.sysstat2 & 32 THEN 'Any Mode'"
                  " WHEN o.sysstat2 & 16 THEN 'Chained' ELSE 'Unchained' END"
                  " FROM sysobjects o JOIN sysusers u ON u.uid = o.uid"
                  " WHERE o.type IN ('P', 'XP') AND (?1 = 0 OR o.id = ?1) ORDER BY o.name, u.name",
                  procedureId));
}

void spProcxmode(ProcedureRun& run) {
  const auto name = run.argument(0);
  if (!name) return reportModes(run, 0);
  const ObjectInfo object = run.requireObject(*name);
  if (object.type != object_type::kProcedure) {
    run.fail(message::noSuchObject);
  }
  const auto word = run.argument(1);
  if (!word) return reportModes(run, object.id);
  const auto* mode = std::ranges::find(kModes, tsql::lowerCase(*word), &TransactionMode::word);
  if (mode == std::end(kModes)) run.fail(message::notTransactionMode, *word);
  if (!mode->bits) return run.ignore(concat("'", *word, "'"));
  constexpr int kMask = procedure_status2::kChained | procedure_status2::kAnyMode;
  run.writer().records().changeObject(
      object.id, [&](SysObject& row) { row.sysstat2 = (row.sysstat2 & ~kMask) | *mode->bits; });
}

// sp_hidetext

bool isCompiled(const SysObject& object) {
  using namespace object_type;
  constexpr std::string_view kCompiled[] = {kView, kProcedure, kFunction, kTrigger,
                                            kRule, kDefault,   kComputed};
  return std::ranges::count(kCompiled, object.type) != 0;
}

void hideText(SystemRecords& records, int id) {
  records.comments.each<&SysComment::id>(id, [&](Slot slot, const SysComment&) {
    records.comments.change(slot, [](SysComment& piece) {
      piece.status = piece.status.value_or(0) | comment_status::kHidden;
    });
  });
}

/// The checks, defaults and computed columns of a table.
void hideTextsOfTable(SystemRecords& records, int tableId) {
  records.constraints.each<&SysConstraint::tableid>(tableId, [&](Slot, const SysConstraint& row) {
    if (!isTrigger(records, row)) hideText(records, row.constrid);
  });
  records.columns.each<&SysColumn::id>(tableId, [&](Slot, const SysColumn& column) {
    if (records.isInline(column.cdefault)) hideText(records, column.cdefault);
    if (column.computedcol) hideText(records, *column.computedcol);
  });
}

/// sp_hidetext [object [, table [, user]]]: all of a user's or of the database without an object.
void spHidetext(ProcedureRun& run) {
  SystemRecords& records = run.writer().records();
  if (const auto table = run.argument(1)) {
    return hideTextsOfTable(records, run.requireObject(*table).id);
  }
  if (const auto name = run.argument(0)) {
    const ObjectInfo object = run.requireObject(*name);
    if (object.type == object_type::kTable) return hideTextsOfTable(records, object.id);
    if (records.comments.first<&SysComment::id>(object.id) == nullptr) {
      run.fail(message::noTextOfObject, object.name);
    }
    return hideText(records, object.id);
  }
  const auto user = run.argument(2);
  const auto uid = user ? run.catalog().userId(*user) : std::nullopt;
  if (user && !uid) run.fail(message::noUserOfName);
  for (Slot slot = 0; slot < records.objects.slots(); ++slot) {
    if (!records.objects.holds(slot)) continue;
    const SysObject& object = records.objects[slot];
    if (isCompiled(object) && (!uid || object.uid == *uid)) hideText(records, object.id);
  }
}

/// 0 when the text of all that was asked about is there.
void spChecksource(ProcedureRun& run) {
  if (const auto name = run.argument(0)) {
    const ObjectInfo object = run.requireObject(*name);
    if (run.writer().records().comments.first<&SysComment::id>(object.id) == nullptr) {
      run.result().status = 1;
    }
  }
}

// extended procedures

void spAddextendedproc(ProcedureRun& run) {
  const int uid = run.caller().uid;
  const std::string name = run.name(0).value_or("");
  if (run.writer().records().object(name, uid) != nullptr) {
    run.fail(message::extendedProcedureExists, name);
  }
  const int id =
      run.writer().addObject({.name = name, .type = object_type::kExtendedProcedure, .uid = uid});
  run.writer().saveText(id, 0, run.text(1));
}

void spDropextendedproc(ProcedureRun& run) {
  const auto object = run.catalog().findObject(run.text(0), run.caller());
  if (!object || object->type != object_type::kExtendedProcedure) {
    run.fail(message::extendedProcedureNotFound, run.text(0));
  }
  run.writer().removeObject(object->id);
}

void spHelpextendedproc(ProcedureRun& run) {
  run.result().resultSets.push_back(
      queryReport(run,
                  {run.nameColumn("ESP Name", 30, false),
                   {"DLL", declaredType(TypeKind::Varchar, 255, {}, true)}},
                  "SELECT o.name, c.text FROM sysobjects o JOIN syscomments c ON c.id = o.id"
                  " WHERE o.type = 'XP' AND ?1 IN ('', o.name) ORDER BY o.name",
                  run.text(0)));
}

constexpr Procedure kProcedures[] = {
    {"sp_addextendedproc", "@esp_name @dll_name", 2, spAddextendedproc},
    {"sp_checksource", "@objname @tabname @username", 0, spChecksource},
    {"sp_dropextendedproc", "@esp_name", 1, spDropextendedproc},
    {"sp_helpextendedproc", "@esp_name", 0, spHelpextendedproc},
    {"sp_hidetext", "@objname @tabname @username", 0, spHidetext},
    {"sp_procxmode", "@procname @tranmode", 0, spProcxmode},
};

}  // namespace

std::span<const Procedure> compiledProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
