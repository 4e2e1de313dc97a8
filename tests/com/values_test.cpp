// Values of every kind on their way from a host's recordset to the component.
#include <array>

#include "ado/client_recordset.h"
#include "com/connection.h"
#include "tests/com/client.h"

namespace kelvane::testing {
namespace {

class OneRow final : public ado::Connection {
 public:
  explicit OneRow(std::vector<ado::Value> values) : values_(std::move(values)) {}

  std::unique_ptr<ado::Recordset> Open(std::u16string_view, const ado::OpenMode&) override {
    ado::RowSet result;
    result.columns.resize(values_.size());
    auto& row = result.rows.emplace_back();
    for (const ado::Value& value : values_) row.emplace_back(value);
    return std::make_unique<ado::ClientRecordset>(std::deque{result});
  }
  const std::vector<ado::Error>& Errors() const override { return errors_; }

 private:
  std::vector<ado::Value> values_;
  std::vector<ado::Error> errors_;
};

TEST(Values, ArriveAsTheyAre) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  const std::array bytes{std::byte{0}, std::byte{255}};
  const std::vector<ado::Value> values{
      ado::Null(), true, std::int64_t{-7}, std::uint64_t{18'000'000'000'000'000'000U}, 0.1,
      ado::Decimal{{12'345'678'901'234'567'890U, 3}, 5, true},
      ado::DateTime{45349, 47100 * kSecond, ado::DateTime::Parts::both},
      // Before the day from which the system counts, and the last second of a day.
      ado::DateTime{-53690, 21600 * kSecond, ado::DateTime::Parts::both},
      ado::DateTime{-1000, 86399 * kSecond, ado::DateTime::Parts::both},
      ado::DateTime{0, 0, ado::DateTime::Parts::both}, std::u16string_view(u"a\0b", 3),
      std::u16string_view(), ado::Bytes(bytes)};
  AdoObjects ado;
  OneRow server(values);
  com::HostConnection connection(ado.connection(server).get());
  for (const ado::OpenMode& mode : {ado::kClientCursor, ado::kForwardOnly}) {
    const auto rows = connection.Open(u"select", mode);
    ASSERT_FALSE(rows->EndOfRows());
    for (std::size_t at = 0; at < values.size(); ++at) {
      const ado::Value value = rows->Fields(static_cast<std::int32_t>(at)).Value();
      EXPECT_EQ(value.index(), values[at].index()) << at;
      if (values[at].isNull()) continue;
      EXPECT_FALSE(ado::different(value, values[at])) << at << ' ' << toUtf8(value.toText());
      EXPECT_EQ(value.toText(), values[at].toText());
    }
    rows->MoveNext();
    EXPECT_TRUE(rows->EndOfRows());
    EXPECT_FALSE(rows->NextRecordset());
    EXPECT_EQ(rows->State(), ado::ObjectState::closed);
  }
}

}  // namespace
}  // namespace kelvane::testing
