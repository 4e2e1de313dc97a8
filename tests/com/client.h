// What hosts in C++ do, for the tests: the library registered, its classes created, calls checked.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "com/edge.h"
#include "com/records.h"
#include "model/text.h"
#include "tests/com/ado_objects.h"

namespace kelvane::testing {

using com::Pointer;
using com::Variant;

inline void expectDone(HRESULT result) { ASSERT_EQ(result, S_OK) << std::hex << result; }

template <class Interface>
Pointer<Interface> createObject(const CLSID& id) {
  Pointer<Interface> object;
  const HRESULT created = CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface),
                                           reinterpret_cast<void**>(object.receive()));
  EXPECT_EQ(created, S_OK) << std::hex << created;
  return object;
}

// Calls one of the library's own entry points.
HRESULT callLibrary(const char* entry);

// The text that a member answers with.
template <class Object, class Member>
std::string textFrom(Object& object, Member member) {
  BSTR text = nullptr;
  expectDone((object.*member)(&text));
  std::string utf8 = toUtf8(com::textOf(text));
  SysFreeString(text);
  return utf8;
}

// A record that a member answers with, as the component's.
template <class Structure, class Object, class Member>
auto recordFrom(Object& object, Member member) {
  Structure structure;  // not set: it is only for the answer
  expectDone((object.*member)(&structure));
  auto record = com::fromHost(structure);
  com::clear(structure);
  return record;
}

// The error information that a failed call left, as "SOURCE: DESCRIPTION".
std::string errorInformation();

}  // namespace kelvane::testing
