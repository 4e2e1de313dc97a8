#include "cli/words/object_kinds.h"

#include "report/kind_words.h"

namespace kelvane::cli {
namespace {

template <auto Objects>
void forEach(const Schema& schema, const std::function<void(const ObjectName&)>& take) {
  for (const auto& object : schema.*Objects) take({object.Name, object.FullName});
}

template <auto Objects>
constexpr ObjectKind rowOf(enumEntityType kind, std::u16string_view group) {
  return {kind, wordOf(kind), group, forEach<Objects>};
}

}  // namespace

const std::array<ObjectKind, 7> kObjectKinds{
    rowOf<&Schema::Tables>(entity_TABLE, u"Tables"),
    rowOf<&Schema::Views>(entity_VIEW, u"Views"),
    rowOf<&Schema::StoredProcs>(entity_STOREDPROC, u"StoredProcs"),
    rowOf<&Schema::Functions>(entity_FUNCTION, u"Functions"),
    rowOf<&Schema::Users>(entity_USER, u"Users"),
    rowOf<&Schema::Groups>(entity_GROUP, u"Groups"),
    rowOf<&Schema::UDDTs>(entity_UDDT, u"UDDTs"),
};

}  // namespace kelvane::cli
