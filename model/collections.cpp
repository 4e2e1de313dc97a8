#include "model/collections.h"

namespace kelvane {
namespace {

bool isNamed(std::u16string_view property, std::u16string_view name) {
  return equalText(property, name, CaseMode::ignore);
}

RuntimeError noSuchProperty(std::u16string_view property) {
  return {ErrorNumber::noSuchProperty,
          u"There is no property \"" + std::u16string(property) + u"\""};
}

}  // namespace

std::u16string cKeyPair::propertyText(std::u16string_view property) const {
  if (isNamed(property, u"Name")) return Name;
  if (isNamed(property, u"Value")) return Value;
  throw noSuchProperty(property);
}

void cKeyPairs::Add(std::u16string Name, const Scalar& Value) {
  auto pair = std::make_shared<cKeyPair>();
  pair->Name = Name;
  pair->Value = Value.text();
  append(std::move(pair), std::move(Name));
}

std::u16string cEntity::propertyText(std::u16string_view property) const {
  if (isNamed(property, u"Name")) return Name;
  if (isNamed(property, u"Properties"))
    throw RuntimeError(ErrorNumber::typeMismatch, u"Properties has no value that is text");
  throw noSuchProperty(property);
}

std::shared_ptr<cEntity> cEntities::Add(std::shared_ptr<cEntity> entity,
                                        std::optional<std::u16string> Key) {
  append(entity, std::move(Key));
  return entity;
}

}  // namespace kelvane
