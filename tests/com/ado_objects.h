// ADO-shaped automation objects over connections of the component's own interface: what a host's
// ADO is to the component.
//
// Lifetime: counted references. Threading: one thread.
#pragma once

#include <functional>

#include "ado/ado.h"
#include "tests/com/automation_object.h"

namespace kelvane::testing {

// A Connection, whose recordsets are opened on what `lent` answers with, and which has the further
// members.
com::Pointer<IDispatch> connectionObject(const std::function<ado::Connection&()>& lent,
                                         std::map<std::wstring, AutomationObject::Member> further);

// A Recordset that is to be opened.
com::Pointer<IDispatch> recordsetObject();

// Makes objects of one class.
com::Pointer<IClassFactory> factoryOf(com::Pointer<IDispatch> (*make)());

// While it lives, ADODB.Recordset is recordsetObject() in this process.
class AdoObjects {
 public:
  AdoObjects();
  ~AdoObjects();
  AdoObjects(const AdoObjects&) = delete;
  AdoObjects& operator=(const AdoObjects&) = delete;

  // The connection outlives the object.
  com::Pointer<IDispatch> connection(ado::Connection& connection);

 private:
  DWORD registration_ = 0;
};

}  // namespace kelvane::testing
