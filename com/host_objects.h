// The host's objects as the component knows them: preferences, lists of names, progress sinks, its
// user.
//
// Lifetime: each keeps a reference to the host's object. Threading: see edge.h.
#pragma once

#include <memory>

#include "com/automation.h"
#include "host/host.h"
#include "reader/idb_fetch.h"
#include "settings/applies_to.h"

namespace kelvane::com {

// Shows real message boxes; without a desktop they go to the system's application log. Yields to
// the thread's message loop.
Host& windowsHost();

// The property of the same name is read whenever a preference is asked for.
class HostPreferences final : public AppPreferences {
 public:
  explicit HostPreferences(IDispatch* object) : object_(Pointer<IDispatch>(object)) {}

  IDispatch* object() const { return object_.get(); }

  Boolean IgnoreTabs() const override { return object_.boolean(L"IgnoreTabs"); }
  Boolean IgnoreSpaces() const override { return object_.boolean(L"IgnoreSpaces"); }
  Boolean IgnoreLineBreaks() const override { return object_.boolean(L"IgnoreLineBreaks"); }
  Boolean LimitDataCompareRows() const override { return object_.boolean(L"LimitDataCompareRows"); }
  std::int32_t MaxDataCompareRows() const override { return object_.number(L"MaxDataCompareRows"); }
  Boolean LimitDataCompareDifferences() const override {
    return object_.boolean(L"LimitDataCompareDifferences");
  }
  std::int32_t MaxDataCompareDifferences() const override {
    return object_.number(L"MaxDataCompareDifferences");
  }

 private:
  mutable Automation object_;
};

// Any object with Count and Item, from 1, whose items can be read as text.
class HostNames final : public NameList {
 public:
  explicit HostNames(IDispatch* object) : object_(Pointer<IDispatch>(object)) {}

  IDispatch* object() const { return object_.get(); }

  std::int32_t Count() const override { return object_.number(L"Count"); }
  std::u16string Item(std::int32_t position) const override;

 private:
  mutable Automation object_;
};

// An IDBFetchEvents, or any object with methods of those names.
std::shared_ptr<kelvane::IDBFetchEvents> sinkFor(IDispatch* object);

}  // namespace kelvane::com
