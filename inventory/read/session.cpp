#include "inventory/read/session.h"

#include <algorithm>

#include "model/text.h"

namespace kelvane::inventory {
namespace {

std::string utf8(std::u16string_view text) {
  std::string narrow(text.size(), '\0');
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] >= 0x80) return toUtf8(text);
    narrow[at] = static_cast<char>(text[at]);
  }
  return narrow;
}

/// The server does not answer any more, or not in time. 08004 is what servers say that refuse one
/// database or one login; they go on answering.
bool tellsOfNoAnswer(const ado::Error& error) {
  const std::u16string_view state = error.SQLState;
  return (state.starts_with(u"08") && state != u"08004") || state == u"HYT00" || state == u"HYT01";
}

}  // namespace

ReadingStopped::ReadingStopped()
    : RuntimeError(ErrorNumber::failure, u"The reading was stopped", u"Kelvane.inventory") {}

int Row::number(int at) const { return known(at).value_or(0); }

std::optional<int> Row::known(int at) const {
  const ado::Value cell = value(at);
  if (cell.isNull()) return std::nullopt;
  if (const auto* number = std::get_if<std::int64_t>(&cell);
      number != nullptr && *number == static_cast<int>(*number))
    return static_cast<int>(*number);
  if (const auto* truth = std::get_if<bool>(&cell)) return *truth ? 1 : 0;
  return cell.toLong();
}

std::int64_t Row::large(int at) const {
  const ado::Value cell = value(at);
  if (cell.isNull()) return 0;
  if (const auto* number = std::get_if<std::int64_t>(&cell)) return *number;
  if (const auto* number = std::get_if<std::uint64_t>(&cell))
    return static_cast<std::int64_t>(*number);
  if (const auto* number = std::get_if<ado::Decimal>(&cell); number != nullptr && !number->scale)
    return static_cast<std::int64_t>(number->magnitude[0]) * (number->negative ? -1 : 1);
  if (const auto* number = std::get_if<double>(&cell)) return static_cast<std::int64_t>(*number);
  return cell.toLong();
}

std::int64_t Row::moment(int at) const {
  constexpr std::int64_t kNanosecondsPerDay = 86'400'000'000'000;
  const ado::Value cell = value(at);
  const auto* moment = std::get_if<ado::DateTime>(&cell);
  if (moment != nullptr) return moment->days * kNanosecondsPerDay + moment->nanoseconds;
  return static_cast<std::int64_t>(std::hash<std::string>()(text(at)) >> 1);
}

std::string Row::exactText(int at) const {
  const ado::Value cell = value(at);
  if (cell.isNull()) return {};
  if (const auto* text = std::get_if<std::u16string_view>(&cell)) return utf8(*text);
  return utf8(cell.toText());
}

std::string Row::text(int at) const {
  std::string text = exactText(at);
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

void Row::appendBytes(int at, std::string& bytes) const {
  const ado::Value cell = value(at);
  if (const auto* span = std::get_if<ado::Bytes>(&cell)) {
    bytes.append(reinterpret_cast<const char*>(span->data()), span->size());
  } else if (const auto* text = std::get_if<std::u16string_view>(&cell)) {
    bytes += utf8(*text);
  }
}

void Session::announce(std::string_view what) {
  stopIfWanted();
  if (events_ != nullptr) events_->reading(what, std::min(done_, statements_), statements_);
  ++done_;
}

void Session::stopIfWanted() {
  if (events_ != nullptr && events_->wantsToStop()) throw ReadingStopped();
}

std::unique_ptr<ado::Recordset> Session::open(std::string_view statement,
                                              const ado::OpenMode& mode) {
  auto rows = connection_.Open(toUtf16(statement), mode);
  if (rows->State() == ado::ObjectState::closed)
    throw RuntimeError(ErrorNumber::failure, u"The server answered without rows",
                       u"Kelvane.inventory");
  return rows;
}

bool Session::isOver() const { return std::ranges::any_of(connection_.Errors(), tellsOfNoAnswer); }

std::string Session::reasonOf(const RuntimeError& error) const {
  std::string reason;
  for (const ado::Error& one : connection_.Errors())
    reason += (reason.empty() ? "" : "; ") + toUtf8(one.Description);
  return reason.empty() ? toUtf8(error.Description()) : reason;
}

}  // namespace kelvane::inventory
