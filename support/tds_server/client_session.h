// One client of the server: what it sent, where its session stands, what is to be sent to it.
//
// Refers to the catalog and to the options, which outlive it; one thread at a time. Knows no
// socket.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/engine/session.h"
#include "support/tds_server/abilities.h"
#include "support/tds_server/login.h"
#include "support/tds_server/parameters.h"
#include "support/tds_server/reply.h"
#include "support/tds_server/server.h"

namespace kelvane::tds {

class ClientSession {
 public:
  /// `batches` counts those of all clients.
  ClientSession(embedded::Server& server, const ServerOptions& options, std::size_t& batches)
      : options_(options), batches_(batches), session_(server) {
    session_.caller.database = server.database;
  }

  void receive(std::string_view bytes);
  /// Computes more of the answer under way while little of it waits to be sent.
  void work();
  /// Whether there is work to do.
  bool busy() const { return stream_.has_value() || (!requests_.empty() && !ended_ && !silent_); }
  /// What waits to be sent; the sender takes away what it sent.
  std::string& output() { return packets_.ready; }
  /// To be closed, once the output is sent.
  bool ended() const { return ended_; }

 private:
  /// Whether the client wants to have parameters back.
  enum class Outputs { none, sent };

  Reply reply() { return Reply(packets_, session_, set_, abilities_); }
  void take(const PacketReader::Message& message);
  void logIn(std::string_view record);
  void greet(const Login& login);
  void refuseLogin();
  void answer(std::string_view tokens);
  void answerLanguage(MessageReader& reader);
  /// A prepared statement; it is kept as its text.
  void answerDynamic(MessageReader& reader, bool wide);
  void keepPrepared(int step, const std::string& id, std::string_view text);
  /// A procedure called other than by a text.
  void answerCall(MessageReader& reader, bool wide);
  std::vector<Parameter> parametersOf(MessageReader& reader, bool given);
  void runBatch(const std::string& text, std::vector<Parameter> parameters = {},
                Outputs outputs = Outputs::none);
  void refuse(const std::string& what);
  void run(const std::string& text, std::vector<Parameter> parameters, Outputs outputs);
  void tellDatabase(const std::string& before);
  void pump();
  void endStream();
  void cancel();
  /// Spoils what was added to the output as far as the fault of the answer under way wants it.
  void spoil(std::size_t from);

  const ServerOptions& options_;
  std::size_t& batches_;
  embedded::Session session_;
  PacketReader reader_;
  PacketWriter packets_;
  CharacterSet set_ = CharacterSet::utf8;
  Abilities abilities_;
  bool loggedIn_ = false;
  bool ended_ = false;
  bool silent_ = false;
  std::deque<std::string> requests_;
  std::map<std::string, std::string, std::less<>> prepared_;  ///< texts by their ids
  std::optional<Reply> reply_;  ///< under way, with the stream that gives its rows
  std::optional<embedded::RowStream> stream_;
  std::optional<Fault> fault_;  ///< its bytes count down
  std::size_t answerBytes_ = 0;
};

}  // namespace kelvane::tds
