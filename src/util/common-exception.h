// CommonException: the base of the exceptions that fibertest itself throws.
#pragma once

#include <stdexcept>
#include <string>

#include "util/util-export.h"

// Derived from std::runtime_error so that a caller who catches the standard
// hierarchy also sees ours; each subsystem derives its own error from it.
class FIBERTEST_UTIL_EXPORT CommonException : public std::runtime_error
{
public:
    explicit CommonException(const std::string& what);
    explicit CommonException(const char* what);
    ~CommonException() override;
};
