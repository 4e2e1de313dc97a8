#include "com/settings.h"

#include <type_traits>

namespace kelvane::com {
namespace {

// Which puts take a reference, by the number of the switch.
constexpr bool kTakeReference[] = {
#define KELVANE_TAKES_REFERENCE(name) \
  std::is_pointer_v<PutArgument<decltype(&_cComparisonOptions::put_##name)>::Type>,
    KELVANE_SWITCHES(KELVANE_TAKES_REFERENCE)
#undef KELVANE_TAKES_REFERENCE
};

bool putsReference(DISPID member, WORD flags) {
  return (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0 && member >= 0 &&
         static_cast<std::size_t>(member) < std::size(kTakeReference) && kTakeReference[member];
}

}  // namespace

HRESULT ComparisonOptions::Invoke(DISPID member, REFIID id, LCID locale, WORD flags,
                                  DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception,
                                  UINT* badArgument) {
  if (!putsReference(member, flags) || !arguments || arguments->cArgs != 1)
    return Object::Invoke(member, id, locale, flags, arguments, result, exception, badArgument);
  // The system converts values, but takes no reference to anything else than a Boolean.
  VARIANT_BOOL flag = VARIANT_FALSE;
  const HRESULT converted = guarded([&] { flag = booleanOf(arguments->rgvarg[0]).raw(); });
  if (FAILED(converted)) {
    if (badArgument) *badArgument = 0;
    return DISP_E_TYPEMISMATCH;
  }
  VARIANT reference{};
  reference.vt = VT_BYREF | VT_BOOL;
  reference.pboolVal = &flag;
  DISPPARAMS passed = *arguments;
  passed.rgvarg = &reference;
  return Object::Invoke(member, id, locale, flags, &passed, result, exception, badArgument);
}

}  // namespace kelvane::com
