#include "drivers/odbc/session.h"

#include <algorithm>
#include <cstdint>
#include <future>
#include <iterator>
#include <limits>
#include <thread>
#include <utility>

#include "model/text.h"

namespace kelvane::odbc {
namespace {

// Attributes that are numbers travel in the pointer.
SQLPOINTER attribute(std::uintptr_t value) {
  return reinterpret_cast<SQLPOINTER>(value);  // NOLINT
}

const Environment& asVersion3(const Environment& environment) {
  SQLSetEnvAttr(environment.get(), SQL_ATTR_ODBC_VERSION, attribute(SQL_OV_ODBC3), 0);
  return environment;
}

constexpr std::u16string_view kCancelledState = u"HY008";

ado::Error cancelledError() { return ownError(kCancelledState, u"The statement was cancelled"); }

ado::Error lostError(const std::u16string& reason = {}) {
  return ownError(u"08S01", u"The connection to the server is lost" + reason);
}

std::u16string silence() {
  return u": the server did not answer the cancellation within " +
         decimalText(kAnswerToCancel.count()) + u" s";
}

// unixODBC cuts wide text down to single bytes for a driver without wide functions, and no function
// says whether it does. This one brings text back without asking the server.
bool takesUnicode(const ServerHandle& server) {
  constexpr std::u16string_view kProbe = u"\u20AC";
  std::u16string echo(8, u'\0');
  SQLINTEGER length = 0;
  const SQLRETURN outcome = SQLNativeSqlW(server.get(), wide(kProbe), 1, wide(echo.data()),
                                          static_cast<SQLINTEGER>(echo.size()), &length);
  return !SQL_SUCCEEDED(outcome) || length != 1 || echo.front() == kProbe.front();
}

// What servers say of every login: its database and its language.
bool isGreeting(const ado::Error& error) {
  return error.NativeError == 5701 || error.NativeError == 5703;
}

ado::Failure connectFailure(const std::vector<ado::Error>& errors) {
  std::u16string text;
  for (const ado::Error& error : errors) {
    if (isGreeting(error)) continue;
    text += (text.empty() ? u"" : u"; ") + error.Description + u" (" + error.SQLState;
    if (error.NativeError != 0) text += u", " + decimalText(error.NativeError);
    text += u", " + error.Source + u")";
  }
  return {kProviderError, text, errors.front().Source};
}

}  // namespace

Session::Link::Link() : server(asVersion3(environment)) {}

Session::Session(std::u16string_view connectionString, const ConnectOptions& options)
    : queryLimit_(options.queryLimit), watch_(options.queryLimit, cancelled_) {
  if (connectionString.size() >= std::numeric_limits<SQLSMALLINT>::max())
    throw ado::Failure(kProviderError, u"The connection string is too long", u"ODBC");
  const SQLRETURN outcome = options.loginLimit.count() > 0
                                ? connectWithin(options.loginLimit, connectionString)
                                : connect(*link_, connectionString);
  if (!SQL_SUCCEEDED(outcome))
    throw connectFailure(diagnostics(ServerHandle::kType, server().get()));
  takesUnicode_ = takesUnicode(server());
}

Session::~Session() {
  const SilenceWatch::Call disconnects(watch_);
  link_.reset();
}

SQLRETURN Session::connect(const Link& link, std::u16string_view connectionString) {
  // FreeTDS takes the braces of the last value for a part of it unless something follows.
  const std::u16string ended = std::u16string(connectionString) + u";";
  SQLSMALLINT completedLength = 0;
  return SQLDriverConnectW(link.server.get(), nullptr, wide(ended),
                           static_cast<SQLSMALLINT>(ended.size()), nullptr, 0, &completedLength,
                           SQL_DRIVER_NOPROMPT);
}

// FreeTDS waits for ever when its login runs out of time, so that nothing but another thread keeps
// the limit.
SQLRETURN Session::connectWithin(std::chrono::seconds limit, std::u16string_view connectionString) {
  SQLSetConnectAttrW(server().get(), SQL_ATTR_LOGIN_TIMEOUT,
                     attribute(static_cast<std::uintptr_t>(limit.count())), 0);
  std::packaged_task<SQLRETURN()> connecting(
      [link = link_, text = std::u16string(connectionString)] { return connect(*link, text); });
  std::future<SQLRETURN> outcome = connecting.get_future();
  std::thread thread(std::move(connecting));
  // A driver that keeps the limit knows more about the reason.
  if (outcome.wait_for(limit + std::chrono::milliseconds(500)) == std::future_status::timeout) {
    thread.detach();
    throw connectFailure({ownError(u"HYT00", u"The server did not answer the login within " +
                                                 decimalText(limit.count()) + u" s")});
  }
  thread.join();
  return outcome.get();
}

void Session::fail(const Statement& statement) {
  std::vector<ado::Error> newest = diagnostics(StatementHandle::kType, statement.get());
  // Cancelled, and not from here: what arrives is no longer the answer to what was sent.
  const bool outOfStep = !cancelled_ && newest.front().SQLState == kCancelledState;
  if (cancelled_) newest.insert(newest.begin(), cancelledError());
  const bool unanswered = watch_.hasEndedAWait();
  lost_ = lost_ || outOfStep || unanswered || isDead();
  if (lost_) newest.push_back(unanswered ? lostError(silence()) : lostError());
  fail(std::move(newest));
}

bool Session::isDead() const {
  SQLUINTEGER dead = SQL_CD_FALSE;
  return SQL_SUCCEEDED(
             SQLGetConnectAttrW(server().get(), SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr)) &&
         dead == SQL_CD_TRUE;
}

void Session::fail(std::u16string_view state, std::u16string_view description) {
  fail({ownError(state, description)});
}

void Session::fail(std::vector<ado::Error> newest) {
  const ado::Failure failure(newest.front().Number, newest.front().Description,
                             newest.front().Source);
  errors.insert(errors.end(), std::make_move_iterator(newest.begin()),
                std::make_move_iterator(newest.end()));
  throw failure;
}

void Session::refuseIfCancelled() {
  if (cancelled_) fail({cancelledError()});
}

void Session::refuseIfLost() {
  if (lost_ || watch_.hasEndedAWait()) fail({lostError()});
}

void Session::requireSendable(std::u16string_view statement) {
  const bool isPlain = std::ranges::all_of(statement, [](char16_t unit) { return unit < 0x80; });
  if (!isPlain && !takesUnicode_)
    fail(u"HY000",
         u"The ODBC driver does not support Unicode, but the statement contains non-ASCII "
         u"characters; use a driver with Unicode support");
}

Session::Statement::Statement(Session& session)
    : session_(session), handle_(std::in_place, session.server()) {
  const std::lock_guard lock(session_.underWayMutex_);
  session_.underWay_ = get();
  ++session_.statements_;
  session_.awaitsAnswer_ = true;
  session_.cancelled_ = false;
}

Session::Statement::~Statement() {
  {
    const std::lock_guard lock(session_.underWayMutex_);
    session_.underWay_ = SQL_NULL_HANDLE;
    session_.awaitsAnswer_ = false;
    session_.answered_.notify_all();
  }
  // Drivers cancel what is left of its answer.
  const SilenceWatch::Call frees(session_.watch_);
  handle_.reset();
}

void Session::Statement::answered() {
  const std::lock_guard lock(session_.underWayMutex_);
  session_.awaitsAnswer_ = false;
  session_.answered_.notify_all();
}

void Session::cancel() noexcept {
  std::unique_lock lock(underWayMutex_);
  if (underWay_ == SQL_NULL_HANDLE) return;
  cancelled_ = true;
  // Drivers forget a cancellation that comes before they have sent the statement. They do not tell
  // when that is, but it takes them no time worth mentioning.
  constexpr int kTries = 50;
  constexpr std::chrono::milliseconds kPause{10};
  const std::uint64_t statement = statements_;
  const auto isGone = [&] { return statements_ != statement || underWay_ == SQL_NULL_HANDLE; };
  const auto isOver = [&] { return isGone() || !awaitsAnswer_; };
  for (int i = 0; i < kTries; ++i) {
    // FreeTDS sends the cancellation itself when the statement's own thread is not in the network.
    // That thread, coming back for more of the answer meanwhile, then sleeps on a condition that
    // nobody signals until the time limit of the statement. It is safe while that thread waits.
    const bool isLast = i + 1 == kTries;
    if (!isLast && watch_.ownerComputes()) {
      if (answered_.wait_for(lock, kPause, isGone)) return;
      continue;
    }
    {
      // Drivers wait for the answer when the statement's own thread does not.
      const SilenceWatch::Call cancels(watch_, SilenceWatch::By::canceller);
      SQLCancel(underWay_);
    }
    if (answered_.wait_for(lock, kPause, isOver)) return;
  }
}

}  // namespace kelvane::odbc
