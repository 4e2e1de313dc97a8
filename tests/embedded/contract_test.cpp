#include "drivers/embedded/connection.h"
#include "tests/support/ado_contract.h"

namespace kelvane::testing {
namespace {

// A connection together with the catalog that it refers to.
class OwningConnection final : public ado::Connection {
 public:
  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override {
    return connection_->Open(source, mode);
  }
  const std::vector<ado::Error>& Errors() const override { return connection_->Errors(); }

 private:
  embedded::EmbeddedCatalog catalog_;
  std::unique_ptr<ado::Connection> connection_ = catalog_.connect();
};

AdoContract embeddedContract() {
  auto connection = std::make_unique<OwningConnection>();
  connection->Open(
      u"create table pairs (Number int null, Name varchar(10) not null) "
      u"insert pairs values (2, 'b') insert pairs values (null, 'a') "
      u"insert pairs values (10, 'B') insert pairs values (2, 'A')",
      ado::kClientCursor);
  return {std::move(connection),
          u"select Number, Name from pairs",
          u"select Number, Name from pairs where Name = 'c'",
          u"select first = 1 select second = 2",
          u"declare @nothing int",
          u"select Number from no_such_table"};
}

INSTANTIATE_TEST_SUITE_P(Embedded, AdoContractTest, ::testing::Values(&embeddedContract));

}  // namespace
}  // namespace kelvane::testing
