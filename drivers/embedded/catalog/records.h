// The system tables of one database as records. Members are named as the columns of the server,
// whose meaning they have; what has another name is no column.
//
// Plain values and tables of them. Threading: as for the catalog.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "drivers/embedded/catalog/record_table.h"

namespace kelvane::embedded {

struct SysObject {
  std::string name;
  int id = 0;
  int uid = 0;
  std::string type;
  int userstat = 0;
  int sysstat = 0;
  int schemacnt = 0;
  int sysstat2 = 0;
  std::int64_t crdate = 0;
  int deltrig = 0;
  int instrig = 0;
  int updtrig = 0;
  int seltrig = 0;
  int ckfirst = 0;
  std::optional<std::string> loginame;
  std::optional<std::int64_t> identburnmax;
  std::optional<int> sysstat3;
  std::optional<int> lobcomp_lvl;
  /// Whether the table has an SQLite table of its own.
  bool hasRowTable = false;
};

struct SysIndexKey {
  int colid = 0;
  bool descending = false;
};

struct SysIndex {
  std::string name;
  int id = 0;
  int indid = 0;
  int doampg = 0;
  int ioampg = 0;
  int status2 = 0;
  int segment = 0;
  int status = 0;
  int maxrowsperpage = 0;
  int keycnt = 0;
  std::optional<int> base_partition;
  std::optional<int> fill_factor;
  std::optional<int> res_page_gap;
  std::optional<int> exp_rowsize;
  std::optional<int> identitygap;
  std::int64_t crdate = 0;
  std::optional<int> status3;
  std::optional<int> partitiontype;
  std::optional<int> conditionid;
  std::optional<int> conopt_thld;
  std::optional<int> plldegree;
  /// The server packs them into keys1 to keys3.
  std::vector<SysIndexKey> keys;
};

struct SysColumn {
  int id = 0;
  int number = 0;
  int colid = 0;
  int status = 0;
  int type = 0;
  int length = 0;
  int offset = 0;
  int usertype = 0;
  int cdefault = 0;
  int domain = 0;
  std::string name;
  std::optional<int> prec;
  std::optional<int> scale;
  std::optional<int> xstatus;
  std::optional<int> accessrule;
  std::optional<int> status2;
  std::optional<int> status3;
  std::optional<int> computedcol;
  std::optional<int> encrtype;
  std::optional<int> encrlen;
  std::optional<int> encrkeyid;
  std::optional<std::string> encrkeydb;
  std::optional<std::int64_t> encrdate;
  std::optional<int> lobcomp_lvl;
  std::optional<int> inrowlen;

  /// A key that is an expression.
  bool isHidden() const { return (status3.value_or(0) & 1) != 0; }
};

struct SysType {
  int uid = 0;
  int usertype = 0;
  int variable = 0;
  int allownulls = 0;
  int type = 0;
  int length = 0;
  int tdefault = 0;
  int domain = 0;
  std::string name;
  std::optional<int> prec;
  std::optional<int> scale;
  std::optional<int> ident;
  std::optional<int> hierarchy;
  std::optional<int> accessrule;
};

struct SysProcedure {
  int type = 0;
  int id = 0;
  int sequence = 0;
  int status = 0;
  int number = 0;
};

struct SysComment {
  int id = 0;
  int number = 0;
  int colid = 0;
  int texttype = 0;
  std::string text;  ///< SQL sees what hides it where the status says so
  int colid2 = 0;
  std::optional<int> status;
  std::optional<int> partitionid;
};

struct SysProtect {
  int id = 0;
  int uid = 0;
  int action = 0;
  int protecttype = 0;
  std::optional<Blob> columns;
  int grantor = 0;
  std::optional<int> predicate;  ///< the object that keeps its text
};

struct SysUser {
  int suid = 0;
  int uid = 0;
  int gid = 0;
  std::string name;
  std::optional<std::string> environ;
};

struct SysDepend {
  int id = 0;
  int number = 0;
  int depid = 0;
  int depnumber = 0;
  int depdbid = 0;
  bool selall = false;
  bool resultobj = false;
  bool readobj = false;
};

struct SysReference {
  using Keys = std::array<std::int16_t, 16>;

