#include <string_view>
#include <utility>

#include "cli/sides/side.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

class ServerSide final : public Side {
 public:
  explicit ServerSide(std::unique_ptr<odbc::Connection> connection)
      : connection_(std::move(connection)) {}
  ado::Connection& connection() override { return *connection_; }
  void cancel() noexcept override { connection_->cancel(); }

 private:
  std::unique_ptr<odbc::Connection> connection_;
};

std::optional<std::u16string> askedDatabase(const odbc::ConnectionString& address) {
  auto asked = address.find(odbc::kDatabaseKeywords);
  if (!asked) asked = address.findInDataSource(odbc::kDatabaseKeywords);
  return asked && !asked->empty() ? asked : std::nullopt;
}

// The database that the session is in, unless it is the one asked for. A server that cannot go
// there only says so in a message and stays in another one. It compares the names itself: it knows
// whether case counts.
std::optional<std::string> otherDatabase(ado::Connection& connection, const std::u16string& asked) {
  const auto rows =
      connection.Open(u"select db_name(), case db_name() when '" + replaceAll(asked, u"'", u"''") +
                          u"' then 'asked' else 'other' end",
                      ado::kClientCursor);
  if (rows->State() == ado::ObjectState::closed || rows->EndOfRows()) return "";
  if (rows->Fields(1).Value().toText() == u"asked") return std::nullopt;
  return toUtf8(ado::NullToString(rows->Fields(0).Value()));
}

}  // namespace

std::unique_ptr<Side> openServer(const ServerPlace& place) {
  const auto refusal = [&](const std::string& reason) {
    return CommandError({place.name + ": " + reason});
  };
  try {
    auto connection = odbc::connect(place.address.text(), place.limits);
    // Definitions of any length.
    connection->Open(u"set textsize 2147483647", ado::kClientCursor);
    if (const auto asked = askedDatabase(place.address)) {
      if (const auto other = otherDatabase(*connection, *asked))
        throw refusal("the login ended in the database '" + *other + "', not in '" +
                      toUtf8(*asked) + "': no such database or no access for the login");
    }
    return std::make_unique<ServerSide>(std::move(connection));
  } catch (const ado::Failure& failure) {
    const bool named = place.address.find(odbc::kUserKeywords).has_value();
    throw refusal(std::string("cannot connect") + (named ? "" : " without a user name") + ": " +
                  failure.what());
  }
}

}  // namespace kelvane::cli
