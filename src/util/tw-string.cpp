#include "util/tw-string.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <stdexcept>

#include "util/c-string.h"

namespace {

wchar_t* emptyBuffer()
{
    wchar_t* buffer = new wchar_t[1];
    buffer[0] = L'\0';
    return buffer;
}

wchar_t* copyOf(const wchar_t* chars, int size)
{
    wchar_t* buffer = new wchar_t[static_cast<std::size_t>(size) + 1];
    if (size > 0)
        std::wmemcpy(buffer, chars, static_cast<std::size_t>(size));
    buffer[size] = L'\0';
    return buffer;
}

int cLength(const wchar_t* text)
{
    const std::size_t size = std::wcslen(text);
    return size > INT_MAX ? INT_MAX : static_cast<int>(size);
}

// Numbers go through a buffer of 64 characters. A "%lf" text that does not
// fit (magnitudes beyond about 1e56) falls back to "%lg" rather than to an
// undefined buffer.
template <class Number>
int formatNumber(wchar_t (&buffer)[64], const wchar_t* fmt, Number value)
{
    int size = std::swprintf(buffer, 64, fmt, value);
    if (size < 0)
        size = std::swprintf(buffer, 64, L"%lg", static_cast<double>(value));
    if (size < 0) {
        size = 0;
        buffer[0] = L'\0';
    }
    return size;
}

bool isTrimmed(wchar_t c) { return static_cast<std::uint32_t>(c) < 33; }

bool onlyBlanks(const wchar_t* text)
{
    while (std::iswspace(static_cast<wint_t>(*text)))
        ++text;
    return *text == L'\0';
}

} // namespace

TwString::TwString() : data(emptyBuffer()), length(0) {}

TwString::TwString(const wchar_t* text) : data(nullptr), length(0)
{
    length = text != nullptr ? cLength(text) : 0;
    data = text != nullptr ? copyOf(text, length) : emptyBuffer();
}

TwString::TwString(const wchar_t* text, int n) : data(nullptr), length(0)
{
    if (text == nullptr || n < 0) {
        data = emptyBuffer();
        return;
    }
    data = new wchar_t[static_cast<std::size_t>(n) + 1];
    std::wcsncpy(data, text, static_cast<std::size_t>(n));
    data[n] = L'\0';
    length = n;
}

TwString::TwString(const TwString& other) : data(copyOf(other.data, other.length)), length(other.length) {}

TwString::TwString(int value) : data(nullptr), length(0)
{
    wchar_t buffer[64];
    length = formatNumber(buffer, L"%d", value);
    data = copyOf(buffer, length);
}

TwString::TwString(double value) : data(nullptr), length(0)
{
    wchar_t buffer[64];
    length = formatNumber(buffer, L"%lf", value);
    data = copyOf(buffer, length);
}

TwString::~TwString() { delete[] data; }

TwString& TwString::operator=(const TwString& other)
{
    if (this != &other)
        adopt(copyOf(other.data, other.length), other.length);
    return *this;
}

TwString& TwString::operator=(const wchar_t* text)
{
    SetString(text);
    return *this;
}

void TwString::SetString(const wchar_t* text)
{
    if (text == nullptr)
        adopt(emptyBuffer(), 0);
    else {
        const int size = cLength(text);
        adopt(copyOf(text, size), size);
    }
}

void TwString::Delete(int pos, int count)
{
    if (pos < 0 || pos >= length || count < 1)
        return;
    if (count > length - pos)
        count = length - pos;
    const int size = length - count;
    wchar_t* buffer = new wchar_t[static_cast<std::size_t>(size) + 1];
    std::wmemcpy(buffer, data, static_cast<std::size_t>(pos));
    std::wmemcpy(buffer + pos, data + pos + count, static_cast<std::size_t>(length - pos - count));
    buffer[size] = L'\0';
    adopt(buffer, size);
}

TwString TwString::SubString(int pos, int count) const
{
    if (pos < 0 || pos >= length || count < 0)
        return TwString();
    if (count > length - pos)
        count = length - pos;
    return TwString(data + pos, count);
}

TwString TwString::TrimLeft() const
{
    int first = 0;
    while (first < length && isTrimmed(data[first]))
        ++first;
    return TwString(data + first, length - first);
}

TwString TwString::TrimRight() const
{
    int end = length;
    while (end > 0 && isTrimmed(data[end - 1]))
        --end;
    return TwString(data, end);
}

TwString TwString::Trim() const
{
    int first = 0;
    while (first < length && isTrimmed(data[first]))
        ++first;
    int end = length;
    while (end > first && isTrimmed(data[end - 1]))
        --end;
    return TwString(data + first, end - first);
}

