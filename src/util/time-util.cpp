#include "util/time-util.h"

#include <cassert>
#include <cstdio>
#include <ctime>

long GetUTCTimeStamp()
{
    return static_cast<long>(std::time(nullptr));
}

long GetLocalTimeStamp()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    std::tm utc{};
    if (localtime_r(&now, &local) == nullptr || gmtime_r(&now, &utc) == nullptr)
        return static_cast<long>(now);
    const long minutes = (local.tm_hour - utc.tm_hour) * 60L + (local.tm_min - utc.tm_min);
    return static_cast<long>(now) + minutes * 60;
}

std::string FormatTimeStamp(long stamp)
{
    const std::time_t time = static_cast<std::time_t>(stamp);
    std::tm local{};
    if (localtime_r(&time, &local) == nullptr)
        return {};
    char text[64];
    // The year in long: tm_year may be close to INT_MAX for far stamps.
    std::snprintf(text, sizeof text, "%02d.%02d.%ld   %02d:%02d:%02d", local.tm_mday, local.tm_mon + 1,
                  local.tm_year + 1900L, local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}

std::uint32_t GetTickCountEx()
{
    timespec now{};
    const int clockResult = clock_gettime(CLOCK_MONOTONIC, &now);
    assert(clockResult == 0);
    // Wrapping is intended: callers compare ticks by difference.
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                                      static_cast<std::uint64_t>(now.tv_nsec) / 1000000u);
}
