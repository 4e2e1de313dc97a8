#include "host/host.h"

#include <iostream>

#include "model/text.h"

namespace kelvane {

void Host::MessageBox(std::u16string_view text, MessageIcon) {
  std::cerr << "kelvane: " << toUtf8(text) << '\n';
}

Host& Host::standard() {
  static Host host;  // without state
  return host;
}

}  // namespace kelvane
