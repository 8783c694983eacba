// Case-insensitive comparison and in-place case conversion of C strings, for
// C libraries (such as glibc) that lack the traditional functions.
#pragma once

#include <cwchar>

#include "util/util-export.h"

// Compare through tolower / towlower in the current locale and answer the
// difference of the first unequal pair (0 when the texts are equal). A null
// argument on either side answers 0.
FIBERTEST_UTIL_EXPORT int strcmpi(const char* a, const char* b);
FIBERTEST_UTIL_EXPORT int _wcsicmp(const wchar_t* a, const wchar_t* b);

// Convert `text` in place and return it; a null pointer is passed through.
FIBERTEST_UTIL_EXPORT char* strlwr(char* text);
FIBERTEST_UTIL_EXPORT char* strupr(char* text);
FIBERTEST_UTIL_EXPORT wchar_t* _wcslwr(wchar_t* text);
FIBERTEST_UTIL_EXPORT wchar_t* _wcsupr(wchar_t* text);
