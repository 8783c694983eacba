// TSorException: the one error that the bodies of trace blocks throw.
#pragma once

#include "sor/sor-export.h"
#include "util/common-exception.h"

// A block that meets data it cannot use throws this; the file layer below it
// never throws and reports through its status instead. The three kinds carry
// the texts that callers and logs have always seen from the blocks.
class FIBERTEST_SOR_EXPORT TSorException : public CommonException
{
public:
    enum Kind {
        NullPointer,      // "Null pointer exception": a block was given no file
        BadData,          // "Bad data exception": a count, size or value the block cannot hold
        IndexOutOfBounds  // "Index out of bounds": an element asked for past the end
    };

    explicit TSorException(Kind kind);
    ~TSorException() override;

    [[nodiscard]] Kind GetKind() const { return kind; }
    // The fixed text of each kind.
    [[nodiscard]] static const char* Text(Kind kind);

private:
    Kind kind;
};
