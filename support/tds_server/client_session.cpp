#include "support/tds_server/client_session.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "drivers/embedded/tsql/error.h"
#include "support/tds_server/binding.h"

namespace kelvane::tds {

using namespace embedded;

namespace {

constexpr int kLanguage = 0x21, kLogout = 0x71, kDynamic = 0xE7, kWideDynamic = 0x62, kCall = 0xE6,
              kWideCall = 0xE8;
constexpr int kHasParameters = 1, kCallHasParameters = 2;
enum DynamicStep {
  kPrepare = 1,
  kExecute = 2,
  kDeallocate = 4,
  kExecuteText = 8,
  kAcknowledge = 0x20,
  kDescribeInput = 0x40,
  kDescribeOutput = 0x80,
};
constexpr int kLoginAcknowledged = 0xAD, kLoginSucceeded = 5, kLoginFailed = 6;
constexpr std::size_t kEnoughOutput = 1 << 18;
constexpr std::string_view kLanguageName = "us_english";

std::string acknowledgement(int status) {
  TokenBytes content, token;
  content.byte(status);
  content.bytes += std::string_view("\5\0\0\0", 4);
  content.shortText("ASE");
  content.bytes += std::string_view("\x0C\5\4\0", 4);
  token.counted(kLoginAcknowledged, content.bytes);
  return token.bytes;
}

// What went wrong with the exception that is being handled.
Notice failure() {
  const tsql::ServerError error = tsql::handledError();
  return {error.toMessage(), error.line};
}

}  // namespace

void ClientSession::receive(std::string_view bytes) {
  reader_.append(bytes);
  while (const auto message = reader_.next()) {
    if (!ended_ && !silent_) take(*message);
  }
  if (reader_.broken()) ended_ = true;
}

void ClientSession::take(const PacketReader::Message& message) {
  if (!loggedIn_) {
    // Clients that try a later version first understand a closed connection.
    if (message.type != PacketType::login) {
      ended_ = true;
    } else {
      logIn(message.payload);
    }
    return;
  }
  switch (message.type) {
    case PacketType::attention:
      return cancel();
    case PacketType::request:
      requests_.push_back(message.payload);
      return;
    case PacketType::oldLanguage:
      requests_.push_back(static_cast<char>(kLanguage) + std::string("\0\0\0\0\0", 5) +
                          message.payload);
      return;
    default:
      return refuse("Packets of this type");
  }
}

void ClientSession::logIn(std::string_view record) {
  const auto login = readLogin(record);
  if (!login) {
    ended_ = true;
    return;
  }
  set_ = characterSet(login->characterSet).value_or(options_.characterSet);
  abilities_ = readAbilities(login->capabilities);
  const auto user = options_.users.find(login->user);
  const bool known = user != options_.users.end() && !user->second.locked &&
                     user->second.password == login->password;
  if (known || options_.users.empty()) return greet(*login);
  refuseLogin();
}

void ClientSession::refuseLogin() {
  Reply reply(packets_, session_, set_);
  reply.message(message::loginFailed, 0);
  reply.raw(acknowledgement(kLoginFailed));
  reply.finish(DoneStatus::error);
  ended_ = true;
}

void ClientSession::greet(const Login& login) {
  if (!login.user.empty()) {
    session_.logIn({login.user, login.host, login.process, login.application});
  }
  const std::size_t size = std::clamp(login.packetSize, kSmallestPacket,
                                      std::max(kSmallestPacket, options_.largestPacket));
  Reply reply(packets_, session_, set_);
  reply.changed(Environment::database, session_.caller.database, "master");
  reply.message({message::databaseChanged, session_.caller.database}, 0);
  reply.changed(Environment::language, kLanguageName, "");
  reply.message({message::languageChanged, kLanguageName}, 0);
  reply.changed(Environment::characterSet, nameOf(set_), "");
  reply.raw(acknowledgement(kLoginSucceeded));
  if (!login.capabilities.empty()) reply.raw(grantedCapabilities(login.capabilities));
  reply.changed(Environment::packetSize, std::to_string(size), std::to_string(kSmallestPacket));
  packets_.packetSize(size);
  reply.finish();
  loggedIn_ = true;
}

void ClientSession::work() {
  if (stream_) pump();
  while (!stream_ && !requests_.empty() && !ended_ && !silent_) {
    const std::string request = std::move(requests_.front());
    requests_.pop_front();
    answer(request);
  }
}

void ClientSession::answer(std::string_view tokens) {
  MessageReader reader(tokens);
  const int token = reader.byte();
  try {
    if (token == kLogout) {
      Reply(packets_, session_, set_).finish();
      ended_ = true;
    } else if (token == kLanguage) {
      answerLanguage(reader);
    } else if (token == kDynamic || token == kWideDynamic) {
      answerDynamic(reader, token == kWideDynamic);
    } else if (token == kCall || token == kWideCall) {
      answerCall(reader, token == kWideCall);
    } else {
      refuse("Requests with the token " + std::to_string(token));
    }
  } catch (const std::exception&) {
    Reply reply(packets_, session_, set_);
    reply.notice(failure());
    reply.finish();
  }
}

std::vector<Parameter> ClientSession::parametersOf(MessageReader& reader, bool given) {
  return given ? readParameters(reader, set_) : std::vector<Parameter>();
}

void ClientSession::answerLanguage(MessageReader& reader) {
  const auto length = reader.number<std::uint32_t>();
  const bool hasParameters = (reader.byte() & kHasParameters) != 0;
  // The old packets do not tell the length.
  const std::string text = decoded(reader.text(length > 0 ? length - 1 : reader.left()), set_);
  std::vector<Parameter> parameters = parametersOf(reader, hasParameters);
  const std::string bound = bindText(text, parameters);
  runBatch(bound, std::move(parameters));
}

void ClientSession::answerDynamic(MessageReader& reader, bool wide) {
  const auto length = [&]() -> std::size_t {
    return wide ? reader.number<std::uint32_t>() : reader.number<std::uint16_t>();
  };
  length();  // of the token
  const int step = reader.byte();
  const bool hasParameters = (reader.byte() & kHasParameters) != 0;
  const std::string id(reader.text(reader.byte()));
  // Some clients leave it out where there is none.
  const std::string text = decoded(reader.left() == 0 ? "" : reader.text(length()), set_);
  if (step == kExecute || step == kExecuteText) {
    const auto found = prepared_.find(id);
    if (step == kExecute && found == prepared_.end())
      throw std::runtime_error("There is no prepared statement '" + id + "'.");
    std::vector<Parameter> parameters = parametersOf(reader, hasParameters);
    const std::string bound = bindText(step == kExecute ? found->second : text, parameters);
    return runBatch(bound, std::move(parameters));
  }
  keepPrepared(step, id, text);
}

void ClientSession::keepPrepared(int step, const std::string& id, std::string_view text) {
  if (step == kPrepare) {
    // It may come as `create proc ID as TEXT`.
    const std::string wrapping = "create proc " + id + " as ";
    prepared_[id] = text.substr(text.starts_with(wrapping) ? wrapping.size() : 0);
  } else if (step == kDeallocate) {
    prepared_.erase(id);
  } else if (step == kDescribeInput || step == kDescribeOutput) {
    return refuse("Descriptions of prepared statements");
  } else {
    return refuse("Requests of this kind");
  }
  TokenBytes content, token;
  content.byte(kAcknowledge);
  content.byte(0);
  content.shortText(id);
  token.counted(kDynamic, content.bytes);
  Reply answer = reply();
  answer.raw(token.bytes);
  answer.finish();
}

void ClientSession::answerCall(MessageReader& reader, bool wide) {
  reader.number<std::uint16_t>();  // the length of the token
  const std::size_t length = wide ? reader.number<std::uint16_t>() : reader.byte();
  const std::string procedure = decoded(reader.text(length), set_);
  const bool hasParameters = (reader.number<std::uint16_t>() & kCallHasParameters) != 0;
  std::vector<Parameter> parameters = parametersOf(reader, hasParameters);
  const std::string text = bindCall(procedure, parameters);
  runBatch(text, std::move(parameters), Outputs::sent);
}

void ClientSession::refuse(const std::string& what) {
  Reply answer = reply();
  answer.notice({ServerMessage(message::notSupported, what)});
  answer.finish();
}

void ClientSession::runBatch(const std::string& text, std::vector<Parameter> parameters,
                             Outputs outputs) {
  const std::size_t from = output().size();
  fault_ = options_.fault ? options_.fault(text, batches_) : std::nullopt;
  ++batches_;
  reply_.emplace(reply());
  if (fault_ && fault_->kind == Fault::Kind::error) {
    reply_->notice({message::madeToFail, 1});
    reply_->finish();
    return endStream();
  }
  const std::string database = session_.caller.database;
  try {
    run(text, std::move(parameters), outputs);
    tellDatabase(database);
    if (stream_) reply_->beginRows(stream_->columns);
  } catch (const std::exception&) {
    stream_.reset();
    reply_->notice(failure());
  }
  if (stream_) {
    spoil(from);
    if (stream_) pump();
    return;
  }
  if (session_.ended) ended_ = true;
  reply_->finish();
  spoil(from);
  endStream();
}

void ClientSession::run(const std::string& text, std::vector<Parameter> parameters,
                        Outputs outputs) {
  session_.server.steps.begin();
  if (parameters.empty()) {
    stream_ = session_.runStreaming(text, *reply_);
    return;
  }
  Variables variables;
  for (Parameter& parameter : parameters)
    variables[parameter.variable] = {parameter.type, std::move(parameter.value)};
  stream_ = session_.runStreaming(text, variables, *reply_);
  std::vector<ResultColumn> columns;
  Row values;
  for (const Parameter& parameter : parameters) {
    if (outputs == Outputs::none || !parameter.output) continue;
    const Variable& variable = variables[parameter.variable];
    columns.push_back({parameter.name, variable.type});
    values.push_back(variable.value);
  }
  if (!columns.empty() && reply_->procedureEnded()) reply_->outputs(columns, values);
}

void ClientSession::tellDatabase(const std::string& before) {
  const std::string& now = session_.caller.database;
  if (now == before) return;
  reply_->changed(Environment::database, now, before);
  reply_->message({message::databaseChanged, now}, 1);
}

void ClientSession::pump() {
  const std::size_t from = output().size();
  bool more = true;
  try {
    while (more && output().size() < kEnoughOutput) {
      more = session_.step(*stream_);
      if (more) reply_->writeRow(rowOf(stream_->statement));
    }
  } catch (const std::exception&) {
    more = false;
    reply_->notice(failure());
  }
  if (!more) {
    session_.last.rowCount = reply_->rows();
    reply_->finish();
  }
  spoil(from);
  if (!more) endStream();
}

void ClientSession::endStream() {
  if (options_.answered && answerBytes_ > 0) options_.answered(answerBytes_);
  answerBytes_ = 0;
  stream_.reset();
  reply_.reset();
  fault_.reset();
}

void ClientSession::cancel() {
  requests_.clear();
  if (!reply_) reply_.emplace(reply());
  reply_->finish(DoneStatus::attention);
  endStream();
}

void ClientSession::spoil(std::size_t from) {
  const std::size_t added = output().size() - from;
  if (!fault_) {
    answerBytes_ += added;
    return;
  }
  if (added <= fault_->after) {
    fault_->after -= added;
    return;
  }
  const std::size_t kept = from + fault_->after;
  fault_->after = 0;
  if (fault_->kind == Fault::Kind::garbage) {
    std::fill(output().begin() + static_cast<std::ptrdiff_t>(kept), output().end(), fault_->filler);
    return;
  }
  output().resize(kept);
  silent_ = fault_->kind != Fault::Kind::stall;
  if (fault_->kind == Fault::Kind::close) ended_ = true;
  endStream();
}

}  // namespace kelvane::tds
