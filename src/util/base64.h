// Base64 with the standard alphabet and "=" padding, without line breaks.
#pragma once

#include <string>

#include "util/util-export.h"

// Throws std::length_error ("Converting too large a string to base64.") for an
// input whose encoding would not fit in 32 bits.
[[nodiscard]] FIBERTEST_UTIL_EXPORT std::string base64_encode(const std::string& bytes);

// Passes over white space and "=" wherever they stand. Any other character
// outside the alphabet throws std::invalid_argument ("This contains characters
// not legal in a base64 encoded string."). A partial last group yields the
// bytes that it completes.
[[nodiscard]] FIBERTEST_UTIL_EXPORT std::string base64_decode(const std::string& text);
