#include "reader/browsing.h"

#include <utility>

#include "model/attributes.h"
#include "model/text.h"

namespace kelvane {
namespace {

using browsing::Selector;

template <class Record>
std::int32_t positionOf(const Array<Record>& records, const std::u16string& fullName) {
  for (std::int32_t position = 1; position <= records.count(); ++position)
    if (records[position].FullName == fullName) return position;
  return 0;
}

template <class Record>
const Record* select(const Array<Record>& records, const Selector& selector) {
  const std::int32_t position =
      selector.index >= 1 ? selector.index : positionOf(records, selector.name);
  return position >= 1 && position <= records.count() ? &records[position] : nullptr;
}

template <class Record>
const std::u16string* definitionOf(const Array<Record>& records, const std::u16string& fullName) {
  const Record* record = select(records, {fullName});
  return record ? &record->Definition : nullptr;
}

const std::u16string* triggerDefinition(const Schema& schema, const std::u16string& name) {
  for (const Table& table : schema.Tables)
    for (const Trigger& trigger : table.Triggers)
      if (trigger.Name == name) return &trigger.Definition;
  return nullptr;
}

void addDefinitionSize(cKeyPairs& pairs, const std::u16string& definition) {
  pairs.Add(u"Definition", decimalText(static_cast<std::int64_t>(definition.size())) +
                               u" bytes of SQL code (double-click to view)");
}

template <class Record, class... Attributes>
void addProperties(cKeyPairs& pairs, const Record& record, const std::tuple<Attributes...>& order) {
  std::apply(
      [&](const auto&... attribute) {
        (pairs.Add(std::u16string(attribute.label), record.*attribute.value), ...);
      },
      order);
}

cKeyPairs& addEntity(cEntities& entities, std::u16string_view name) {
  auto entity = std::make_shared<cEntity>();
  entity->Name = name;
  return *entities.Add(std::move(entity))->Properties;
}

// One entity per record, named by one of its fields.
template <class Record, class... Attributes>
void addEntities(cEntities& entities, const Array<Record>& records, std::u16string Record::*name,
                 const std::tuple<Attributes...>& order) {
  for (const Record& record : records)
    addProperties(addEntity(entities, record.*name), record, order);
}

constexpr std::u16string_view kWrongPropertyType = u"Invalid Property Type for This Object ";

class SubEntityLists {
 public:
  SubEntityLists(const Schema& schema, Host& host, EntityIdentifier type, Selector selector)
      : schema_(schema), host_(host), type_(type), selector_(std::move(selector)) {}

  std::shared_ptr<cEntities> under(EntityIdentifier parentType) {
    switch (parentType) {
      case ID_TABLE:
        if (const Table* table = select(schema_.Tables, selector_)) ofTable(*table);
        break;
      case ID_VIEW:
        ofRoutine(schema_.Views, u"(GetEntityList_View)");
        break;
      case ID_STOREDPROC:
        ofRoutine(schema_.StoredProcs, u"(GetEntityList_StoredProc)");
        break;
      case ID_Function:
        ofRoutine(schema_.Functions, u"(GetEntityList_Function)");
        break;
      case ID_USER:
        if (const User* user = select(schema_.Users, selector_))
          ofPrincipal(user->Permissions, nullptr, u"(GetEntityList_User)");
        break;
      case ID_GROUP:
        if (const Group* group = select(schema_.Groups, selector_))
          ofPrincipal(group->Permissions, &group->Users, u"(GetEntityList_Group)");
        break;
      case ID_UDDT:
        break;
      default:
        host_.MessageBox(u"Invalid Parent Object Type", MessageIcon::exclamation);
    }
    return entities_;
  }

 private:
  void refuse(std::u16string_view builder) {
    host_.MessageBox(std::u16string(kWrongPropertyType) + std::u16string(builder),
                     MessageIcon::none);
  }

  void ofTable(const Table& table) {
    switch (type_) {
      case ID_COLUMN:
        addEntities(*entities_, table.Columns, &Column::Name, attributes::kColumn);
        break;
      case ID_PRIMARY_KEY:
        addEntities(*entities_, table.PrimaryKey, &PrimaryKey::Columns, attributes::kPrimaryKey);
        break;
      case ID_FOREIGN_KEY:
        addEntities(*entities_, table.ForeignKey, &Key::ColumnName,
                    attributes::kForeignKeyProperties);
        break;
      case ID_INDEX:
        addEntities(*entities_, table.Indexes, &index::IndexKeys, attributes::kIndexProperties);
        break;
      case ID_TRIGGER:
        for (const Trigger& trigger : table.Triggers) {
          cKeyPairs& pairs = addEntity(*entities_, trigger.Name);
          addDefinitionSize(pairs, trigger.Definition);
          addProperties(pairs, trigger, attributes::kTriggerProperties);
        }
        break;
      default:
        break;
    }
  }

