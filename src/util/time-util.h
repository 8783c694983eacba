// Time stamps and the millisecond tick of the trace core.
#pragma once

#include <cstdint>
#include <string>

#include "util/util-export.h"

// Seconds since 1970-01-01 UTC.
[[nodiscard]] FIBERTEST_UTIL_EXPORT long GetUTCTimeStamp();

// GetUTCTimeStamp() shifted by the local clock's offset from UTC, taken from
// the hours and minutes of the two clocks only. The day is ignored, so while
// local time and UTC stand on different dates the result is 24 hours off;
// stored stamps depend on that, so it stays.
[[nodiscard]] FIBERTEST_UTIL_EXPORT long GetLocalTimeStamp();

// `stamp` as local time, "dd.mm.yyyy   hh:mm:ss"; empty when it cannot be
// converted.
[[nodiscard]] FIBERTEST_UTIL_EXPORT std::string FormatTimeStamp(long stamp);

// Milliseconds of the monotonic clock, wrapping in 32 bits. A clock that
// fails is a broken system and fails an assertion.
[[nodiscard]] FIBERTEST_UTIL_EXPORT std::uint32_t GetTickCountEx();
