// How ODBC programs reach a server through FreeTDS's driver.
//
// A free function.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "model/text.h"

namespace kelvane::tds {

/// `more` is further attributes: "Database=pubs".
inline std::u16string freeTdsSource(int port, std::u16string_view user = u"sa",
                                    std::u16string_view password = u"secret",
                                    std::u16string_view more = {}) {
  std::u16string source = u"Driver=FreeTDS;TDS_Version=5.0;Server=127.0.0.1;Port=";
  source +=
      decimalText(port) + u";UID=" + std::u16string(user) + u";PWD=" + std::u16string(password);
  return more.empty() ? source : source + u";" + std::u16string(more);
}

}  // namespace kelvane::tds
