// All objects that have names of their own, in an order in which they can be created.

#include <variant>

#include "inventory/ddl/creation_order.h"
#include "inventory/ddl/tables.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

class ObjectWriter {
 public:
  explicit ObjectWriter(Writing& writing) : writing_(writing) {}

  std::size_t create(const Creation& one) {
    phase_ = one.phase;
    return std::visit([&](const auto& record) { return create(record); }, one.record);
  }
  /// What refers to other objects, wherever those are in the order.
  void complete(const Creation& one) {
    std::visit([&](const auto& record) { complete(record); }, one.record);
  }

 private:
  std::size_t begin(Kind kind, const QualifiedName& name) {
    return writing_.begin(kind, shown(name), {name.owner, name.name});
  }

  std::size_t create(const Default* one) {
    const std::size_t at = begin(Kind::defaultObject, one->name);
    writeText(writing_, phase_, Kind::defaultObject, one->name, one->definition);
    return at;
  }
  std::size_t create(const Rule* one) {
    const std::size_t at = begin(Kind::rule, one->name);
    writeText(writing_, phase_, Kind::rule, one->name, one->definition);
    return at;
  }
  std::size_t create(const UserType* one) {
    const std::size_t at = begin(Kind::type, one->name);
    writeType(writing_, *one);
    return at;
  }
  std::size_t create(const EncryptionKey* one) {
    const std::size_t at = begin(Kind::encryptionKey, one->name);
    writeKey(writing_, *one);
    return at;
  }
  std::size_t create(const Table* one) {
    const std::size_t at = begin(Kind::table, one->name);
    if (writeTable(writing_, *one)) writeIndexes(writing_, *one);
    return at;
  }
  std::size_t create(const View* one) {
    const std::size_t at = begin(Kind::view, one->name);
    if (allowsName(Kind::view, one->name)) writeView(writing_, phase_, *one);
    return at;
  }
  std::size_t create(const Function* one) {
    const std::size_t at = begin(Kind::function, one->name);
    if (allowsName(Kind::function, one->name)) writeFunction(writing_, phase_, *one);
    return at;
  }
  std::size_t create(const ProcedureGroup& group) {
    const QualifiedName& name = group.front()->name;
    const std::size_t at = begin(Kind::procedure, name);
    if (!allowsName(Kind::procedure, name)) return at;
    for (const Procedure* one : group) writeProcedure(writing_, phase_, *one);
    return at;
  }
  bool allowsName(Kind kind, const QualifiedName& name) {
    return writing_.allowsName(name.name, phase_, titleOf(kind, shown(name)));
  }

  template <class Record>
  void complete(const Record&) {}
  void complete(const UserType* one) { writeTypeBindings(writing_, *one); }
  void complete(const View* one) { writeViewParts(writing_, *one); }
  void complete(const Table* one) {
    if (writing_.isLeftOut(titleOf(*one))) return;
    writeForeignKeys(writing_, *one);
    writeLogicalKeys(writing_, titleOf(*one), one->name, one->logicalKeys);
    writeBindings(writing_, *one);
    writeTriggers(writing_, one->name, one->triggers);
    writePermissions(writing_, Phase::permissions, one->name, one->permissions);
  }

  Writing& writing_;
  Phase phase_ = Phase::values;
};

}  // namespace

void writeObjects(Writing& writing) {
  CreationOrder order = creationOrder(writing.database());
  writing.setLate(std::move(order.late));
  ObjectWriter writer(writing);
  std::vector<std::size_t> objects;
  objects.reserve(order.all.size());
  for (const Creation& one : order.all) objects.push_back(writer.create(one));
  for (std::size_t at = 0; at < order.all.size(); ++at) {
    writing.resume(objects[at]);
    writer.complete(order.all[at]);
  }
}

}  // namespace kelvane::inventory
