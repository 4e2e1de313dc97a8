// A connection without a server: a script says what each statement answers, drawn as text.
//
//   server.on("select name, uid from sysusers", R"(
//     name     | uid
//     'public' | 0
//     null     | 1)");
//
// The first line of a result names its columns (`-` is one without a name). Cells are null, true
// and false (bits), 12 (an integer), 1.50 (an exact number), 'text' with its blanks ('' for a quote
// in it), or bare text. `---` stands between results; a result `closed`, or no result, has no
// columns. `error NUMBER STATE TEXT` refuses the statement or, behind results, fails after them;
// `message NUMBER STATE TEXT` is left pending without a failure.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ado/ado.h"
#include "tests/support/recording.h"

namespace kelvane::testing {

class ScriptedConnection final : public ado::Connection {
 public:
  // Where a statement that would succeed is made to fail: when it is opened, or when a field of its
  // rows is asked for. `foreign` is like `read`, with something thrown that is no std::exception.
  enum class Fault { open, read, foreign };

  struct Sent {
    std::string text;
    ado::OpenMode mode;
  };

  // `journal`, where given, gets a line `sql ...` for each statement.
  explicit ScriptedConnection(Journal* journal = nullptr) : journal_(journal) {}

  // What `statement` answers. A statement with several answers gives them one after the other, and
  // then the last one again.
  ScriptedConnection& on(std::string statement, std::string answer);
  // Called with each statement before it is answered.
  std::function<void(const std::string&)> onSent;
  // From now on the statements must come in the order of the script, each once.
  void inOrder() { inOrder_ = true; }
  // A statement that the script does not have is refused without failing the test.
  void refuseOthers() { refuseOthers_ = true; }
  // The `number`-th statement from now (1-based) fails with error 9999.
  void failAt(int number, Fault fault);

  const std::vector<Sent>& sent() const { return sent_; }
  // The texts sent since the last call of this function.
  std::vector<std::string> takeSent();
  // The statements of the script that never came.
  std::vector<std::string> unused() const;

  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override;
  const std::vector<ado::Error>& Errors() const override { return errors_; }

 private:
  class ScriptedRecordset;
  struct Entry {
    std::string statement;
    std::string answer;
    bool used = false;
  };

  Entry* find(const std::string& statement);
  void reportUnexpected(const std::string& statement) const;
  ado::Failure failure(std::int32_t number, std::string_view state, std::string_view text);
  ado::Failure injected() { return failure(9999, "HY000", "Injected"); }

  Journal* journal_;
  std::vector<Entry> script_;
  std::vector<Sent> sent_;
  std::vector<ado::Error> errors_;
  bool inOrder_ = false;
  bool refuseOthers_ = false;
  int statementsUntilFault_ = 0;
  Fault fault_ = Fault::open;
  std::size_t taken_ = 0;
};

}  // namespace kelvane::testing
