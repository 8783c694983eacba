#include "util/common-exception.h"

CommonException::CommonException(const std::string& what) : std::runtime_error(what) {}

CommonException::CommonException(const char* what) : std::runtime_error(what) {}

// Defined out of line so that the class's type information lives in the
// library once, and a throw across the library boundary is caught by type.
CommonException::~CommonException() = default;
