// The switches and the scope, which hosts share between readers and comparisons.
//
// Lifetime: each shares its settings with the component. Threading: see edge.h.
#pragma once

#include <array>
#include <memory>

#include "com/host_objects.h"
#include "com/object.h"
#include "settings/applies_to.h"
#include "settings/comparison_options.h"

namespace kelvane::com {

// What a put of a property takes, as the type library says it: a value or a reference to one.
template <class Put>
struct PutArgument;
template <class Interface, class Argument>
struct PutArgument<HRESULT (STDMETHODCALLTYPE Interface::*)(Argument)> {
  using Type = Argument;
};

class ComparisonOptions final : public Object<ComparisonOptions, _cComparisonOptions> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cComparisonOptions);

  const std::shared_ptr<cComparisonOptions>& options() const { return options_; }
  explicit ComparisonOptions(
      std::shared_ptr<cComparisonOptions> options = std::make_shared<cComparisonOptions>())
      : options_(std::move(options)) {}

  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID id, LCID locale, WORD flags,
                                   DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception,
                                   UINT* badArgument) override;

#define KELVANE_SWITCH_MEMBERS(name)                                                     \
  HRESULT STDMETHODCALLTYPE get_##name(VARIANT_BOOL* result) override {                  \
    return guarded([&] { answer(result) = options_->name.raw(); });                      \
  }                                                                                      \
  HRESULT STDMETHODCALLTYPE put_##name(                                                  \
      PutArgument<decltype(&_cComparisonOptions::put_##name)>::Type newValue) override { \
    return guarded([&] { options_->name = flag(newValue); });                            \
  }
  KELVANE_SWITCHES(KELVANE_SWITCH_MEMBERS)
#undef KELVANE_SWITCH_MEMBERS

 private:
  static Boolean flag(VARIANT_BOOL value) { return Boolean::fromRaw(value); }
  static Boolean flag(VARIANT_BOOL* value) { return Boolean::fromRaw(answer(value)); }

  std::shared_ptr<cComparisonOptions> options_;
};

class AppliesTo final : public Object<AppliesTo, _cAppliesTo> {
 public:
  static constexpr const GUID& kClass = __uuidof(::cAppliesTo);

  const std::shared_ptr<cAppliesTo>& scope() const { return scope_; }
  explicit AppliesTo(std::shared_ptr<cAppliesTo> scope = std::make_shared<cAppliesTo>())
      : scope_(std::move(scope)) {}

#define KELVANE_LIST_MEMBERS(name)                                        \
  HRESULT STDMETHODCALLTYPE get_##name(IDispatch** result) override {     \
    return guarded([&] { handList(result, scope_->name); });              \
  }                                                                       \
  HRESULT STDMETHODCALLTYPE putref_##name(IDispatch* newValue) override { \
    return guarded([&] { scope_->name = listOf(newValue); });             \
  }
  KELVANE_LIST_MEMBERS(SomeTables)
  KELVANE_LIST_MEMBERS(SomeStoredProcs)
  KELVANE_LIST_MEMBERS(SomeViews)
  KELVANE_LIST_MEMBERS(SomeGroups)
  KELVANE_LIST_MEMBERS(SomeUsers)
  KELVANE_LIST_MEMBERS(SomeUDDTs)
  KELVANE_LIST_MEMBERS(SomeFunctions)
#undef KELVANE_LIST_MEMBERS

#define KELVANE_ALL_MEMBERS(name)                                        \
  HRESULT STDMETHODCALLTYPE get_##name(VARIANT_BOOL* result) override {  \
    return guarded([&] { answer(result) = scope_->name.raw(); });        \
  }                                                                      \
  HRESULT STDMETHODCALLTYPE put_##name(VARIANT_BOOL newValue) override { \
    return guarded([&] { scope_->name = Boolean::fromRaw(newValue); });  \
  }
  KELVANE_ALL_MEMBERS(AllFunctions)
  KELVANE_ALL_MEMBERS(AllUDDTs)
  KELVANE_ALL_MEMBERS(AllUsers)
  KELVANE_ALL_MEMBERS(AllGroups)
  KELVANE_ALL_MEMBERS(AllViews)
  KELVANE_ALL_MEMBERS(AllStoredProcs)
  KELVANE_ALL_MEMBERS(AllTables)
#undef KELVANE_ALL_MEMBERS

 private:
  static std::shared_ptr<NameList> listOf(IDispatch* object) {
    return object ? std::make_shared<HostNames>(object) : nullptr;
  }
  // Every list here came through listOf.
  static void handList(IDispatch** result, const std::shared_ptr<NameList>& list) {
    hand(result,
         Pointer<IDispatch>(list ? static_cast<const HostNames&>(*list).object() : nullptr));
  }

  std::shared_ptr<cAppliesTo> scope_;
};

}  // namespace kelvane::com
