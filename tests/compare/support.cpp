#include "support.h"

#include <gtest/gtest.h>

#include "model/text.h"

namespace kelvane::test {
namespace {

class LineWriter {
 public:
  std::vector<std::string> lines;

  template <class Entity, class... Parts>
  void write(const char* kind, const Array<Entity>& entities, std::int32_t count, Parts... parts) {
    EXPECT_EQ(entities.count(), count) << kind;
    for (const Entity& entity : entities) {
      const std::string path = std::string(kind) + " " + toUtf8(entity.FullName);
      writeDiffs(path, entity.Diff, entity.DiffCount);
      (writePart(path, parts(entity)), ...);
    }
  }

 private:
  struct Part {
    const char* word;
    const Array<diffEntity>& entities;
    std::int32_t count;
  };
  void writePart(const std::string& path, auto&& part) {
    const auto& [word, entities, count] = part;
    EXPECT_EQ(entities.count(), count) << path << word;
    for (const diffEntity& entity : entities)
      writeDiffs(path + " " + word + " " + toUtf8(entity.Name), entity.Diff, entity.DiffCount);
  }
  void writeDiffs(const std::string& path, const Array<typeDiff>& diffs, std::int32_t count) {
    EXPECT_EQ(diffs.count(), count) << path;
    for (const typeDiff& diff : diffs) {
      EXPECT_EQ(diff.EntityTreeType + diff.EntityTreeDef, u"");
      std::string line = path + ": " + toUtf8(diff.SubEntityType);
      if (!diff.SubEntityType.empty()) line += " ";
      if (diff.DiffType == diff_Different) {
        EXPECT_EQ(diff.Location, location_Source);
        line += "[" + toUtf8(diff.DataOnSource) + "] [" + toUtf8(diff.DataOnTarget) + "]";
      } else {
        EXPECT_EQ(diff.DataOnSource + diff.DataOnTarget, u"");
        line += diff.Location == location_Source ? "is on source only" : "is on target only";
      }
      lines.push_back(line);
    }
  }
};

template <class Entity>
auto part(const char* word, Array<diffEntity> Entity::*entities, std::int32_t Entity::*count) {
  return [=](const Entity& entity) {
    return std::tuple<const char*, const Array<diffEntity>&, std::int32_t>(word, entity.*entities,
                                                                           entity.*count);
  };
}

}  // namespace

void RecordingHost::MessageBox(std::u16string_view text, MessageIcon icon) {
  EXPECT_EQ(icon, MessageIcon::none);
  messages.push_back(toUtf8(text));
}

std::shared_ptr<cComparisonOptions> allOptions() {
  auto options = std::make_shared<cComparisonOptions>();
  for (const Switch& one : kSwitches) (*options).*one.value = True;
  return options;
}

Schema sample() {
  Table table{.Name = u"orders",
              .Owner = u"dbo",
              .FullName = u"dbo.orders",
              .Columns = {},
              .PrimaryKey = {},
              .ForeignKey = {},
              .References = {},
              .Indexes = {},
              .Triggers = {},
              .Miscallaneous = {10, 80},
              .RsData = {}};
  table.Columns = {{u"id", u"int", 4, 10, 0, False, u"", 1},
                   {u"total", u"numeric", 9, 18, 2, True, u"0", 2}};
  table.PrimaryKey = {{u"pk_orders", u"id", u"Clustered"}};
  table.ForeignKey = {{u"fk_customer", u"customer", 1, u"customers", u"id", u"pk_customers"}};
  table.References = {{u"lines"}};
  table.Indexes = {{u"ix_total", u"total", u"nonclustered"}};
  table.Triggers = {{u"tr_orders", u"create trigger", True, False, True}};

  const Array<Column> parameters = {{u"@id", u"int", 4, 10, 0, False, u"", 1}};
  Permission granted;
  granted.Create_Table = True;
  granted.PermissionEntities.append({.EntityName = u"orders",
                                     .EntityOwner = u"dbo",
                                     .Grantor = u"dbo",
                                     .Insert = True,
                                     .Update = False,
                                     .Delete = False,
                                     .References = False,
                                     .Select = True,
                                     .Execute = False,
                                     .index = False,
                                     .Alter = False,
                                     .Control = False});
  Schema schema;
  schema.Tables = {table};
  schema.Views = {
      {u"v", u"dbo", u"dbo.v", {{u"c", u"char", 8, 0, 0, True, u"", 1}}, u"create view"}};
  schema.StoredProcs = {{u"p", u"dbo", u"dbo.p", parameters, u"create proc"}};
  schema.Functions = {{u"f", u"dbo", u"dbo.f", parameters, u"create function"}};
  schema.UDDTs = {{u"money2", u"dbo", u"dbo.money2", u"numeric", 9, 18, 2, True, u"r", u"d"}};
  schema.Users = {{u"ann", u"", u"ann", granted}};
  schema.Groups = {{u"staff", u"dbo", u"staff", {{u"ann", u"", u"ann", {}}}, granted}};
  return schema;
}

diffSchema differences(const Schema& source, const Schema& target,
                       const cComparisonOptions& options, Boolean isCaseSensitive,
                       const Preferences& preferences) {
  RecordingHost host;
  cCompareSchema engine(host);
  engine.CompareOptions = std::make_shared<cComparisonOptions>(options);
  engine.AppPreferences = &preferences;
  engine.IsSchemaCaseSensitive(isCaseSensitive);
  EXPECT_TRUE(engine.Compare(source, target));
  return engine.Results();
}

std::vector<std::string> lines(const diffSchema& result) {
  LineWriter writer;
  writer.write("Table", result.Tables, result.TableCount,
               part("Columns", &diffTable::Columns, &diffTable::ColumnCount),
               part("PrimaryKey", &diffTable::PrimaryKey, &diffTable::PrimaryKeyCount),
               part("ForeignKey", &diffTable::ForeignKey, &diffTable::ForeignKeyCount),
               part("References", &diffTable::References, &diffTable::ReferenceCount),
               part("Indexes", &diffTable::Indexes, &diffTable::IndexCount),
               part("Triggers", &diffTable::Triggers, &diffTable::TriggerCount),
               part("RsData", &diffTable::RsData, &diffTable::DataCount));
  writer.write("View", result.Views, result.ViewCount,
               part("Columns", &diffView::Columns, &diffView::ColumnCount));
  writer.write("StoredProc", result.StoredProcs, result.StoredProcCount,
               part("Columns", &diffStoredProc::Columns, &diffStoredProc::ColumnCount));
  writer.write("Function", result.Functions, result.FunctionCount,
               part("Columns", &diffFunction::Columns, &diffFunction::ColumnCount));
  writer.write(
      "User", result.Users, result.UserCount,
      part("SystemPermissions", &diffUser::SystemPermissions, &diffUser::SystemPermissionCount),
      part("ObjectPermissions", &diffUser::ObjectPermissions, &diffUser::ObjectPermissionCount));
  writer.write(
      "Role", result.Groups, result.GroupCount,
      part("SystemPermissions", &diffGroup::SystemPermissions, &diffGroup::SystemPermissionCount),
      part("ObjectPermissions", &diffGroup::ObjectPermissions, &diffGroup::ObjectPermissionCount),
      part("Users", &diffGroup::Users, &diffGroup::UserCount));
  writer.write("UDDT", result.UDDTs, result.UDDTCount);
  return writer.lines;
}

}  // namespace kelvane::test
