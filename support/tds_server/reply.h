// The answer to one request, as tokens.
//
// Refers to the packets and to the session, which outlive it; one thread at a time.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivers/embedded/engine/session.h"
#include "support/tds_server/abilities.h"
#include "support/tds_server/wire.h"

namespace kelvane::tds {

/// The status of a DONE; its other bits follow from what stands around it.
enum class DoneStatus { plain = 0, error = 0x02, counted = 0x10, attention = 0x20 };

enum class Environment { database = 1, language = 2, characterSet = 3, packetSize = 4 };

class Reply final : public embedded::Outcome {
 public:
  Reply(PacketWriter& packets, const embedded::Session& session, CharacterSet set,
        const Abilities& abilities = {})
      : packets_(packets), session_(session), set_(set), abilities_(abilities) {}

  void beginRows(const std::vector<embedded::ResultColumn>& columns) override;
  void row(embedded::Row row) override { writeRow(row); }
  void writeRow(const embedded::Row& row);
  void count(std::int64_t rows) override;
  void notice(const embedded::Notice& notice) override;
  void beginProcedure(const std::string& name) override;
  void endProcedure(int status) override;

  /// Whether nothing came behind the end of a procedure.
  bool procedureEnded() const;
  /// The output parameters of the procedure that has just ended.
  void outputs(const std::vector<embedded::ResultColumn>& columns, const embedded::Row& row);
  void changed(Environment what, std::string_view now, std::string_view before);
  /// A text that ASE sends: its line end is added.
  void message(const embedded::ServerMessage& message, std::uint32_t line);
  /// Tokens that have no other place here.
  void raw(const std::string& tokens);
  /// Ends the answer.
  void finish(DoneStatus last = DoneStatus::plain);

  std::int64_t rows() const { return rows_; }

 private:
  struct Done {
    int token;
    DoneStatus status;
    std::int64_t count = 0;
  };
  // Whether a DONE is the last one is known only when the next thing comes.
  void hold(DoneStatus status, std::int64_t count = 0);
  void release(bool more);
  void endRows();

  PacketWriter& packets_;
  const embedded::Session& session_;
  embedded::Row readable(const std::vector<embedded::ResultColumn>& columns,
                         const embedded::Row& row) const;

  CharacterSet set_;
  Abilities abilities_;
  std::optional<Done> held_;
  std::vector<embedded::ResultColumn> columns_;   ///< as the client reads them
  std::vector<embedded::ResultColumn> computed_;  ///< as their values come
  bool adapts_ = false;                           ///< whether these differ
  bool inRows_ = false;
  std::int64_t rows_ = 0;
  std::vector<std::string> procedures_;  ///< those that run, the outermost first
  bool procedureFailed_ = false;
};

}  // namespace kelvane::tds
