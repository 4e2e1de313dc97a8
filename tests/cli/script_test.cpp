// The command on script files: the examples, scripts that fail, files that are no scripts.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <set>
#include <sstream>

#include "cli/run.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Scripts : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directory(folder_); }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string file(const std::string& name, const std::string& bytes) {
    const auto path = folder_ / name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
  }
  int compare(const std::string& source, const std::string& target) {
    out_.str("");
    err_.str("");
    const std::vector<std::string> words{"compare", source, target};
    return run(words, {out_, err_});
  }
  static std::string example(const std::string& name) {
    return (std::filesystem::path(KELVANE_TEST_FOLDER) / "../../examples" / name).string();
  }

  std::ostringstream out_, err_;
  const std::filesystem::path folder_ =
      std::filesystem::path(::testing::TempDir()) / "kelvane_script_test";
};

TEST_F(Scripts, AnExampleEqualsItself) {
  for (const char* name : {"shop-1.sql", "shop-2.sql"}) {
    EXPECT_EQ(compare(example(name), example(name)), kNoDifference);
    EXPECT_EQ(out_.str(), "No differences.\n");
    EXPECT_EQ(err_.str(), "");
  }
}

TEST_F(Scripts, TheExamplesShowDifferencesOfEveryKind) {
  ASSERT_EQ(compare(example("shop-1.sql"), example("shop-2.sql")), kDifferences);
  EXPECT_EQ(err_.str(), "");
  const std::string report = out_.str();
  const auto missingFrom = [&report](std::initializer_list<const char*> texts) {
    std::vector<std::string> missing;
    for (const char* text : texts)
      if (report.find(text) == std::string::npos) missing.push_back(text);
    return missing;
  };
  EXPECT_THAT(missingFrom({
                  "table dbo.gift_card: only in source",
                  "table dbo.coupon: only in target",
                  "Row Count: 3 -> 4",
                  "column fax: only in source",
                  "column birthday: only in target",
                  "Data Type: datetime -> smalldatetime",
                  "Default: 0 -> 500",
                  "Length: 60 -> 120",
                  "Nullable: True -> False",
                  "Precision: 10 -> 12",
                  "Scale: 2 -> 3",
                  "Ordinal Position: 9 -> 8",
                  "primary key (order_no, line_no): only in source",
                  "primary key (order_no, product_no): only in target",
                  "Name: pk_payment -> payment_pk",
                  "Attributes: Clustered -> Non Clustered",
                  "foreign key (product_no): only in source",
                  "foreign key (product_no,warehouse_no): only in target",
                  "Name: fk_order_customer -> order_customer_fk",
                  "References Table: gift_card -> coupon",
                  "References Primary Key: pk_gift_card -> pk_coupon",
                  "References Column: gift_card_no -> coupon_no",
                  "index ix_customer_place: only in source",
                  "index on (country, name): only in target",
                  "Name: ix_order_date -> ix_order_ordered",
                  "Description: clustered located on default -> nonclustered located on default",
                  "Description: nonclustered located on default -> nonclustered, unique",
                  "trigger tr_stock_update: only in source",
                  "trigger tr_product_update: only in target",
                  "+       and s.warehouse_no = i.warehouse_no",
                  "On Delete: True -> False",
                  "On Insert: True -> False",
                  "On Update: False -> True",
              }),
              IsEmpty());
  EXPECT_THAT(missingFrom({
                  "view ann.my_wishes: only in source",
                  "view ben.my_wishes: only in target",
                  "column lines: only in target",
                  "stored procedure dbo.print_faxes: only in source",
                  "parameter @rebate_no: only in target",
                  "Data Type: numeric -> money",
                  "user dora: only in target",
                  "group temps: only in source",
                  "member ben: only in source",
                  "permissions on set_price: only in source",
                  "permissions on place_order: only in target",
                  "CREATE DEFAULT: False -> True",
                  "CREATE PROCEDURE: False -> True",
                  "CREATE RULE: False -> True",
                  "CREATE TABLE: True -> False",
                  "CREATE VIEW: True -> False",
                  "Delete: False -> True",
                  "Insert: True -> False",
                  "References: True -> False",
                  "Select: True -> False",
                  "Update: False -> True",
                  "user-defined type dbo.colour: only in source",
                  "Base Type: char -> varchar",
                  "Bound Default: nothing -> one",
                  "Bound Rule: at_least_one -> not_negative",
              }),
              IsEmpty());
  for (const char* equal : {"shipping_zone", "supplier", "wish_list", "zone_list", "find_customer",
                            "country_code", "tr_category_delete", "public"})
    EXPECT_EQ(report.find(equal), std::string::npos) << equal;
}

TEST_F(Scripts, AFailingScriptSaysWhere) {
  const std::string good = file("good.sql", "create table t (a int)\ngo\n");
  const std::string bad = file(
      "bad.sql", "create table t (a int)\ngo\n\ncreate view v as\n  select b from t\ngo\nselect from\n");
  EXPECT_EQ(compare(good, bad), kError);
  EXPECT_THAT(err_.str(),
              HasSubstr("kelvane: " + bad + ":5: message 207: Invalid column name 'b'"));
  EXPECT_THAT(err_.str(), HasSubstr("(near: select b from t)\n"));
  EXPECT_THAT(err_.str(), HasSubstr("kelvane: " + bad + ":7: message 102"));
  EXPECT_EQ(out_.str(), "");
}

TEST_F(Scripts, FilesThatAreNoScriptsAreErrorsOfEitherSide) {
  const std::string missing = (folder_ / "missing.sql").string();
  const std::vector<std::string> paths{missing,
                                       folder_.string(),
                                       file("empty.sql", ""),
                                       file("blank.sql", " \r\n\t"),
                                       file("binary.sql", std::string("\x7F"
                                                                      "ELF\0\1\2",
                                                                      7)),
                                       file("wide.sql", std::string("\xFF\xFEs\0e\0", 6))};
  for (const std::string& path : paths) {
    EXPECT_EQ(compare(path, missing), kError);
    const std::string said = err_.str();
    EXPECT_EQ(std::ranges::count(said, '\n'), 2) << said;
    EXPECT_THAT(said, ::testing::StartsWith("kelvane: " + path));
    EXPECT_THAT(said, HasSubstr("kelvane: " + missing + ": "));
    EXPECT_EQ(out_.str(), "");
  }
}

TEST_F(Scripts, ATableWhoseNameTheReaderCannotAskForIsNotProvenEqual) {
  const std::string odd =
      file("odd.sql", "set quoted_identifier on\ngo\ncreate table \"order\" (a int)\ngo\n");
  EXPECT_EQ(compare(odd, odd), kNotProven);
  EXPECT_EQ(out_.str(), "No differences in what could be read.\n");
  EXPECT_THAT(err_.str(), HasSubstr("source: the server rejected \"exec sp_columns order,dbo\": "));
}

}  // namespace
}  // namespace kelvane::cli
