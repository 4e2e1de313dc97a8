// What recordsets of every kind say to a caller who asks at the wrong time.
//
// Threading: free functions without state.
#pragma once

#include <string>
#include <string_view>

#include "model/runtime_error.h"

namespace kelvane::ado {

inline RuntimeError closedError() {
  return {ErrorNumber::invalidArgument, u"The recordset is closed", u"Kelvane.ado"};
}
inline RuntimeError noRowError() {
  return {ErrorNumber::invalidArgument, u"The recordset is not on a row", u"Kelvane.ado"};
}
inline RuntimeError noFieldError(std::u16string_view which) {
  return {ErrorNumber::itemNotFound, u"The recordset has no field " + std::u16string(which),
          u"Kelvane.ado"};
}
inline RuntimeError forwardOnlyError() {
  return {ErrorNumber::invalidArgument, u"Rows that are read forward only cannot be sorted",
          u"Kelvane.ado"};
}

}  // namespace kelvane::ado
