// Parts of texts: finding, cutting, replacing and repeating them.

#include <algorithm>
#include <optional>
#include <string>

#include "drivers/embedded/catalog/pattern.h"
#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/function_families.h"

namespace kelvane::embedded {
namespace {

void matches(FunctionCall& call) {
  if (anyNull(call)) return;
  std::optional<char> escape;
  if (call.count() == 3 && !call.text(2).empty()) escape = call.text(2)[0];
  call.result(matchesLike(call.text(0), call.text(1), escape) ? 1 : 0);
}

// Where a pattern goes on behind its first `%`, which within brackets is one of their characters.
std::size_t afterPercent(std::string_view pattern) {
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    if (pattern[at] == '%') return at + 1;
    if (pattern[at] == '[') at = std::min(pattern.find(']', at), pattern.size());
  }
  return pattern.size();
}

// (pattern, text, `bytes` or another word)
void patternIndex(FunctionCall& call) {
  if (call.isNull(0)) return;
  if (call.isNull(1)) return call.result(0);
  const std::string pattern(call.text(0));
  const std::string_view text = call.text(1);
  const Characters characters(text);
  const auto position = [&](std::int64_t at) {
    if (call.text(2) != "bytes") return at + 1;
    return static_cast<std::int64_t>(characters.part(0, at).size()) + 1;
  };
  const bool anywhere = pattern.starts_with('%');
  const std::string rest = anywhere ? pattern.substr(1) : pattern;
  // What comes behind a `%` is found behind the first place where the text before it is, or
  // nowhere.
  const std::string head = rest.substr(0, afterPercent(rest));
  for (std::int64_t at = 0; at < characters.count(); ++at) {
    const std::string_view end = characters.part(at, characters.count());
    if (matchesLike(end, head)) {
      call.result(head == rest || matchesLike(end, rest) ? position(at) : 0);
      return;
    }
    if (!anywhere) break;
  }
  call.result(0);
}

// (text to look for, text to look in, where to begin or null)
void textIndex(FunctionCall& call) {
  if (call.isNull(0) || call.isNull(1)) return;
  const std::string_view text = call.text(1);
  const Characters characters(text);
  const std::int64_t start =
      call.isNull(2) ? 0 : std::clamp<std::int64_t>(call.integer(2) - 1, 0, characters.count());
  const auto found = text.find(call.text(0), characters.part(0, start).size());
  call.result(found == std::string_view::npos ? 0 : Characters(text.substr(0, found)).count() + 1);
}

void partOfText(FunctionCall& call) {
  if (anyNull(call)) return;
  const std::int64_t start = std::max<std::int64_t>(call.integer(1), 1) - 1;
  const std::int64_t length = call.integer(2);
  if (length <= 0) return;
  const Cell cell = call.cell(0);
  if (const auto* bytes = std::get_if<Blob>(&cell)) {
    const auto size = static_cast<std::int64_t>(bytes->size());
    if (start >= size) return;
    const auto end = start + std::min(length, size - start);
    call.result(Cell(Blob(bytes->begin() + start, bytes->begin() + end)));
    return;
  }
  textResult(call, Characters(call.text(0)).part(start, length));
}

void endOfText(FunctionCall& call) {
  if (anyNull(call)) return;
  const Characters characters(call.text(0));
  const auto length = std::clamp<std::int64_t>(call.integer(1), 0, characters.count());
  textResult(call, characters.part(characters.count() - length, length));
}

void replaced(FunctionCall& call) {
  if (call.isNull(0) || call.isNull(1)) return;
  const std::string_view text = call.text(0), wanted = call.text(1), instead = call.text(2);
  std::string result;
  std::size_t at = 0;
  while (!wanted.empty() && result.size() < kLongest) {
    const auto found = text.find(wanted, at);
    if (found == std::string_view::npos) break;
    result.append(text.substr(at, found - at)).append(instead);
    at = found + wanted.size();
  }
  result += text.substr(at);
  textResult(call, cutText(result, kLongest));
}

void repeated(FunctionCall& call) {
  if (anyNull(call)) return;
  std::string text;
  const std::size_t length = call.text(0).size();
  if (length == 0) return;
  for (std::int64_t i = 0; i < call.integer(1) && text.size() + length <= kLongest; ++i) {
    text += call.text(0);
  }
  textResult(call, text);
}

void reversed(FunctionCall& call) {
  if (anyNull(call)) return;
  const Characters characters(call.text(0));
  std::string text;
  for (std::int64_t at = characters.count() - 1; at >= 0; --at) text += characters.part(at, 1);
  textResult(call, text);
}

void stuffed(FunctionCall& call) {
  if (call.isNull(0) || call.isNull(1) || call.isNull(2)) return;
  const Characters characters(call.text(0));
  const std::int64_t start = call.integer(1) - 1, length = call.integer(2);
  if (start < 0 || length < 0 || start >= characters.count()) return;
  std::string text(characters.part(0, start));
  if (!call.isNull(3)) text += call.text(3);
  text += characters.part(start + length, characters.count());
  textResult(call, cutText(text, kLongest));
}

}  // namespace

void registerTextPartFunctions(Database& store) {
  const auto add = [&](const char* name, int count, void (*function)(FunctionCall&)) {
    store.addFunction(name, count, FunctionKind::Fixed, function);
  };
  add("matches", 2, matches);
  add("matches", 3, matches);
  add("pattern_index", 3, patternIndex);
  add("part_of_text", 3, partOfText);
  add("end_of_text", 2, endOfText);
  add("repeated", 2, repeated);
  add("replaced", 3, replaced);
  add("reversed", 1, reversed);
  add("stuffed", 4, stuffed);
  add("text_index", 3, textIndex);
}

}  // namespace kelvane::embedded
