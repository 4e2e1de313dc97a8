#include "com/edge.h"

#include <new>
#include <stdexcept>

namespace kelvane::com {
namespace {

// Text does not follow the user's settings: hosts in all countries get the same.
constexpr LCID kLocale = LOCALE_INVARIANT;

RuntimeError noSuchForm() {
  return {ErrorNumber::typeMismatch, u"The value has not the type that is needed"};
}

// A copy of the value without reference, in another type.
void convert(const VARIANT& value, VARTYPE type, Variant& converted) {
  Variant direct;
  if (FAILED(VariantCopyInd(direct.get(), const_cast<VARIANT*>(&value)))) throw noSuchForm();
  if (direct->vt == VT_NULL)
    throw RuntimeError(ErrorNumber::invalidNull, u"A null has no such value");
  if (FAILED(VariantChangeTypeEx(converted.get(), direct.get(), kLocale, VARIANT_ALPHABOOL, type)))
    throw noSuchForm();
}

}  // namespace

Variant::Variant(std::u16string_view text) : Variant() {
  value_.bstrVal = newText(text);
  value_.vt = VT_BSTR;
}
Variant::Variant(std::int32_t number) : Variant() {
  value_.vt = VT_I4;
  value_.lVal = number;
}
Variant::Variant(std::int16_t number) : Variant() {
  value_.vt = VT_I2;
  value_.iVal = number;
}
Variant::Variant(Boolean flag) : Variant() {
  value_.vt = VT_BOOL;
  value_.boolVal = flag.raw();
}
Variant::Variant(IDispatch* object) : Variant() {
  value_.vt = VT_DISPATCH;
  value_.pdispVal = object;
  if (object) object->AddRef();
}

std::u16string_view textOf(BSTR text) {
  return text ? std::u16string_view(reinterpret_cast<const char16_t*>(text), SysStringLen(text))
              : std::u16string_view();
}

BSTR newText(std::u16string_view text) {
  BSTR copy = SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.data()),
                                static_cast<UINT>(text.size()));
  if (!copy) throw std::bad_alloc();
  return copy;
}

const wchar_t* wide(const std::u16string& text) {
  return reinterpret_cast<const wchar_t*>(text.c_str());
}

std::u16string textOf(const VARIANT& value) {
  Variant converted;
  convert(value, VT_BSTR, converted);
  return std::u16string(textOf(converted->bstrVal));
}

std::int32_t numberOf(const VARIANT& value) {
  Variant converted;
  convert(value, VT_I4, converted);
  return converted->lVal;
}

Boolean booleanOf(const VARIANT& value) {
  Variant converted;
  convert(value, VT_BOOL, converted);
  return Boolean::fromRaw(converted->boolVal);
}

Pointer<IDispatch> objectOf(const VARIANT& value) {
  Variant converted;
  convert(value, VT_DISPATCH, converted);
  return Pointer<IDispatch>(converted->pdispVal);
}

bool isMissing(const VARIANT& value) {
  const VARIANT& direct = value.vt == (VT_BYREF | VT_VARIANT) ? *value.pvarVal : value;
  return direct.vt == VT_ERROR && direct.scode == DISP_E_PARAMNOTFOUND;
}

HRESULT resultOf(std::int32_t number) {
  // Hosts know positive numbers below 65536 as the ordinary run-time errors.
  return number < 0 ? number : MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number);
}

std::int32_t numberOfResult(HRESULT result) {
  return HRESULT_FACILITY(result) == FACILITY_CONTROL ? HRESULT_CODE(result) : result;
}

void require(HRESULT result, std::u16string_view what) {
  if (SUCCEEDED(result)) return;
  Pointer<IErrorInfo> information;
  std::u16string description(what), source = u"Kelvane";
  if (GetErrorInfo(0, information.receive()) == S_OK) {
    Variant text;
    if (information->GetDescription(&text->bstrVal) == S_OK) {
      text->vt = VT_BSTR;
      if (SysStringLen(text->bstrVal) != 0) description = textOf(text->bstrVal);
    }
    Variant from;
    if (information->GetSource(&from->bstrVal) == S_OK) {
      from->vt = VT_BSTR;
      if (SysStringLen(from->bstrVal) != 0) source = textOf(from->bstrVal);
    }
  }
  throw RuntimeError(numberOfResult(result), std::move(description), std::move(source));
}

HRESULT report(const std::exception_ptr& failure) noexcept {
  try {
    std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    // Hosts have a text of their own for it.
    return E_OUTOFMEMORY;
  } catch (const std::length_error&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    // Described below.
  }
  try {
    const RuntimeError error = RuntimeError::describe(failure);
    Pointer<ICreateErrorInfo> information;
    if (SUCCEEDED(CreateErrorInfo(information.receive()))) {
      information->SetDescription(const_cast<wchar_t*>(wide(error.Description())));
      information->SetSource(const_cast<wchar_t*>(wide(error.Source())));
      SetErrorInfo(0, information.as<IErrorInfo>().get());
    }
    return resultOf(error.Number());
  } catch (...) {
    // Not even the failure could be described: there is no memory for it.
    return E_OUTOFMEMORY;
  }
}

}  // namespace kelvane::com