int TwString::Find(const wchar_t* needle, int start) const
{
    if (start < 0 || start >= length || needle == nullptr || needle[0] == L'\0')
        return -1;
    const int size = cLength(needle);
    for (int at = start; at <= length - size; ++at)
        if (std::wmemcmp(data + at, needle, static_cast<std::size_t>(size)) == 0)
            return at;
    return -1;
}

int TwString::ReverseFind(const wchar_t* needle) const
{
    if (needle == nullptr)
        return -1;
    const int size = cLength(needle);
    for (int at = length - size; at >= 0; --at)
        if (std::wmemcmp(data + at, needle, static_cast<std::size_t>(size)) == 0)
            return at;
    return -1;
}

void TwString::Split(TLuArray<TwString, TwString*>* out, TwString delimiter) const
{
    if (out == nullptr || length == 0)
        return;
    int from = 0;
    for (int at = Find(delimiter.data, from); at != -1; at = Find(delimiter.data, from)) {
        out->AddData(new TwString(data + from, at - from));
        from = at + 1;
    }
    if (from < length)
        out->AddData(new TwString(data + from, length - from));
}

int TwString::ToInt() const { return ToIntDef(0); }

int TwString::ToIntDef(int def) const
{
    wchar_t* end = nullptr;
    const long value = std::wcstol(data, &end, 10);
    if (end == data)
        return onlyBlanks(data) ? 0 : def;
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

double TwString::ToFloat() const { return ToFloatDef(0.0); }

double TwString::ToFloatDef(double def) const
{
    wchar_t* end = nullptr;
    const double value = std::wcstod(data, &end);
    if (end == data)
        return onlyBlanks(data) ? 0.0 : def;
    return value;
}

bool TwString::operator==(const wchar_t* text) const
{
    if (text == nullptr)
        return length == 0;
    const std::size_t size = std::wcslen(text);
    return size == static_cast<std::size_t>(length) && std::wmemcmp(data, text, size) == 0;
}

bool TwString::operator==(const TwString& other) const
{
    return length == other.length && std::wmemcmp(data, other.data, static_cast<std::size_t>(length)) == 0;
}

TwString& TwString::operator+=(const wchar_t* text)
{
    if (text != nullptr)
        append(text, cLength(text));
    return *this;
}

TwString& TwString::operator+=(const TwString& other)
{
    append(other.data, other.length);
    return *this;
}

TwString TwString::operator+(const wchar_t* text) const
{
    TwString sum(*this);
    sum += text;
    return sum;
}

TwString TwString::operator+(const TwString& other) const
{
    TwString sum(*this);
    sum += other;
    return sum;
}

int TwString::CompareNoCase(const TwString& other) const { return _wcsicmp(data, other.data); }

TwString TwString::ToLowerCase() const
{
    TwString copy(*this);
    _wcslwr(copy.data);
    return copy;
}

TwString TwString::ToUpperCase() const
{
    TwString copy(*this);
    _wcsupr(copy.data);
    return copy;
}

TString TwString::ToAnsi() const
{
    // The buffer holds `length` bytes: a character whose multibyte form no
    // longer fits whole ends the text instead of being split.
    const auto room = static_cast<std::size_t>(length);
    char* narrow = new char[room + 1];
    std::mbstate_t state{};
    std::size_t used = 0;
    for (int i = 0; i < length && data[i] != L'\0'; ++i) {
        char bytes[MB_LEN_MAX];
        const std::size_t size = std::wcrtomb(bytes, data[i], &state);
        if (size == static_cast<std::size_t>(-1) || size > room - used)
            break;
        std::memcpy(narrow + used, bytes, size);
        used += size;
    }
    narrow[used] = '\0';
    TString result(narrow, static_cast<int>(used));
    delete[] narrow;
    return result;
}

TwString TwString::ToUnicode() const { return *this; }

void TwString::adopt(wchar_t* buffer, int size)
{
    delete[] data;
    data = buffer;
    length = size;
}

void TwString::append(const wchar_t* chars, int size)
{
    if (size <= 0)
        return;
    if (size > INT_MAX - length)
        throw std::length_error("TwString longer than 2 G characters");
    wchar_t* buffer = new wchar_t[static_cast<std::size_t>(length) + static_cast<std::size_t>(size) + 1];
    std::wmemcpy(buffer, data, static_cast<std::size_t>(length));
    std::wmemcpy(buffer + length, chars, static_cast<std::size_t>(size));
    buffer[length + size] = L'\0';
    adopt(buffer, length + size);
}
