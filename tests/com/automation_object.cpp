#include "tests/com/automation_object.h"

#include <memory>

namespace kelvane::testing {
using com::Pointer;

void give(VARIANT& result, std::u16string_view text) {
  result.vt = VT_BSTR;
  result.bstrVal = com::newText(text);
}
void give(VARIANT& result, std::int32_t number) {
  result.vt = VT_I4;
  result.lVal = number;
}
void give(VARIANT& result, Boolean flag) {
  result.vt = VT_BOOL;
  result.boolVal = flag.raw();
}
void give(VARIANT& result, IDispatch* object) {
  result.vt = VT_DISPATCH;
  result.pdispVal = Pointer<IDispatch>(object).detach();
}

AutomationObject::AutomationObject(std::map<std::wstring, Member> members)
    : members_(std::move(members)) {
  for (const auto& [name, member] : members_)
    names_.push_back(name.starts_with(L'=') ? name.substr(1) : name);
}

Pointer<AutomationObject> AutomationObject::make(std::map<std::wstring, Member> members) {
  return Pointer<AutomationObject>::taking(new AutomationObject(std::move(members)));
}

HRESULT AutomationObject::GetTypeInfoCount(UINT* count) {
  *count = 0;
  return S_OK;
}
HRESULT AutomationObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (count != 1 || lstrcmpiW(names_[i].c_str(), names[0]) != 0) continue;
    ids[0] = static_cast<DISPID>(i) + 1;
    return S_OK;
  }
  return DISP_E_UNKNOWNNAME;
}
HRESULT AutomationObject::Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* arguments,
                                 VARIANT* result, EXCEPINFO* exception, UINT*) {
  if (member < 1 || static_cast<std::size_t>(member) > names_.size()) return DISP_E_MEMBERNOTFOUND;
  const bool put = flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF);
  const std::wstring& name = names_[static_cast<std::size_t>(member) - 1];
  const auto found = members_.find(put ? L"=" + name : name);
  if (found == members_.end()) return DISP_E_MEMBERNOTFOUND;
  Arguments inOrder;
  std::vector<std::unique_ptr<com::Variant>> direct;
  for (UINT i = arguments->cArgs; i > 0;) {
    VariantCopyInd(direct.emplace_back(std::make_unique<com::Variant>())->get(),
                   &arguments->rgvarg[--i]);
    inOrder.push_back(**direct.back());
  }
  const Pointer<AutomationObject> alive(this);
  com::Variant unwanted;
  const HRESULT called =
      com::guarded([&] { found->second(inOrder, result ? *result : *unwanted.get()); });
  if (SUCCEEDED(called) || !exception) return called;
  Pointer<IErrorInfo> information;
  exception->scode = called;
  if (GetErrorInfo(0, information.receive()) == S_OK) {
    information->GetDescription(&exception->bstrDescription);
    information->GetSource(&exception->bstrSource);
  }
  return DISP_E_EXCEPTION;
}

}  // namespace kelvane::testing
