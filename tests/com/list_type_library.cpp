// Lists a type library: every type with its members, identifiers, numbers, flags, layout and
// defaults. Usage: list_type_library FILE
#include <array>
#include <iostream>
#include <memory>

#include "com/edge.h"
#include "model/text.h"

namespace {

using namespace kelvane;
using com::Pointer;
using com::require;

// A description that its type information lends.
template <class Description, auto Get, auto Release, class... Arguments>
auto lent(ITypeInfo* info, Arguments... arguments) {
  Description* description = nullptr;
  require((info->*Get)(arguments..., &description), u"The type library lacks a description");
  const auto release = [info](Description* one) { (info->*Release)(one); };
  return std::unique_ptr<Description, decltype(release)>(description, release);
}

std::string take(BSTR name) {
  std::string text = toUtf8(com::textOf(name));
  SysFreeString(name);
  return text;
}

std::string guid(const GUID& id) {
  std::array<wchar_t, 40> text;
  StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  return toUtf8(reinterpret_cast<const char16_t*>(text.data()));
}

std::string nameOf(ITypeInfo* info, MEMBERID member) {
  BSTR name = nullptr;
  require(info->GetDocumentation(member, &name, nullptr, nullptr, nullptr), u"GetDocumentation");
  return take(name);
}

std::string simpleType(VARTYPE type) {
  static constexpr struct {
    VARENUM type;
    const char* name;
  } kNames[] = {{VT_I2, "short"},
                {VT_I4, "long"},
                {VT_BSTR, "BSTR"},
                {VT_BOOL, "VARIANT_BOOL"},
                {VT_VARIANT, "VARIANT"},
                {VT_HRESULT, "HRESULT"},
                {VT_DISPATCH, "IDispatch*"},
                {VT_UNKNOWN, "IUnknown*"},
                {VT_VOID, "void"}};
  for (const auto& [known, name] : kNames)
    if (known == type) return name;
  return "type " + std::to_string(type);
}

std::string typeName(ITypeInfo* info, const TYPEDESC& type) {
  if (type.vt == VT_PTR) return typeName(info, *type.lptdesc) + "*";
  if (type.vt == VT_SAFEARRAY) return "SAFEARRAY(" + typeName(info, *type.lptdesc) + ")";
  if (type.vt != VT_USERDEFINED) return simpleType(type.vt);
  Pointer<ITypeInfo> other;
  require(info->GetRefTypeInfo(type.hreftype, other.receive()), u"GetRefTypeInfo");
  return nameOf(other.get(), MEMBERID_NIL);
}

std::string parameter(ITypeInfo* info, const ELEMDESC& element, const std::string& name) {
  static constexpr struct {
    USHORT flag;
    const char* word;
  } kFlags[] = {{PARAMFLAG_FIN, "in"},
                {PARAMFLAG_FOUT, "out"},
                {PARAMFLAG_FRETVAL, "retval"},
                {PARAMFLAG_FOPT, "optional"}};
  std::string words;
  for (const auto& [flag, word] : kFlags)
    if (element.paramdesc.wParamFlags & flag)
      words += (words.empty() ? "" : ",") + std::string(word);
  std::string out = "[" + words + "] " + typeName(info, element.tdesc) + " " + name;
  if (element.paramdesc.wParamFlags & PARAMFLAG_FHASDEFAULT) {
    const VARIANT& value = element.paramdesc.pparamdescex->varDefaultValue;
    out += " = " + simpleType(value.vt) + " " + std::to_string(com::numberOf(value));
  }
  return out;
}

void listFunction(ITypeInfo* info, UINT at) {
  const auto function =
      lent<FUNCDESC, &ITypeInfo::GetFuncDesc, &ITypeInfo::ReleaseFuncDesc>(info, at);
  // What every dual interface has from IDispatch.
  const auto number = static_cast<ULONG>(function->memid);
  if (number >= 0x60000000UL && number < 0x60020000UL) return;
  std::array<BSTR, 20> names{};
  UINT named = 0;
  require(info->GetNames(function->memid, names.data(), UINT{names.size()}, &named), u"GetNames");
  const char* kind = function->invkind == INVOKE_FUNC          ? "method"
                     : function->invkind == INVOKE_PROPERTYGET ? "get"
                     : function->invkind == INVOKE_PROPERTYPUT ? "put"
                                                               : "putref";
  std::cout << "  " << kind << ' ' << function->memid << ' ' << take(names[0]) << '(';
  for (UINT i = 0; i < static_cast<UINT>(function->cParams); ++i)
    std::cout << (i ? ", " : "")
              << parameter(info, function->lprgelemdescParam[i],
                           i + 1 < named ? take(names[i + 1]) : "");
  std::cout << ") " << typeName(info, function->elemdescFunc.tdesc);
  if (function->wFuncFlags) std::cout << " flags " << std::hex << function->wFuncFlags << std::dec;
  std::cout << '\n';
}

void listVariable(ITypeInfo* info, UINT at) {
  const auto variable = lent<VARDESC, &ITypeInfo::GetVarDesc, &ITypeInfo::ReleaseVarDesc>(info, at);
  std::cout << "  " << nameOf(info, variable->memid);
  if (variable->varkind == VAR_CONST) {
    std::cout << " = " << variable->lpvarValue->lVal << '\n';
  } else {
    std::cout << ": " << typeName(info, variable->elemdescVar.tdesc) << " at " << variable->oInst
              << '\n';
  }
}

void listBase(ITypeInfo* info, UINT at) {
  HREFTYPE reference = 0;
  INT flags = 0;
  Pointer<ITypeInfo> base;
  require(info->GetRefTypeOfImplType(at, &reference), u"GetRefTypeOfImplType");
  require(info->GetImplTypeFlags(at, &flags), u"GetImplTypeFlags");
  require(info->GetRefTypeInfo(reference, base.receive()), u"GetRefTypeInfo");
  std::cout << "  " << (flags & IMPLTYPEFLAG_FSOURCE ? "source " : "")
            << (flags & IMPLTYPEFLAG_FDEFAULT ? "default " : "") << nameOf(base.get(), MEMBERID_NIL)
            << '\n';
}

void listType(ITypeInfo* info) {
  static constexpr const char* kKinds[] = {"enum",          "record",  "module", "interface",
                                           "dispinterface", "coclass", "alias",  "union"};
  const auto type = lent<TYPEATTR, &ITypeInfo::GetTypeAttr, &ITypeInfo::ReleaseTypeAttr>(info);
  std::cout << kKinds[type->typekind] << ' ' << nameOf(info, MEMBERID_NIL) << ' '
            << guid(type->guid);
  if (type->wTypeFlags) std::cout << " flags " << std::hex << type->wTypeFlags << std::dec;
  if (type->typekind == TKIND_RECORD) std::cout << " size " << type->cbSizeInstance;
  std::cout << '\n';
  for (UINT i = 0; i < type->cImplTypes; ++i) listBase(info, i);
  for (UINT i = 0; i < type->cVars; ++i) listVariable(info, i);
  for (UINT i = 0; i < type->cFuncs; ++i) listFunction(info, i);
}

void listLibrary(const char* file) {
  const std::u16string path = toUtf16(file);
  Pointer<ITypeLib> library;
  require(LoadTypeLibEx(com::wide(path), REGKIND_NONE, library.receive()), u"LoadTypeLibEx");
  TLIBATTR* attributes = nullptr;
  BSTR name = nullptr;
  require(library->GetLibAttr(&attributes), u"GetLibAttr");
  require(library->GetDocumentation(-1, &name, nullptr, nullptr, nullptr), u"GetDocumentation");
  std::cout << "library " << take(name) << ' ' << guid(attributes->guid) << " version "
            << attributes->wMajorVerNum << '.' << attributes->wMinorVerNum << '\n';
  library->ReleaseTLibAttr(attributes);
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    Pointer<ITypeInfo> info;
    require(library->GetTypeInfo(i, info.receive()), u"GetTypeInfo");
    listType(info.get());
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return std::cerr << "usage: list_type_library FILE\n", 2;
  try {
    listLibrary(arguments[1]);
  } catch (const std::exception& error) {
    return std::cerr << "list_type_library: " << error.what() << '\n', 1;
  }
  return 0;
}
