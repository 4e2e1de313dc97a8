// Lists a type library: every type with its members, identifiers, numbers, flags, layout and
// defaults. Usage: list_type_library FILE
#include <cstdio>
#include <stdexcept>
#include <string>
#include <windows.h>

namespace {

void check(HRESULT result, const char* what) {
  if (FAILED(result)) throw std::runtime_error(std::string(what) + " failed");
}

std::string text(const wchar_t* wide) {
  std::string out;
  for (; wide && *wide; ++wide) out += static_cast<char>(*wide);
  return out;
}

std::string take(BSTR name) {
  std::string out = text(name);
  SysFreeString(name);
  return out;
}

std::string guid(const GUID& id) {
  wchar_t out[40];
  StringFromGUID2(id, out, 40);
  return text(out);
}

std::string nameOf(ITypeInfo* info, MEMBERID member) {
  BSTR name = nullptr;
  check(info->GetDocumentation(member, &name, nullptr, nullptr, nullptr), "GetDocumentation");
  return take(name);
}

std::string simpleType(VARTYPE type) {
  switch (type) {
    case VT_I2:
      return "short";
    case VT_I4:
      return "long";
    case VT_BSTR:
      return "BSTR";
    case VT_BOOL:
      return "VARIANT_BOOL";
    case VT_DISPATCH:
      return "IDispatch*";
    case VT_UNKNOWN:
      return "IUnknown*";
    case VT_VARIANT:
      return "VARIANT";
    case VT_HRESULT:
      return "HRESULT";
    case VT_VOID:
      return "void";
    default:
      return "type " + std::to_string(type);
  }
}

std::string typeName(ITypeInfo* info, const TYPEDESC& type) {
  switch (type.vt) {
    case VT_PTR:
      return typeName(info, *type.lptdesc) + "*";
    case VT_SAFEARRAY:
      return "SAFEARRAY(" + typeName(info, *type.lptdesc) + ")";
    case VT_USERDEFINED: {
      ITypeInfo* other = nullptr;
      check(info->GetRefTypeInfo(type.hreftype, &other), "GetRefTypeInfo");
      std::string name = nameOf(other, MEMBERID_NIL);
      other->Release();
      return name;
    }
    default:
      return simpleType(type.vt);
  }
}

std::string valueText(VARIANT& value) {
  VARIANT asText;
  VariantInit(&asText);
  check(VariantChangeTypeEx(&asText, &value, LOCALE_INVARIANT, 0, VT_BSTR), "VariantChangeTypeEx");
  std::string out = text(asText.bstrVal);
  VariantClear(&asText);
  return simpleType(value.vt) + " " + out;
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
  if (element.paramdesc.wParamFlags & PARAMFLAG_FHASDEFAULT)
    out += " = " + valueText(element.paramdesc.pparamdescex->varDefaultValue);
  return out;
}

void listFunction(ITypeInfo* info, UINT at) {
  FUNCDESC* function = nullptr;
  check(info->GetFuncDesc(at, &function), "GetFuncDesc");
  BSTR names[20] = {};
  UINT named = 0;
  check(info->GetNames(function->memid, names, 20, &named), "GetNames");
  const char* kind = function->invkind == INVOKE_FUNC          ? "method"
                     : function->invkind == INVOKE_PROPERTYGET ? "get"
                     : function->invkind == INVOKE_PROPERTYPUT ? "put"
                                                               : "putref";
  std::printf("  %s %ld %s(", kind, function->memid, take(names[0]).c_str());
  for (UINT i = 0; i < static_cast<UINT>(function->cParams); ++i) {
    const std::string name = i + 1 < named ? take(names[i + 1]) : "";
    std::printf("%s%s", i ? ", " : "",
                parameter(info, function->lprgelemdescParam[i], name).c_str());
  }
  std::printf(") %s", typeName(info, function->elemdescFunc.tdesc).c_str());
  if (function->wFuncFlags) std::printf(" flags %x", function->wFuncFlags);
  std::printf("\n");
  info->ReleaseFuncDesc(function);
}

void listVariable(ITypeInfo* info, UINT at) {
  VARDESC* variable = nullptr;
  check(info->GetVarDesc(at, &variable), "GetVarDesc");
  const std::string name = nameOf(info, variable->memid);
  if (variable->varkind == VAR_CONST) {
    std::printf("  %s = %ld\n", name.c_str(), variable->lpvarValue->lVal);
  } else {
    std::printf("  %s: %s at %lu\n", name.c_str(),
                typeName(info, variable->elemdescVar.tdesc).c_str(), variable->oInst);
  }
  info->ReleaseVarDesc(variable);
}

void listType(ITypeInfo* info) {
  static constexpr const char* kKinds[] = {"enum",          "record",  "module", "interface",
                                           "dispinterface", "coclass", "alias",  "union"};
  TYPEATTR* attributes = nullptr;
  check(info->GetTypeAttr(&attributes), "GetTypeAttr");
  std::printf("%s %s %s", kKinds[attributes->typekind], nameOf(info, MEMBERID_NIL).c_str(),
              guid(attributes->guid).c_str());
  if (attributes->wTypeFlags) std::printf(" flags %x", attributes->wTypeFlags);
  if (attributes->typekind == TKIND_RECORD) std::printf(" size %lu", attributes->cbSizeInstance);
  std::printf("\n");
  for (UINT i = 0; i < attributes->cImplTypes; ++i) {
    HREFTYPE reference = 0;
    INT flags = 0;
    ITypeInfo* other = nullptr;
    check(info->GetRefTypeOfImplType(i, &reference), "GetRefTypeOfImplType");
    check(info->GetImplTypeFlags(i, &flags), "GetImplTypeFlags");
    check(info->GetRefTypeInfo(reference, &other), "GetRefTypeInfo");
    std::printf("  %s%s%s\n", flags & IMPLTYPEFLAG_FSOURCE ? "source " : "",
                flags & IMPLTYPEFLAG_FDEFAULT ? "default " : "",
                nameOf(other, MEMBERID_NIL).c_str());
    other->Release();
  }
  for (UINT i = 0; i < attributes->cVars; ++i) listVariable(info, i);
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    // What every dual interface has from IDispatch.
    FUNCDESC* function = nullptr;
    check(info->GetFuncDesc(i, &function), "GetFuncDesc");
    const bool inherited = static_cast<ULONG>(function->memid) >= 0x60000000UL &&
                           static_cast<ULONG>(function->memid) < 0x60020000UL;
    info->ReleaseFuncDesc(function);
    if (!inherited) listFunction(info, i);
  }
  info->ReleaseTypeAttr(attributes);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return std::fputs("usage: list_type_library FILE\n", stderr), 2;
  try {
    const std::string file = arguments[1];
    ITypeLib* library = nullptr;
    check(LoadTypeLibEx(std::wstring(file.begin(), file.end()).c_str(), REGKIND_NONE, &library),
          "LoadTypeLibEx");
    TLIBATTR* attributes = nullptr;
    check(library->GetLibAttr(&attributes), "GetLibAttr");
    BSTR name = nullptr;
    check(library->GetDocumentation(-1, &name, nullptr, nullptr, nullptr), "GetDocumentation");
    std::printf("library %s %s version %u.%u\n", take(name).c_str(), guid(attributes->guid).c_str(),
                attributes->wMajorVerNum, attributes->wMinorVerNum);
    library->ReleaseTLibAttr(attributes);
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
      ITypeInfo* info = nullptr;
      check(library->GetTypeInfo(i, &info), "GetTypeInfo");
      listType(info);
      info->Release();
    }
    library->Release();
  } catch (const std::exception& error) {
    return std::fprintf(stderr, "list_type_library: %s\n", error.what()), 1;
  }
  return 0;
}