  // Views, procedures and functions.
  template <class Record>
  void ofRoutine(const Array<Record>& records, std::u16string_view builder) {
    const Record* record = select(records, selector_);
    if (!record) return;
    if (type_ == ID_COLUMN)
      addEntities(*entities_, record->Columns, &Column::Name, attributes::kColumn);
    else if (type_ != ID_DEFINITION)
      refuse(builder);
  }

  // Users, and groups, which have members.
  void ofPrincipal(const Permission& permissions, const Array<User>* members,
                   std::u16string_view builder) {
    if (type_ == ID_SYSTEM_PERMISSIONS) {
      addProperties(addEntity(*entities_, u"Standard"), permissions, attributes::kSystemPermission);
    } else if (type_ == ID_OBJECT_PERMISSIONS) {
      addEntities(*entities_, permissions.PermissionEntities, &PermissionEntity::EntityName,
                  attributes::kObjectPermissionProperties);
    } else if (type_ == ID_GROUP_USERS && members) {
      addEntities(*entities_, *members, &User::Name, std::tuple<>());
    } else {
      refuse(builder);
    }
  }

  const Schema& schema_;
  Host& host_;
  EntityIdentifier type_;
  Selector selector_;
  std::shared_ptr<cEntities> entities_ = std::make_shared<cEntities>();
};

template <class Record>
void addRoutineProperties(cKeyPairs& pairs, const Array<Record>& records,
                          const Selector& selector) {
  if (const Record* record = select(records, selector))
    addDefinitionSize(pairs, record->Definition);
}

}  // namespace

namespace browsing {

std::int32_t ObjectExists(const Schema& schema, EntityIdentifier ObjectType,
                          const std::u16string& ObjectName) {
  switch (ObjectType) {
    case ID_TABLE:
      return positionOf(schema.Tables, ObjectName);
    case ID_VIEW:
      return positionOf(schema.Views, ObjectName);
    case ID_STOREDPROC:
      return positionOf(schema.StoredProcs, ObjectName);
    case ID_GROUP:
      return positionOf(schema.Groups, ObjectName);
    case ID_USER:
      return positionOf(schema.Users, ObjectName);
    case ID_UDDT:
      return positionOf(schema.UDDTs, ObjectName);
    case ID_Function:
      return positionOf(schema.Functions, ObjectName);
    default:
      return 0;
  }
}

std::u16string GetObjectSource(const Schema& schema, const std::u16string& ObjectName,
                               const std::u16string& ObjectType) {
  const auto is = [&](std::u16string_view type) { return compareLowerCase(ObjectType, type) == 0; };
  const std::u16string* definition = nullptr;
  if (is(u"storedproc")) {
    definition = definitionOf(schema.StoredProcs, ObjectName);
  } else if (is(u"view")) {
    definition = definitionOf(schema.Views, ObjectName);
  } else if (is(u"function")) {
    definition = definitionOf(schema.Functions, ObjectName);
  } else if (is(u"trigger")) {
    definition = triggerDefinition(schema, ObjectName);
  }
  return definition ? *definition : std::u16string();
}

std::shared_ptr<cEntities> GetSubEntityList(const Schema& schema, Host& host,
                                            EntityIdentifier ParentObjectType,
                                            EntityIdentifier ObjectType, const Selector& parent) {
  return SubEntityLists(schema, host, ObjectType, parent).under(ParentObjectType);
}

std::shared_ptr<cKeyPairs> GetEntityPropertyList(const Schema& schema, Host& host,
                                                 EntityIdentifier ObjectType,
                                                 const Selector& object) {
  auto pairs = std::make_shared<cKeyPairs>();
  switch (ObjectType) {
    case ID_TABLE:
      if (const Table* table = select(schema.Tables, object))
        addProperties(*pairs, table->Miscallaneous, attributes::kTableProperties);
      break;
    case ID_UDDT:
      if (const UDDT* userType = select(schema.UDDTs, object))
        addProperties(*pairs, *userType, attributes::kUserType);
      break;
    case ID_STOREDPROC:
      addRoutineProperties(*pairs, schema.StoredProcs, object);
      break;
    case ID_VIEW:
      addRoutineProperties(*pairs, schema.Views, object);
      break;
    case ID_Function:
      addRoutineProperties(*pairs, schema.Functions, object);
      break;
    case ID_GROUP:
    case ID_USER:
      break;
    default:
      host.MessageBox(u"Invalid Object Type for Property List", MessageIcon::exclamation);
  }
  return pairs;
}

}  // namespace browsing

}  // namespace kelvane
