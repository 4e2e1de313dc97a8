#include "report/change_lines.h"

#include <utility>

#include "inventory/compare/titles.h"
#include "report/change_words.h"

namespace kelvane::report {
namespace {

class Listing {
 public:
  Listing(std::string owner, std::u16string_view source)
      : owner_(std::move(owner)), source_(source) {}

  void add(const inventory::Change& change, const std::u16string& around, Place place) {
    const std::u16string title =
        around + headingOf(change, place == Place::part ? owner_ : std::string_view());
    if (!change.isOnBothSides()) {
      std::u16string line = onlyInLine(change, owner_, Colors::none);
      constexpr std::u16string_view kOnlyInSource = u"only in source";
      if (line.starts_with(kOnlyInSource))
        line.replace(0, kOnlyInSource.size(), u"only in " + source_);
      lines_.push_back(title + u": " + line);
      return;
    }
    const auto [text, rest] = inlineOf(change, place, Colors::none);
    if (!text.empty()) lines_.push_back(title + u": " + text);
    for (const ShownChange& one : rest)
      lines_.push_back(title + u": " + one.label() +
                       (one.isShort() ? u": " + one.line(Colors::none) : u" differs"));
    for (const inventory::Change& part : change.parts) add(part, title + u", ", Place::part);
  }

  std::vector<std::u16string> take() { return std::move(lines_); }

 private:
  std::string owner_;
  std::u16string source_;
  std::vector<std::u16string> lines_;
};

}  // namespace

std::vector<std::u16string> linesOf(const inventory::Change& object, std::u16string_view source) {
  Listing listing(inventory::ownerOf(object), source);
  listing.add(object, {}, Place::object);
  return listing.take();
}

}  // namespace kelvane::report
