// Which objects of each kind take part: all of them, or those named in a list.
//
// Lifetime: made by a host or a reader, shared with whoever it is given to. Threading: one thread
// at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "model/array.h"
#include "model/boolean.h"

namespace kelvane {

// Object names, each written as owner.name or as a bare name. Hosts may keep them in a collection
// of their own; the reader asks for them when it comes to their kind.
class NameList {
 public:
  virtual ~NameList() = default;
  virtual std::int32_t Count() const = 0;
  // By position, 1 to Count.
  virtual std::u16string Item(std::int32_t position) const = 0;
};

// A list that is a plain array.
class NameArray final : public NameList {
 public:
  explicit NameArray(Array<std::u16string> names) : names_(std::move(names)) {}

  std::int32_t Count() const override { return names_.count(); }
  std::u16string Item(std::int32_t position) const override { return names_[position]; }

 private:
  Array<std::u16string> names_;
};

// Lists are references: unset until the host sets them, and seen by everyone who holds the object.
class cAppliesTo {
 public:
  std::shared_ptr<NameList> SomeTables;
  std::shared_ptr<NameList> SomeStoredProcs;
  std::shared_ptr<NameList> SomeViews;
  std::shared_ptr<NameList> SomeGroups;
  std::shared_ptr<NameList> SomeUsers;
  std::shared_ptr<NameList> SomeUDDTs;
  std::shared_ptr<NameList> SomeFunctions;
  Boolean AllFunctions;
  Boolean AllUDDTs;
  Boolean AllUsers;
  Boolean AllGroups;
  Boolean AllViews;
  Boolean AllStoredProcs;
  Boolean AllTables;
};

}  // namespace kelvane
