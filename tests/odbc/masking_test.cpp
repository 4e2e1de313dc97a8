#include <gtest/gtest.h>

#include "drivers/odbc/connection.h"
#include "model/text.h"

namespace kelvane::odbc {
namespace {

TEST(Masking, HidesSecretsAndNothingElse) {
  struct Case {
    const char16_t* text;
    const char16_t* shown;
  };
  for (const Case& c : {
           Case{u"DSN=prod;UID=sa;PWD=hush", u"DSN=prod;UID=sa;PWD=***"},
           {u"pwd = hush ;UID=sa", u"pwd =***;UID=sa"},
           {u"PassWord={a;b}}c;d};Database=x", u"PassWord=***;Database=x"},
           {u"PWD= {a;b};UID=sa", u"PWD=***;UID=sa"},
           {u"PWD={never closed;UID=sa", u"PWD=***"},
           {u"PWD={a}b;UID=sa", u"PWD=***;UID=sa"},
           {u"PWD=a;b;UID=sa", u"PWD=***;***;UID=sa"},
           {u"NewPWD=a;SSLKeyPassword=b;AccessToken=c",
            u"NewPWD=***;SSLKeyPassword=***;AccessToken=***"},
           {u"Driver={A; PWD=b};Server=h", u"Driver={A; PWD=b};Server=h"},
           {u"PWD=", u"PWD=***"},
           {u"PWD", u"PWD"},
           {u";;DSN=x;", u";;DSN=x;"},
           {u"", u""},
       })
    EXPECT_EQ(toUtf8(masked(c.text)), toUtf8(c.shown)) << toUtf8(c.text);
}

}  // namespace
}  // namespace kelvane::odbc
