// Items of a text list: comma-separated items, and blank-separated words.
#pragma once

#include "util/t-string.h"
#include "util/tw-string.h"
#include "util/util-export.h"

// The text is read up to its first NUL.
//
// GetItem: item `index` (from 0) of a comma-separated list, without the
// blanks and control characters around it: item 1 of "a, b ,c" is "b". The
// empty string for a negative index or one past the last item.
//
// CountItems: asks GetItem for items 0, 1, ... until one comes back empty, so
// an empty item ends the count: "a,,b" counts 1, and "" or " " counts 0.
//
// GetItemByIndex: word `index` (from 0) under the rules of TCommandLine:
// blanks separate, and a double-quoted word stays whole without its quotes.
// Word 1 of `run "my trace.sor" -v` is "my trace.sor". The empty string when
// there is no such word.
[[nodiscard]] FIBERTEST_UTIL_EXPORT int CountItems(const TString& text);
[[nodiscard]] FIBERTEST_UTIL_EXPORT TString GetItem(const TString& text, int index);
[[nodiscard]] FIBERTEST_UTIL_EXPORT TString GetItemByIndex(const TString& text, int index);

[[nodiscard]] FIBERTEST_UTIL_EXPORT int CountItems(const TwString& text);
[[nodiscard]] FIBERTEST_UTIL_EXPORT TwString GetItem(const TwString& text, int index);
[[nodiscard]] FIBERTEST_UTIL_EXPORT TwString GetItemByIndex(const TwString& text, int index);
