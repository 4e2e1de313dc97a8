// Automation objects made of functions, for what a host would have: preferences, lists, sinks.
//
// Lifetime: counted references; made with one, which the Pointer holds. Threading: one thread.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "com/object.h"

namespace kelvane::testing {

// Members are called by name alone. An exception becomes the failure of the call.
class AutomationObject final : public com::Single<AutomationObject, IDispatch> {
 public:
  // Arguments in the order of the call, without references; the answer may be left empty.
  using Arguments = std::vector<VARIANT>;
  using Member = std::function<void(const Arguments&, VARIANT& result)>;

  // A property that is put is the member with a "=" before its name.
  static com::Pointer<AutomationObject> make(std::map<std::wstring, Member> members);

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* arguments,
                                   VARIANT* result, EXCEPINFO* exception, UINT*) override;

 private:
  explicit AutomationObject(std::map<std::wstring, Member> members);

  std::map<std::wstring, Member> members_;
  std::vector<std::wstring> names_;  // DISPIDs are positions here, from 1
};

// Puts an answer into a result.
void give(VARIANT& result, std::u16string_view text);
void give(VARIANT& result, std::int32_t number);
void give(VARIANT& result, Boolean flag);
void give(VARIANT& result, IDispatch* object);

}  // namespace kelvane::testing
