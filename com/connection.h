// The host's ADO connection as the component's. This is the one place that knows ADO, by the names
// of its members.
//
// Lifetime: keeps a reference to the host's connection, and each recordset one to its own.
// Threading: see edge.h.
#pragma once

#include <memory>

#include "ado/ado.h"
#include "com/automation.h"

namespace kelvane::com {

class HostConnection final : public ado::Connection {
 public:
  explicit HostConnection(IDispatch* object) : object_(Pointer<IDispatch>(object)) {}

  IDispatch* object() const { return object_.get(); }

  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override;
  const std::vector<ado::Error>& Errors() const override;

 private:
  mutable Automation object_;
  mutable std::vector<ado::Error> errors_;
};

}  // namespace kelvane::com
