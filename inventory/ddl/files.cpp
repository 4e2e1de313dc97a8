#include "inventory/ddl/files.h"

#include <algorithm>
#include <array>
#include <optional>
#include <sstream>
#include <utility>

#include "inventory/ddl/batch_lines.h"
#include "inventory/ddl/used_names.h"

namespace kelvane::inventory {
namespace {

// As a script of all objects has them.
constexpr std::array kOrder{
    Kind::database, Kind::message,       Kind::role,     Kind::group,     Kind::user,
    Kind::alias,    Kind::defaultObject, Kind::rule,     Kind::type,      Kind::encryptionKey,
    Kind::table,    Kind::view,          Kind::function, Kind::procedure,
};

static_assert(kOrder.size() == static_cast<std::size_t>(Kind::column));

struct ObjectOfFile {
  Kind kind;
  std::string name;
};

/// What the head of a file says; none for a file that was written by hand.
std::optional<ObjectOfFile> objectOf(std::string_view text) {
  if (!text.starts_with(kFileMark)) return std::nullopt;
  const std::string_view line = lineAt(text, 0).substr(kFileMark.size());
  const KindRow* longest = nullptr;
  for (const KindRow& row : kKinds) {
    const bool isIt = isObject(row.kind) && line.starts_with(row.singular) &&
                      (line.size() == row.singular.size() || line[row.singular.size()] == ' ');
    if (isIt && (longest == nullptr || longest->singular.size() < row.singular.size()))
      longest = &row;
  }
  if (longest == nullptr) return std::nullopt;
  std::string_view name = line.substr(longest->singular.size());
  if (const std::size_t point = name.find('.'); point != std::string_view::npos)
    name.remove_prefix(point + 1);
  return ObjectOfFile{longest->kind, std::string(name)};
}

bool hasStatements(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::string_view line = lineAt(text, at);
    if (!line.empty() && !line.starts_with("--") && !isBatchEnd(line)) return true;
    at = nextLine(text, at);
  }
  return false;
}

struct Part {
  std::size_t file;
  Phase phase;
  std::size_t rank;
  std::string text;
};

/// Divides a file at its phases, and behind texts that end within a line: such a text is the end
/// of a script.
class Division {
 public:
  Division(std::size_t file, const ObjectOfFile& object, std::string_view text,
           std::vector<Part>& parts)
      : file_(file),
        rank_(static_cast<std::size_t>(std::ranges::find(kOrder, object.kind) - kOrder.begin())),
        phase_(usualPhase(object.kind)),
        text_(text),
        parts_(parts) {}

  void run() {
    bool isBehindGo = true, endsWithin = false;
    for (std::size_t at = 0; at < text_.size();) {
      const std::string_view line = lineAt(text_, at);
      const std::size_t next = nextLine(text_, at);
      if (isBehindGo) {
        if (const auto phase = phaseOfHeading(line)) {
          finish(at, at);
          phase_ = *phase;
        }
        // The heading has a `go` of its own.
        if (line == kEndsWithinLine) endsWithin = true, isMarked_ = true;
      }
      const bool isGo = isBatchEnd(line);
      isBehindGo = isGo || (isBehindGo && line.empty());
      if (isGo && endsWithin && !std::exchange(isMarked_, false)) {
        finish(lineEndBefore(at), next);
        endsWithin = false;
      }
      at = next;
    }
    finish(text_.size(), text_.size());
  }

 private:
  std::size_t lineEndBefore(std::size_t at) const {
    if (at > 0 && text_[at - 1] == '\n') --at;
    return at > 0 && text_[at - 1] == '\r' ? at - 1 : at;
  }
  /// Ends the part; the next one begins at `next`.
  void finish(std::size_t end, std::size_t next) {
    if (hasStatements(text_.substr(begin_, end - begin_))) {
      parts_.push_back(
          {file_, phase_, rank_,
           std::string(lines_, '\n') + std::string(text_.substr(begin_, end - begin_))});
    }
    lines_ +=
        static_cast<std::size_t>(std::ranges::count(text_.substr(begin_, next - begin_), '\n'));
    begin_ = next;
  }

  std::size_t file_, rank_;
  Phase phase_;
  std::string_view text_;
  std::vector<Part>& parts_;
  std::size_t begin_ = 0, lines_ = 0;
  bool isMarked_ = false;
};

/// The parts of views, functions and procedures, in the order in which they use one another.
void sortByUse(std::span<Part> parts, const std::vector<std::string>& names, bool ignoresCase) {
  std::vector<std::span<Part>> files;
  std::vector<std::string> texts;
  for (std::size_t at = 0; at < parts.size();) {
    const std::size_t first = at;
    std::string& text = texts.emplace_back();
    for (; at < parts.size() && parts[at].file == parts[first].file; ++at) text += parts[at].text;
    files.push_back(parts.subspan(first, at - first));
  }
  std::vector<NamedText> named;
  for (std::size_t at = 0; at < files.size(); ++at) {
    const bool hasQuotedNames = texts[at].find(kQuotedIdentifierOn) != std::string::npos;
    named.push_back({names[files[at].front().file], texts[at], hasQuotedNames});
  }
  std::vector<Part> sorted;
  for (const std::size_t at : inOrderOfUse(named, ignoresCase))
    std::ranges::move(files[at], std::back_inserter(sorted));
  std::ranges::move(sorted, parts.begin());
}

}  // namespace

std::string fileHead(std::string_view of) {
  std::string line(kFileMark);
  for (const char c : of) line += c == '\n' || c == '\r' ? ' ' : c;
  return line + "\ngo\n";
}

std::string fileText(const ScriptedObject& object) {
  const std::string kind(rowOf(object.kind).singular);
  std::ostringstream out;
  out << fileHead(object.kind == Kind::database ? kind : kind + ' ' + object.name);
  write(object, out);
  return out.str();
}

std::vector<FilePart> inRunningOrder(std::span<const std::string> texts, bool ignoresCase) {
  std::vector<Part> parts;
  std::vector<std::string> names(texts.size());
  std::vector<FilePart> order, behind;
  for (std::size_t file = 0; file < texts.size(); ++file) {
    if (const auto object = objectOf(texts[file])) {
      names[file] = object->name;
      Division(file, *object, texts[file], parts).run();
    } else {
      (parts.empty() ? order : behind).push_back({file, texts[file]});
    }
  }
  std::ranges::stable_sort(parts, {},
                           [](const Part& one) { return std::pair(one.phase, one.rank); });
  const auto compiled = std::ranges::equal_range(parts, Phase::compiled, {}, &Part::phase);
  sortByUse({compiled.begin(), compiled.end()}, names, ignoresCase);
  for (Part& part : parts) order.push_back({part.file, std::move(part.text)});
  std::ranges::move(behind, std::back_inserter(order));
  return order;
}

}  // namespace kelvane::inventory
