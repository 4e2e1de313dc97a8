#include "support.h"

#include <gtest/gtest.h>

#include "model/text.h"

namespace kelvane::test {
namespace {

// Where an entity keeps the sub-entities of one kind.
template <class Entity>
struct Part {
  const char* word;
  Array<diffEntity> Entity::*entities;
  std::int32_t Entity::*count;
};

struct LineWriter {
  std::vector<std::string> lines;

  template <class Entity>
  void write(const char* kind, const Array<Entity>& entities, std::int32_t count,
             std::initializer_list<Part<Entity>> parts) {
    EXPECT_EQ(entities.count(), count) << kind;
    for (const Entity& entity : entities) {
      const std::string path = std::string(kind) + " " + toUtf8(entity.FullName);
      writeDiffs(path, entity);
      for (const Part<Entity>& part : parts) {
        EXPECT_EQ((entity.*part.entities).count(), entity.*part.count) << path << part.word;
        for (const diffEntity& below : entity.*part.entities)
          writeDiffs(path + " " + part.word + " " + toUtf8(below.Name), below);
      }
    }
  }

  void writeDiffs(const std::string& path, const auto& entity) {
    EXPECT_EQ(entity.Diff.count(), entity.DiffCount) << path;
    for (const typeDiff& diff : entity.Diff) {
      EXPECT_EQ(diff.EntityTreeType + diff.EntityTreeDef, u"");
      const std::string label =
          toUtf8(diff.SubEntityType) + (diff.SubEntityType.empty() ? "" : " ");
      const std::string data =
          "[" + toUtf8(diff.DataOnSource) + "] [" + toUtf8(diff.DataOnTarget) + "]";
      if (diff.DiffType == diff_Different) {
        EXPECT_EQ(diff.Location, location_Source);
        lines.push_back(path + ": " + label + data);
      } else {
        EXPECT_EQ(data, "[] []");
        lines.push_back(path + ": " + label + "is on " +
                        (diff.Location == location_Source ? "source only" : "target only"));
      }
    }
  }
};

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
  Table table;
  table.Name = u"orders";
  table.Owner = u"dbo";
  table.FullName = u"dbo.orders";
  table.Miscallaneous = {10, 80};
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
  PermissionEntity onOrders;
  onOrders.EntityName = u"orders";
  onOrders.EntityOwner = u"dbo";
  onOrders.Insert = onOrders.Select = True;
  granted.PermissionEntities.append(onOrders);
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
  using T = diffTable;
  using U = diffUser;
  using G = diffGroup;
  LineWriter writer;
  writer.write("Table", result.Tables, result.TableCount,
               {{"Columns", &T::Columns, &T::ColumnCount},
                {"PrimaryKey", &T::PrimaryKey, &T::PrimaryKeyCount},
                {"ForeignKey", &T::ForeignKey, &T::ForeignKeyCount},
                {"References", &T::References, &T::ReferenceCount},
                {"Indexes", &T::Indexes, &T::IndexCount},
                {"Triggers", &T::Triggers, &T::TriggerCount},
                {"RsData", &T::RsData, &T::DataCount}});
  writer.write("View", result.Views, result.ViewCount,
               {{"Columns", &diffView::Columns, &diffView::ColumnCount}});
  writer.write("StoredProc", result.StoredProcs, result.StoredProcCount,
               {{"Columns", &diffStoredProc::Columns, &diffStoredProc::ColumnCount}});
  writer.write("Function", result.Functions, result.FunctionCount,
               {{"Columns", &diffFunction::Columns, &diffFunction::ColumnCount}});
  writer.write("User", result.Users, result.UserCount,
               {{"SystemPermissions", &U::SystemPermissions, &U::SystemPermissionCount},
                {"ObjectPermissions", &U::ObjectPermissions, &U::ObjectPermissionCount}});
  writer.write("Role", result.Groups, result.GroupCount,
               {{"SystemPermissions", &G::SystemPermissions, &G::SystemPermissionCount},
                {"ObjectPermissions", &G::ObjectPermissions, &G::ObjectPermissionCount},
                {"Users", &G::Users, &G::UserCount}});
  writer.write("UDDT", result.UDDTs, result.UDDTCount, {});
  return writer.lines;
}

}  // namespace kelvane::test
