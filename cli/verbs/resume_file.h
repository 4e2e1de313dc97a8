// How far a comparison of rows came, so that another run goes on from there.
//
// The file holds packed rows: it is for the same program on the same machine.
//
// Lifetime: plain values. Threading: one thread.
#pragma once

#include <map>
#include <string>

#include "cli/verbs/keyed_report.h"
#include "rows/compare_rows.h"

namespace kelvane::cli {

// What is known of a table.
struct TableState {
  std::string plan = {};  // how it was compared; with another plan nothing of it holds
  bool isWhole = false;
  // The packed value of the key's first column from which on rows are not compared yet; empty
  // where all of them are, or none.
  std::string begin = {};
  rows::RowCounts counts = {};
  std::vector<RowSample> samples = {};
};

class ResumeFile {
 public:
  // `comparison` says what is compared and how. Reads the file where there is one. Throws
  // CommandError for one that is none, or of another comparison.
  ResumeFile(std::string path, std::string comparison);

  // What is known of a table that is compared by that plan; null: nothing.
  const TableState* find(const std::string& table, const std::string& plan) const;
  // Replaces the file as a whole. Throws CommandError.
  void keep(const std::string& table, TableState state);
  // The comparison has come to its end.
  void remove();

 private:
  void read(const std::string& text);
  void write() const;

  std::string path_, comparison_;
  std::map<std::string, TableState> tables_;
};

}  // namespace kelvane::cli
