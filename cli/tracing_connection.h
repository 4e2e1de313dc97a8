// A connection that passes everything on to another one and keeps account of what was asked and
// what the server refused, also where the caller does not look.
//
// Lifetime: the inner connection and the trace outlive it; it outlives its recordsets. Threading:
// as the inner connection.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ado/ado.h"
#include "cli/trace.h"

namespace kelvane::cli {

// A statement that failed, what it was sent for, and what the server said.
struct Rejection {
  std::u16string activity;
  std::u16string statement;
  std::u16string error;
};

class TracingConnection final : public ado::Connection {
 public:
  // `activity` is what statements are sent for at the time; `trace` may be null.
  TracingConnection(ado::Connection& inner, const std::u16string& activity, Trace* trace)
      : inner_(inner), activity_(activity), trace_(trace) {}

  // Results are followed to their end when the recordset is released, so that an error behind what
  // the caller read is not missed.
  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override;
  const std::vector<ado::Error>& Errors() const override { return inner_.Errors(); }

  const std::vector<Rejection>& rejections() const { return rejections_; }

 private:
  class TracingRecordset;

  // Of the exception being handled.
  std::u16string serverText() const;
  void failedLater(const std::u16string& statement);

  ado::Connection& inner_;
  const std::u16string& activity_;
  Trace* trace_;
  std::vector<Rejection> rejections_;
};

}  // namespace kelvane::cli
