// The text of failures, and the values at the interface's edges.
#include <gtest/gtest.h>
#include <stdexcept>
#include <system_error>

#include "model/boolean.h"
#include "model/common.h"
#include "model/scalar.h"

namespace kelvane {
namespace {

TEST(ErrorsTest, EveryPendingErrorIsABlock) {
  const std::vector<ProviderError> pending{
      {-2147467259, u"Incorrect syntax near 'x'.", 102, u"ASEOLEDB", u"42000"},
      {7, u"", 0, u"", u""}};
  EXPECT_EQ(DescribeErrors(&pending, {ErrorNumber::failure, u"unused"}),
            u"Error: #-2147467259\r\n"
            u"Description: Incorrect syntax near 'x'.\r\n"
            u"Native Error: #102\r\n"
            u"Source:ASEOLEDB\r\n"
            u"SQL State:42000\r\n"
            u"\r\n"
            u"Error: #7\r\n"
            u"Description: \r\n"
            u"Native Error: #0\r\n"
            u"Source:\r\n"
            u"SQL State:\r\n"
            u"\r\n");
}

TEST(ErrorsTest, WithoutPendingErrorsTheRunTimeErrorIsDescribed) {
  const std::vector<ProviderError> none;
  const RuntimeError error(ErrorNumber::typeMismatch, u"Type mismatch", u"Reader");
  const std::u16string text =
      u"Coding error has occured: Error: #13\r\n"
      u"Description: #Type mismatch\r\n"
      u"Source: #Reader\r\n";
  EXPECT_EQ(DescribeErrors(nullptr, error), text);
  EXPECT_EQ(DescribeErrors(&none, error), text);
  EXPECT_EQ(DescribeErrors(&none, {13, u"Type mismatch", u"Reader", 126}),
            text + u"Last DLL Error: #126\r\n");
}

TEST(ErrorsTest, AnyFailureBecomesARunTimeError) {
  const auto describe = [](auto failure) {
    return RuntimeError::describe(std::make_exception_ptr(failure));
  };
  EXPECT_EQ(describe(RuntimeError(ErrorNumber::notSet, u"\u00e9")).Number(), 91);
  EXPECT_STREQ(describe(RuntimeError(ErrorNumber::notSet, u"\u00e9")).what(), "\xC3\xA9");
  EXPECT_EQ(describe(std::runtime_error("lost")).Description(), u"lost");
  EXPECT_EQ(describe(std::runtime_error("lost")).LastDllError(), 0);
  EXPECT_EQ(describe(std::system_error(5, std::generic_category())).LastDllError(), 5);
  EXPECT_EQ(describe(42).Number(), 51);
}

TEST(BooleanTest, KeepsWhatAHostHandsOver) {
  static_assert(sizeof(Boolean) == 2);
  EXPECT_EQ(Boolean(true).raw(), -1);
  EXPECT_EQ(Boolean().raw(), 0);
  const Boolean odd = Boolean::fromRaw(1);
  EXPECT_TRUE(odd);
  EXPECT_FALSE(odd.isTrue());
  EXPECT_NE(odd, True);
  EXPECT_EQ(odd.raw(), 1);
}

TEST(ScalarTest, BecomesText) {
  EXPECT_EQ(Scalar().text(), u"");
  EXPECT_EQ(Scalar(u"a").text(), u"a");
  EXPECT_EQ(Scalar(std::int16_t{-32768}).text(), u"-32768");
  EXPECT_EQ(Scalar(2147483647).text(), u"2147483647");
  EXPECT_EQ(Scalar(Boolean::fromRaw(1)).text(), u"True");
  EXPECT_EQ(Scalar(False).text(), u"False");
}

}  // namespace
}  // namespace kelvane
