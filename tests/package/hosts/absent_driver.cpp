#include <iostream>

#include "drivers/odbc/connection.h"
#include "model/text.h"

int main() {
  try {
    kelvane::odbc::connect(u"Driver=/no/such/driver.so;PWD=secret");
  } catch (const kelvane::ado::Failure&) {
    return 0;
  }
  std::cerr << "a driver that there is not has connected\n";
  return 1;
}