  int indexid = 0;
  int constrid = 0;
  int tableid = 0;
  int reftabid = 0;
  int keycnt = 0;
  int status = 0;
  std::optional<int> frgndbid;
  std::optional<int> pmrydbid;
  Keys fokey{};
  Keys refkey{};
  std::optional<std::string> frgndbname;
  std::optional<std::string> pmrydbname;
};

struct SysConstraint {
  int colid = 0;
  int constrid = 0;
  int tableid = 0;
  int error = 0;
  int status = 0;
};

inline bool isBefore(const SysIndex& a, const SysIndex& b) { return a.indid < b.indid; }
inline bool isBefore(const SysColumn& a, const SysColumn& b) {
  return std::tie(a.number, a.colid) < std::tie(b.number, b.colid);
}
inline bool isBefore(const SysComment& a, const SysComment& b) {
  return std::tie(a.number, a.colid2, a.colid) < std::tie(b.number, b.colid2, b.colid);
}

extern template class RecordTable<SysObject>;
extern template class RecordTable<SysIndex>;
extern template class RecordTable<SysColumn>;
extern template class RecordTable<SysType>;
extern template class RecordTable<SysProcedure>;
extern template class RecordTable<SysComment>;
extern template class RecordTable<SysProtect>;
extern template class RecordTable<SysUser>;
extern template class RecordTable<SysDepend>;
extern template class RecordTable<SysReference>;
extern template class RecordTable<SysConstraint>;
extern template class RecordTable<PlainRow>;
struct SystemTable;
class SystemTables;

using PlainTable = RecordTable<PlainRow>;

class SystemRecords {
 public:
  SystemRecords(UndoLog& log, const SystemTables& tables);
  SystemRecords(const SystemRecords&) = delete;
  SystemRecords& operator=(const SystemRecords&) = delete;

  /// Of any system table that is not master's.
  SystemRows& source(std::string_view table) { return *sources_.at(table); }

  /// Where the changes from now on are logged.
  void logTo(UndoLog& log);

  // Null if there is none.
  const SysObject* object(int id) const { return objects.first<&SysObject::id>(id); }
  const SysObject* object(std::string_view name, int uid) const;
  const SysIndex* index(int objectId, int indid) const;
  /// Of a table or view.
  const SysColumn* column(int objectId, std::string_view name) const;
  const SysColumn* column(int objectId, int colid) const;
  const SysColumn* identityColumn(int tableId) const;
  /// All objects in the order of name and user.
  std::span<const Slot> objectsByName();
  /// Whether a default or check was declared with its table.
  bool isInline(int id) const;
  /// The number of the next column of a table.
  int nextColid(int tableId) const;

  // `edit(record)` changes it; nothing if there is none.
  template <class Edit>
  void changeObject(int id, Edit edit) {
    objects.each<&SysObject::id>(id,
                                 [&](Slot slot, const SysObject&) { objects.change(slot, edit); });
  }
  template <class Edit>
  void changeIndex(int objectId, int indid, Edit edit) {
    indexes.each<&SysIndex::id>(objectId, [&](Slot slot, const SysIndex& row) {
      if (row.indid == indid) indexes.change(slot, edit);
    });
  }
  template <class Edit>
  void changeColumn(int objectId, int colid, Edit edit) {
    columns.each<&SysColumn::id>(objectId, [&](Slot slot, const SysColumn& row) {
      if (row.colid == colid) columns.change(slot, edit);
    });
  }

 private:
  UndoLog& log_;
  const SystemTables& tables_;
  std::map<std::string_view, SystemRows*> sources_;
  std::vector<std::unique_ptr<PlainTable>> others_;
  std::vector<Slot> byName_;  ///< objectsByName() of the version
  std::optional<std::uint64_t> byNameVersion_;

  template <class Record>
  RecordTable<Record> make();

 public:
  RecordTable<SysObject> objects;
  RecordTable<SysIndex> indexes;
  RecordTable<SysColumn> columns;
  RecordTable<SysType> types;
  RecordTable<SysProcedure> procedures;
  RecordTable<SysComment> comments;
  RecordTable<SysProtect> protects;
  RecordTable<SysUser> users;
  RecordTable<SysDepend> depends;
  RecordTable<SysReference> references;
  RecordTable<SysConstraint> constraints;
};

/// A table that nothing looks into but SQL.
std::unique_ptr<PlainTable> plainTable(UndoLog& log, const SystemTable& table);

/// The columns of a system table that lead to its rows, for SQLite.
std::vector<Lookup> lookupsOf(const SystemTable& table);
/// About how many rows the table has in a large database.
int expectedRowsOf(const SystemTable& table);

}  // namespace kelvane::embedded
