// A connection that passes everything on to another one and keeps account of what was asked and
// what the server refused, also where the caller does not look. When the server does not answer any
// more, it is not asked any more.
//
// Lifetime: the inner connection and the trace outlive it; it outlives its recordsets. Threading:
// as the inner connection.
#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "ado/ado.h"
#include "cli/sides/trace.h"

namespace kelvane::cli {

// A statement that failed, what it was sent for, and what the server said.
struct Rejection {
  std::u16string activity;
  std::u16string statement;
  std::u16string error;
};

// The lines of a text that are not empty, in one.
std::string inOneLine(std::u16string_view text);
// What a statement begins with: enough to know it by.
std::string beginningOf(std::u16string_view statement);
// To which statement the server did not answer any more, and why.
std::string noAnswerText(const Rejection& unanswered);
// The same, and what was read.
std::string unansweredText(const Rejection& unanswered);

class TracingConnection final : public ado::Connection {
 public:
  // `activity` is what statements are sent for at the time; `trace` may be null. Once a stop is
  // requested nothing more is asked.
  TracingConnection(ado::Connection& inner, const std::u16string& activity, Trace* trace,
                    std::stop_token stop)
      : inner_(inner), activity_(activity), trace_(trace), stop_(std::move(stop)) {}
  // The activity is looked at when statements are sent.
  TracingConnection(ado::Connection&, std::u16string&&, Trace*, std::stop_token) = delete;

  // Results are followed to their end when the recordset is released, so that an error behind what
  // the caller read is not missed.
  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override;
  const std::vector<ado::Error>& Errors() const override { return inner_.Errors(); }

  // Failures after a stop was requested are none of the server's and are left out.
  const std::vector<Rejection>& rejections() const { return rejections_; }
  // The statement that the server left without an answer: the link to it is down, or it ran into
  // the time limit.
  const std::optional<Rejection>& unanswered() const { return unanswered_; }
  bool isOver() const { return unanswered_ || stop_.stop_requested(); }

 private:
  class TracingRecordset;

  // Of the exception being handled.
  std::u16string serverText() const;
  void failedLater(const std::u16string& statement);
  void keep(Rejection rejection);

  ado::Connection& inner_;
  const std::u16string& activity_;
  Trace* trace_;
  std::stop_token stop_;
  std::vector<Rejection> rejections_;
  std::optional<Rejection> unanswered_;
};

}  // namespace kelvane::cli
