#include "tests/embedded/engine/probe.h"

#include <gtest/gtest.h>
#include <set>
#include <sstream>

#include "model/text.h"

namespace kelvane::embedded {
namespace {

std::string shown(const ado::Value& value) { return value.isNull() ? "-" : toUtf8(value.toText()); }

void drawResult(ado::Recordset& rows, std::string& text) {
  if (rows.State() == ado::ObjectState::closed) {
    text += "(closed)\n";
    return;
  }
  const auto line = [&](auto&& cell) {
    for (std::int32_t i = 0; i < rows.FieldCount(); ++i) {
      text += (i == 0 ? "" : " | ") + cell(rows.Fields(i));
    }
    text += '\n';
  };
  line([](const ado::Field& field) { return toUtf8(field.Name()); });
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    line([](const ado::Field& field) { return shown(field.Value()); });
  }
}

}  // namespace

Probe::Probe(std::string_view script, const CatalogOptions& options) : catalog(options) {
  if (!script.empty()) {
    const LoadReport report = loadScript(catalog, "probe.sql", script);
    for (const ScriptNote& error : report.errors) ADD_FAILURE() << error.describe();
  }
  connection = catalog.connect();
}

std::string Probe::ask(std::string_view sql, const ado::OpenMode& mode) {
  std::string text;
  try {
    const auto rows = connection->Open(toUtf16(sql), mode);
    do {
      drawResult(*rows, text);
    } while (rows->NextRecordset());
  } catch (const ado::Failure&) {
    for (const ado::Error& error : connection->Errors()) {
      text +=
          "error " + std::to_string(error.NativeError) + ": " + toUtf8(error.Description) + '\n';
    }
  }
  return text;
}

std::string Probe::rows(std::string_view sql) {
  const std::string text = ask(sql);
  return text.starts_with("error ") || text == "(closed)\n" ? text
                                                            : text.substr(text.find('\n') + 1);
}

std::string Probe::sortedRows(std::string_view sql) {
  std::istringstream text(rows(sql));
  std::multiset<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.insert(line + '\n');
  std::string sorted;
  for (const std::string& line : lines) sorted += line;
  return sorted;
}

std::string Probe::refusal(std::string_view sql) {
  const std::string text = ask(sql);
  const auto error = text.find("error ");
  return error == std::string::npos ? "accepted: " + text : text.substr(error + 6);
}

}  // namespace kelvane::embedded
