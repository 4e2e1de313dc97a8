#include "inventory/ddl/used_names.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "model/text.h"

namespace kelvane::inventory {
namespace {

constexpr bool isOfName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '#' || c == '$' || c == '@' || static_cast<unsigned char>(c) >= 0x80;
}

std::size_t behind(std::string_view text, std::string_view what, std::size_t from) {
  const std::size_t at = text.find(what, from);
  return at == std::string_view::npos ? text.size() : at + what.size();
}

std::string folded(std::string_view name, bool ignoresCase) {
  return ignoresCase ? toUtf8(foldCase(toUtf16(name))) : std::string(name);
}

class Sorting {
 public:
  Sorting(const std::vector<NamedText>& texts, bool ignoresCase) : used_(texts.size()) {
    std::unordered_map<std::string, std::vector<std::size_t>> named;
    for (std::size_t at = 0; at < texts.size(); ++at)
      named[folded(texts[at].name, ignoresCase)].push_back(at);
    for (std::size_t at = 0; at < texts.size(); ++at) {
      std::vector<std::size_t>& used = used_[at];
      forEachName(texts[at].text, texts[at].quotedIdentifier, [&](std::string_view name) {
        const auto found = named.find(folded(name, ignoresCase));
        if (found == named.end() || folded(texts[at].name, ignoresCase) == found->first) return;
        used.insert(used.end(), found->second.begin(), found->second.end());
      });
      std::ranges::sort(used);
      used.erase(std::unique(used.begin(), used.end()), used.end());
    }
  }

  /// Without recursion: views may stand on one another in any number.
  std::vector<std::size_t> sorted() {
    std::vector<std::size_t> order;
    std::vector<bool> isSeen(used_.size(), false);
    std::vector<std::pair<std::size_t, std::size_t>> path;  // a text, and which of those it uses
    for (std::size_t first = 0; first < used_.size(); ++first) {
      if (isSeen[first]) continue;
      isSeen[first] = true;
      path.emplace_back(first, 0);
      while (!path.empty()) {
        auto& [at, next] = path.back();
        if (next == used_[at].size()) {
          order.push_back(at);
          path.pop_back();
          continue;
        }
        const std::size_t used = used_[at][next++];
        if (isSeen[used]) continue;
        isSeen[used] = true;
        path.emplace_back(used, 0);
      }
    }
    return order;
  }

 private:
  std::vector<std::vector<std::size_t>> used_;
};

}  // namespace

void forEachName(std::string_view text, bool quotedIdentifier,
                 const std::function<void(std::string_view)>& visit) {
  for (std::size_t at = 0; at < text.size();) {
    const std::string_view rest = text.substr(at);
    const char c = text[at];
    if (rest.starts_with("--")) {
      at = behind(text, "\n", at);
    } else if (rest.starts_with("/*")) {
      at = behind(text, "*/", at + 2);
    } else if (c == '\'' || c == '"' || c == '[') {
      // A doubled quote begins another one at once.
      const std::size_t end = behind(text, c == '[' ? "]" : rest.substr(0, 1), at + 1);
      if (c == '[' || (c == '"' && quotedIdentifier)) visit(text.substr(at + 1, end - at - 2));
      at = end;
    } else if (isOfName(c)) {
      std::size_t end = at;
      while (end < text.size() && isOfName(text[end])) ++end;
      visit(text.substr(at, end - at));
      at = end;
    } else {
      ++at;
    }
  }
}

std::vector<std::size_t> inOrderOfUse(const std::vector<NamedText>& texts, bool ignoresCase) {
  return Sorting(texts, ignoresCase).sorted();
}

}  // namespace kelvane::inventory
