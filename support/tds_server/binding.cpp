#include "support/tds_server/binding.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "drivers/embedded/tsql/scan.h"

namespace kelvane::tds {

namespace {

// The first byte after what begins at `at` and holds no markers or variables of its own; `at`
// itself elsewhere.
std::size_t endOfOpaque(std::string_view text, std::size_t at) {
  const char c = text[at];
  std::size_t end = at;
  if (c == '\'' || c == '"' || c == '[') {
    end = tsql::endOfQuoted(text, at, c == '[' ? ']' : c);
  } else if (tsql::isLineComment(text, at)) {
    end = tsql::endOfLine(text, at);
  } else if (tsql::isBlockComment(text, at)) {
    end = tsql::endOfBlockComment(text, at);
  }
  return std::min(end, text.size());
}

bool isNamePart(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
         static_cast<unsigned char>(c) >= 0x80 || c == '_' || c == '#' || c == '$' || c == '@';
}

struct Places {
  std::vector<std::size_t> markers;
  std::vector<std::string> variables;  // each once, without global ones
};

Places placesIn(std::string_view text) {
  Places places;
  for (std::size_t at = 0; at < text.size();) {
    if (const std::size_t end = endOfOpaque(text, at); end > at) {
      at = end;
      continue;
    }
    std::size_t end = at + 1;
    if (text[at] == '?') {
      places.markers.push_back(at);
    } else if (isNamePart(text[at])) {
      while (end < text.size() && isNamePart(text[end])) ++end;
      const std::string_view word = text.substr(at, end - at);
      if (word.starts_with('@') && !word.starts_with("@@") &&
          std::ranges::find(places.variables, word) == places.variables.end())
        places.variables.emplace_back(word);
    }
    at = end;
  }
  return places;
}

void requireCount(std::size_t places, std::string_view what, std::size_t values) {
  if (places == values) return;
  throw std::runtime_error("The statement has " + std::to_string(places) + " " + std::string(what) +
                           ", but " + std::to_string(values) + " values came.");
}

void numberVariables(std::vector<Parameter>& parameters) {
  std::size_t number = 0;
  for (Parameter& parameter : parameters)
    parameter.variable = "@parameter_" + std::to_string(++number);
}

}  // namespace

std::string bindText(std::string_view text, std::vector<Parameter>& parameters) {
  const Places places = placesIn(text);
  if (!places.markers.empty()) {
    requireCount(places.markers.size(), "parameter markers", parameters.size());
    numberVariables(parameters);
    std::string bound;
    std::size_t from = 0;
    for (std::size_t i = 0; i < parameters.size(); ++i) {
      bound += text.substr(from, places.markers[i] - from);
      bound += parameters[i].variable;
      from = places.markers[i] + 1;
    }
    bound += text.substr(from);
    return bound;
  }
  if (std::ranges::none_of(parameters, &std::string::empty, &Parameter::name)) {
    for (Parameter& parameter : parameters) parameter.variable = parameter.name;
  } else {
    requireCount(places.variables.size(), "variables", parameters.size());
    for (std::size_t i = 0; i < parameters.size(); ++i)
      parameters[i].variable = places.variables[i];
  }
  return std::string(text);
}

std::string bindCall(std::string_view procedure, std::vector<Parameter>& parameters) {
  numberVariables(parameters);
  std::string text = "exec " + std::string(procedure);
  std::string_view separator = " ";
  for (const Parameter& parameter : parameters) {
    text += separator;
    if (!parameter.name.empty()) text += parameter.name + " = ";
    text += parameter.variable + (parameter.output ? " output" : "");
    separator = ", ";
  }
  return text;
}

}  // namespace kelvane::tds
