// What every HTML report has in common, from the files beside this one.
//
// Lifetime and threading: constants of the program.
#pragma once

#include <string_view>

namespace kelvane::html {

struct PageText {
  std::string_view text;
  std::string_view sha256;  // of the text, in hexadecimal digits
};

extern const PageText kStyle;       // page.css
extern const PageText kScript;      // page.js
extern const PageText kBody;        // body.html: the page without data
extern const PageText kFleetStyle;  // fleet.css, of the page about many databases

}  // namespace kelvane::html
