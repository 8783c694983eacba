// TSorFieldVisitor: a walk over the fields of a block, under the format's
// short names, for dumps in other forms than Damp and for comparisons.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sor/sor-export.h"
#include "util/t-string.h"

// A block calls these in its file order (fields of a revision it does not
// have included, at the values it holds). Records inside a block come as a
// named list of unnamed records; a record in a field of its own as a named
// record. A list of plain numbers is a list of unnamed Int calls.
class FIBERTEST_SOR_EXPORT TSorFieldVisitor
{
public:
    virtual ~TSorFieldVisitor();

    virtual void Int(const char* name, std::int64_t value) = 0;
    virtual void Real(const char* name, double value) = 0;
    virtual void Text(const char* name, const TString& value) = 0;
    // Opaque bytes (a hash, a foreign block's body).
    virtual void Bytes(const char* name, const char* data, std::size_t size) = 0;
    virtual void BeginList(const char* name) = 0;
    virtual void EndList() = 0;
    // `name` is null for a record inside a list.
    virtual void BeginRecord(const char* name) = 0;
    virtual void EndRecord() = 0;
};
