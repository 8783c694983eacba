#include "util/c-string.h"

#include <cctype>
#include <climits>
#include <cstdint>
#include <cwctype>

namespace {

int lowerByte(char c) { return std::tolower(static_cast<unsigned char>(c)); }

} // namespace

int strcmpi(const char* a, const char* b)
{
    if (a == nullptr || b == nullptr)
        return 0;
    for (;; ++a, ++b) {
        const int ca = lowerByte(*a);
        const int cb = lowerByte(*b);
        if (ca != cb)
            return ca - cb;
        if (ca == 0)
            return 0;
    }
}

int _wcsicmp(const wchar_t* a, const wchar_t* b)
{
    if (a == nullptr || b == nullptr)
        return 0;
    for (;; ++a, ++b) {
        // A wide character may take any 32-bit value, so the difference is
        // taken in 64 bits and clamped rather than left to overflow.
        const auto ca = static_cast<std::int64_t>(static_cast<std::int32_t>(std::towlower(static_cast<wint_t>(*a))));
        const auto cb = static_cast<std::int64_t>(static_cast<std::int32_t>(std::towlower(static_cast<wint_t>(*b))));
        if (ca != cb) {
            const std::int64_t difference = ca - cb;
            if (difference > INT_MAX)
                return INT_MAX;
            if (difference < INT_MIN)
                return INT_MIN;
            return static_cast<int>(difference);
        }
        if (ca == 0)
            return 0;
    }
}

char* strlwr(char* text)
{
    if (text != nullptr)
        for (char* p = text; *p != '\0'; ++p)
            *p = static_cast<char>(lowerByte(*p));
    return text;
}

char* strupr(char* text)
{
    if (text != nullptr)
        for (char* p = text; *p != '\0'; ++p)
            *p = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
    return text;
}

wchar_t* _wcslwr(wchar_t* text)
{
    if (text != nullptr)
        for (wchar_t* p = text; *p != L'\0'; ++p)
            *p = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(*p)));
    return text;
}

wchar_t* _wcsupr(wchar_t* text)
{
    if (text != nullptr)
        for (wchar_t* p = text; *p != L'\0'; ++p)
            *p = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(*p)));
    return text;
}
