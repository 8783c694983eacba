#include "sor/sor-exception.h"

TSorException::TSorException(Kind k) : CommonException(Text(k)), kind(k) {}

TSorException::~TSorException() = default;

const char* TSorException::Text(Kind kind)
{
    switch (kind) {
    case NullPointer:
        return "Null pointer exception";
    case IndexOutOfBounds:
        return "Index out of bounds";
    case BadData:
        break;
    }
    return "Bad data exception";
}
