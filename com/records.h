// Records on their way between the component and its hosts, for which they are structures of the
// type library: texts are BSTR, arrays SAFEARRAYs from index 1 that are null while they have no
// element.
//
// Lifetime: a record handed over is the host's, with all that it holds; one that is read stays the
// host's. Threading: free functions without state.
#pragma once

#include "com/edge.h"
#include "model/diff_schema.h"
#include "model/schema.h"

namespace kelvane::com {

// Writes a record to where the host wants it. What is there is not looked at, as with every answer.
// Raises RuntimeError, and then there is nothing for the host to release.
void toHost(const Schema& schema, ::Schema& place);
void toHost(const diffSchema& differences, ::diffSchema& place);

// Releases what a record holds and leaves it empty. The system's own clearing asks the description
// of the record for it, which not every system has right for records that hold arrays.
void clear(::Schema& schema) noexcept;
void clear(::diffSchema& differences) noexcept;

// Elements below index 1 are left out. Raises RuntimeError(typeMismatch) for arrays of another
// shape than the type library's, and outOfRange for those that begin above index 1.
Schema fromHost(const ::Schema& schema);
diffSchema fromHost(const ::diffSchema& differences);

}  // namespace kelvane::com
