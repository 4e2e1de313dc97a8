// Texts of syscomments, put together from their pieces.

#include <algorithm>

#include "inventory/read/reading.h"
#include "inventory/read/status_bits.h"
#include "model/text.h"

namespace kelvane::inventory {
namespace {

constexpr std::size_t kPieceBytes = 255;

/// How texts come, by the character set of the server.
enum class Form : std::uint8_t {
  utf8,     ///< as bytes: a letter that two pieces share survives
  oneByte,  ///< decoded by the connection; no letter can be cut
  decoded,  ///< the same, with letters of several bytes
};

Form formOf(int characterSet) {
  constexpr int kUtf8 = 190, kLastOfOneByte = 5;
  if (characterSet == kUtf8) return Form::utf8;
  return characterSet <= kLastOfOneByte ? Form::oneByte : Form::decoded;
}

/// The positions in the statement below.
enum Cell { kId, kNumber, kSequence, kPiece, kStatus, kPartition, kText };

/// Joins the pieces of one text after the other, which come in order.
class Joining {
 public:
  Joining(Reading& reading, Form form) : reading_(reading), form_(form) {}

  void add(const Row& row) {
    const TextKey key{row.number(kId), row.number(kNumber)};
    if (!isOpen_ || key != key_ || row.number(kPartition) != partition_) begin(key, row);
    const int sequence = row.number(kSequence), piece = row.number(kPiece);
    const bool follows = isFirst_                ? sequence == 0 && piece <= 1
                         : sequence == sequence_ ? piece == piece_ + 1
                                                 : sequence == sequence_ + 1 && piece <= 1;
    if (!follows && text_.state == Definition::State::whole)
      text_.state = Definition::State::incomplete;
    isFirst_ = false;
    sequence_ = sequence;
    piece_ = piece;
    const int status = row.number(kStatus);
    if ((status & text_status::kHidden) != 0) text_.state = Definition::State::hidden;
    if ((status & text_status::kQuotedIdentifier) != 0) text_.quotedIdentifier = true;
    if (form_ == Form::oneByte) fillUp();
    pieceStart_ = text_.text.size();
    row.appendBytes(kText, text_.text);
  }

  void end() {
    if (!isOpen_) return;
    isOpen_ = false;
    if (form_ == Form::utf8) decode();
    if (text_.state == Definition::State::hidden) text_.text.clear();
    if (partition_ != 0) {
      reading_.bounds[partition_] += text_.text;
    } else {
      reading_.texts[key_] = std::move(text_);
    }
  }

 private:
  void begin(const TextKey& key, const Row& row) {
    end();
    key_ = key;
    text_ = {};
    partition_ = row.number(kPartition);
    isOpen_ = isFirst_ = true;
    pieceStart_ = 0;
  }

  /// What is no UTF-8 was not what the server said its texts are.
  void decode() {
    const auto isAscii = [](char byte) { return static_cast<unsigned char>(byte) < 0x80; };
    if (std::ranges::all_of(text_.text, isAscii)) return;
    std::string decoded = toUtf8(toUtf16(text_.text));
    if (decoded == text_.text) return;
    if (text_.state == Definition::State::whole) text_.state = Definition::State::incomplete;
    text_.text = std::move(decoded);
  }

  /// In a character set of one byte a letter, all pieces but the last have the same length: of one
  /// that is shorter the server has cut blanks off.
  void fillUp() {
    if (isFirst_ || text_.text.empty()) return;
    const std::string_view piece = std::string_view(text_.text).substr(pieceStart_);
    const auto isLetter = [](char byte) {
      return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
    };
    const auto letters = static_cast<std::size_t>(std::ranges::count_if(piece, isLetter));
    if (letters < kPieceBytes) text_.text.append(kPieceBytes - letters, ' ');
  }

  Reading& reading_;
  Form form_;
  TextKey key_ = {};
  StoredText text_ = {};
  int partition_ = 0, sequence_ = 0, piece_ = 0;
  std::size_t pieceStart_ = 0;
  bool isOpen_ = false, isFirst_ = true;
};

bool isWanted(const Reading& reading, int id) {
  const ObjectEntry* entry = reading.object(id);
  if (entry && entry->type == ObjectType::trigger) entry = reading.object(entry->triggerTable);
  return entry != nullptr && entry->isWanted;
}

/// What has a text that is needed; of a catalog that is read in full, all that have one.
std::optional<std::vector<int>> wantedTexts(const Reading& reading) {
  if (!reading.chosen) return std::nullopt;
  std::vector<int> ids = *reading.chosen;
  const auto add = [&](int id) {
    if (id != 0) ids.push_back(id);
  };
  for (const ColumnReferences& one : reading.references) {
    add(one.defaultValue);
    add(one.computed);
  }
  for (const DecryptDefault& one : reading.decryptDefaults) add(one.text);
  for (const Shape& shape : reading.tables) {
    ids.insert(ids.end(), shape.checks.begin(), shape.checks.end());
    for (const auto& [name, id] : shape.expressions) add(id);
    add(shape.conditions);
  }
  for (const auto& [id, entry] : reading.objects) {
    const bool isAlone = entry.type == ObjectType::rule ? !reading.checks.contains(id)
                                                        : entry.type == ObjectType::defaultObject &&
                                                              !reading.declaredInline.contains(id);
    const bool isTrigger = entry.type == ObjectType::trigger && isWanted(reading, id);
    // Conditions of permissions are objects of a type of their own.
    if (isAlone || isTrigger || entry.type == ObjectType::other) add(id);
  }
  std::ranges::sort(ids);
  const auto repeated = std::ranges::unique(ids);
  ids.erase(repeated.begin(), repeated.end());
  return ids;
}

/// Which objects have a text that the login may not read.
void readUnreadable(Reading& reading) {
  reading.session.rows("owners of definitions",
                       "select distinct id, number from syscomments where texttype = 0",
                       [&](const Row& row) {
                         StoredText text;
                         text.state = Definition::State::unreadable;
                         reading.texts.try_emplace({row.number(0), row.number(1)}, text);
                       });
}

}  // namespace

void readTexts(Reading& reading) {
  const Form form = formOf(reading.characterSet);
  Joining joining(reading, form);
  std::string reason;
  const bool isRead = reading.session.rowsUnlessRefused(
      "definitions",
      "select " +
          reading.list("syscomments", "c",
                       {"id", "number", "colid2", "colid", "status", "partitionid"}) +
          (form == Form::utf8 ? ", convert(varbinary(255), c.text)" : ", c.text") +
          " from syscomments c where c.texttype = 0" + reading.among("c.id", wantedTexts(reading)) +
          " order by c.id, c.number, c.colid2, c.colid",
      reason, [&](const Row& row) {
        if (isWanted(reading, row.number(kId))) joining.add(row);
      });
  joining.end();
  if (isRead) return;
  reading.session.addGap("definitions", reason);
  reading.unreadableTexts = reason;
  readUnreadable(reading);
}

}  // namespace kelvane::inventory
