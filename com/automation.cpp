#include "com/automation.h"

#include <dispex.h>
#include <vector>

namespace kelvane::com {
namespace {

std::u16string textOfName(const wchar_t* wide) {
  return std::u16string(reinterpret_cast<const char16_t*>(wide));
}

// What an object said of its failure, whose texts are released here.
RuntimeError failureOf(EXCEPINFO& exception) {
  if (exception.pfnDeferredFillIn) exception.pfnDeferredFillIn(&exception);
  Variant description, source, help;
  description->vt = source->vt = help->vt = VT_BSTR;
  description->bstrVal = exception.bstrDescription;
  source->bstrVal = exception.bstrSource;
  help->bstrVal = exception.bstrHelpFile;
  const std::int32_t number = exception.wCode ? exception.wCode : numberOfResult(exception.scode);
  return {number, std::u16string(textOf(description->bstrVal)),
          std::u16string(textOf(source->bstrVal))};
}

}  // namespace

DISPID Automation::idOf(const wchar_t* member) {
  if (const auto known = ids_.find(member); known != ids_.end()) return known->second;
  DISPID id = DISPID_UNKNOWN;
  auto* name = const_cast<wchar_t*>(member);
  HRESULT found = object_->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id);
  if (FAILED(found)) {
    // Objects of script engines may only have their members looked up this way.
    if (const auto extended = object_.as<IDispatchEx>()) {
      Variant asText(textOfName(member));
      found = extended->GetDispID(asText->bstrVal, fdexNameCaseInsensitive, &id);
    }
  }
  if (found == DISP_E_UNKNOWNNAME || found == DISP_E_MEMBERNOTFOUND || found == E_NOTIMPL)
    throw RuntimeError(ErrorNumber::noSuchProperty,
                       u"The host's object has no member \"" + textOfName(member) + u"\"");
  require(found, u"The host's object does not tell of its member " + textOfName(member));
  ids_.emplace(member, id);
  return id;
}

void Automation::invoke(const wchar_t* member, WORD kind, std::span<const VARIANT> arguments,
                        VARIANT* result) {
  if (!object_)
    throw RuntimeError(ErrorNumber::notSet, u"There is no object to ask for " + textOfName(member));
  const DISPID id = idOf(member);
  // The last argument stands first. They stay the caller's.
  std::vector<VARIANT> reversed(arguments.rbegin(), arguments.rend());
  DISPID assigned = DISPID_PROPERTYPUT;
  DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  if (kind & DISPATCH_PROPERTYPUT) {
    parameters.rgdispidNamedArgs = &assigned;
    parameters.cNamedArgs = 1;
  }
  EXCEPINFO exception{};
  UINT badArgument = 0;
  const HRESULT called = object_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters,
                                         result, &exception, &badArgument);
  if (called == DISP_E_EXCEPTION) throw failureOf(exception);
  require(called, u"The host's object refused " + textOfName(member));
}

void Automation::get(const wchar_t* property, Variant& value, std::span<const VARIANT> arguments) {
  invoke(property, DISPATCH_PROPERTYGET, arguments, value.get());
}

void Automation::put(const wchar_t* property, const Variant& value) {
  VARIANT argument = *value;
  invoke(property, DISPATCH_PROPERTYPUT, {&argument, 1}, nullptr);
}

void Automation::call(const wchar_t* method, std::span<const VARIANT> arguments, Variant* result) {
  invoke(method, DISPATCH_METHOD, arguments, result ? result->get() : nullptr);
}

std::u16string Automation::text(const wchar_t* property) {
  Variant value;
  get(property, value);
  return textOf(*value);
}

std::int32_t Automation::number(const wchar_t* property) {
  Variant value;
  get(property, value);
  return numberOf(*value);
}

Boolean Automation::boolean(const wchar_t* property) {
  Variant value;
  get(property, value);
  return booleanOf(*value);
}

Automation Automation::object(const wchar_t* property) {
  Variant value;
  get(property, value);
  return Automation(objectOf(*value));
}

void Automation::item(std::int32_t index, Variant& value) {
  const Variant at(index);
  VARIANT argument = *at;
  // A collection's Item may be a property or a method.
  invoke(L"Item", DISPATCH_PROPERTYGET | DISPATCH_METHOD, {&argument, 1}, value.get());
}

}  // namespace kelvane::com
