#include "util/t-string.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <stdexcept>

#include "util/c-string.h"

namespace {

char* emptyBuffer()
{
    char* buffer = new char[1];
    buffer[0] = '\0';
    return buffer;
}

char* copyOf(const char* bytes, int size)
{
    char* buffer = new char[size + 1];
    if (size > 0)
        std::memcpy(buffer, bytes, static_cast<std::size_t>(size));
    buffer[size] = '\0';
    return buffer;
}

int cLength(const char* text)
{
    const std::size_t size = std::strlen(text);
    return size > INT_MAX ? INT_MAX : static_cast<int>(size);
}

// Number texts are formatted on their own, not through Format, so that they
// stay clear of the shared scratch buffer.
template <class Number>
char* formatted(const char* fmt, Number value, int& size)
{
    const int measured = std::snprintf(nullptr, 0, fmt, value);
    size = measured > 0 ? measured : 0;
    char* buffer = new char[size + 1];
    if (std::snprintf(buffer, static_cast<std::size_t>(size) + 1, fmt, value) < 0) {
        size = 0;
        buffer[0] = '\0';
    }
    return buffer;
}

bool isTrimmed(char c) { return static_cast<unsigned char>(c) < 33; }

bool onlyBlanks(const char* text)
{
    while (std::isspace(static_cast<unsigned char>(*text)))
        ++text;
    return *text == '\0';
}

} // namespace

TString::TString() : data(emptyBuffer()), length(0) {}

TString::TString(char c) : data(new char[2]{c, '\0'}), length(1) {}

TString::TString(const char* text) : data(nullptr), length(0)
{
    length = text != nullptr ? cLength(text) : 0;
    data = text != nullptr ? copyOf(text, length) : emptyBuffer();
}

TString::TString(const char* text, int n) : data(nullptr), length(0)
{
    if (text == nullptr || n < 0) {
        data = emptyBuffer();
        return;
    }
    data = new char[static_cast<std::size_t>(n) + 1];
    std::strncpy(data, text, static_cast<std::size_t>(n));
    data[n] = '\0';
    length = n;
}

TString::TString(const TString& other) : data(copyOf(other.data, other.length)), length(other.length) {}

TString::TString(int value) : data(nullptr), length(0) { data = formatted("%d", value, length); }

TString::TString(long value) : data(nullptr), length(0) { data = formatted("%ld", value, length); }

TString::TString(double value) : data(nullptr), length(0) { data = formatted("%lf", value, length); }

TString::~TString() { delete[] data; }

TString& TString::operator=(const TString& other)
{
    if (this != &other)
        adopt(copyOf(other.data, other.length), other.length);
    return *this;
}

TString& TString::operator=(const char* text)
{
    SetString(text);
    return *this;
}

void TString::SetString(const char* text)
{
    // Copied before the old buffer goes, so `text` may point into it.
    if (text == nullptr)
        adopt(emptyBuffer(), 0);
    else {
        const int size = cLength(text);
        adopt(copyOf(text, size), size);
    }
}

int TString::Vscprintf(const char* fmt, va_list args)
{
    if (fmt == nullptr)
        return -1;
    // Shared by every caller: Format is neither re-entrant nor thread-safe.
    // vsnprintf keeps within the buffer and still answers the full length, so
    // a longer text is measured correctly and Format allocates enough.
    static char scratch[32768];
    return std::vsnprintf(scratch, sizeof scratch, fmt, args);
}

TString& TString::Format(const char* fmt, ...)
{
    if (fmt == nullptr)
        return *this;
    va_list args;
    va_start(args, fmt);
    const int measured = Vscprintf(fmt, args);
    va_end(args);
    if (measured <= 0)
        return *this;
    char* buffer = new char[static_cast<std::size_t>(measured) + 1];
    va_start(args, fmt);
    const int written = std::vsnprintf(buffer, static_cast<std::size_t>(measured) + 1, fmt, args);
    va_end(args);
    if (written != measured) {
        delete[] buffer;
        return *this;
    }
    adopt(buffer, measured);
    return *this;
}

void TString::Delete(int pos, int count)
{
    if (pos < 0 || pos >= length || count < 1)
        return;
    if (count > length - pos)
        count = length - pos;
    const int size = length - count;
    char* buffer = new char[size + 1];
    std::memcpy(buffer, data, static_cast<std::size_t>(pos));
    std::memcpy(buffer + pos, data + pos + count, static_cast<std::size_t>(length - pos - count));
    buffer[size] = '\0';
    adopt(buffer, size);
}

TString TString::SubString(int pos, int count) const
{
    if (pos < 0 || pos >= length || count < 0)
        return TString();
    if (count > length - pos)
        count = length - pos;
    return TString(data + pos, count);
}

TString TString::TrimLeft() const
{
    int first = 0;
    while (first < length && isTrimmed(data[first]))
        ++first;
    return TString(data + first, length - first);
}

TString TString::TrimRight() const
{
    int end = length;
    while (end > 0 && isTrimmed(data[end - 1]))
        --end;
    return TString(data, end);
}

TString TString::Trim() const
{
    int first = 0;
    while (first < length && isTrimmed(data[first]))
        ++first;
    int end = length;
    while (end > first && isTrimmed(data[end - 1]))
        --end;
    return TString(data + first, end - first);
}

int TString::Find(const char* needle, int start) const
{
    if (start < 0 || start >= length || needle == nullptr || needle[0] == '\0')
        return -1;
    const int size = cLength(needle);
    for (int at = start; at <= length - size; ++at)
        if (std::memcmp(data + at, needle, static_cast<std::size_t>(size)) == 0)
            return at;
    return -1;
}

int TString::ReverseFind(const char* needle) const
{
    if (needle == nullptr)
        return -1;
    const int size = cLength(needle);
    for (int at = length - size; at >= 0; --at)
        if (std::memcmp(data + at, needle, static_cast<std::size_t>(size)) == 0)
            return at;
    return -1;
}

void TString::Split(TLuArray<TString, TString*>* out, TString delimiter) const
{
    // An empty delimiter matches nowhere, so the whole string is one piece.
    if (out == nullptr || length == 0)
        return;
    int from = 0;
    for (int at = Find(delimiter.data, from); at != -1; at = Find(delimiter.data, from)) {
        out->AddData(new TString(data + from, at - from));
        from = at + 1;
    }
    if (from < length)
        out->AddData(new TString(data + from, length - from));
}

namespace {

int clampedInt(long value)
{
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

} // namespace

int TString::ToInt() const { return ToIntDef(0); }

int TString::ToIntDef(int def) const
{
    // strtol reads what "%d" reads; unlike sscanf it has a defined result on
    // overflow. A text of nothing but blanks is the parser's end of input,
    // which leaves the untouched result 0.
    char* end = nullptr;
    const long value = std::strtol(data, &end, 10);
    if (end == data)
        return onlyBlanks(data) ? 0 : def;
    return clampedInt(value);
}

double TString::ToFloat() const { return ToFloatDef(0.0); }

double TString::ToFloatDef(double def) const
{
    char* end = nullptr;
    const double value = std::strtod(data, &end);
    if (end == data)
        return onlyBlanks(data) ? 0.0 : def;
    return value;
}

bool TString::operator==(const char* text) const
{
    if (text == nullptr)
        return length == 0;
    const std::size_t size = std::strlen(text);
    return size == static_cast<std::size_t>(length) && std::memcmp(data, text, size) == 0;
}

bool TString::operator==(const TString& other) const
{
    return length == other.length && std::memcmp(data, other.data, static_cast<std::size_t>(length)) == 0;
}

TString& TString::operator+=(const char* text)
{
    if (text != nullptr)
        append(text, cLength(text));
    return *this;
}

TString& TString::operator+=(const TString& other)
{
    append(other.data, other.length);
    return *this;
}

TString TString::operator+(const char* text) const
{
    TString sum(*this);
    sum += text;
    return sum;
}

TString TString::operator+(const TString& other) const
{
    TString sum(*this);
    sum += other;
    return sum;
}

int TString::CompareNoCase(const TString& other) const { return strcmpi(data, other.data); }

TString TString::ToLowerCase() const
{
    TString copy(*this);
    strlwr(copy.data);
    return copy;
}

TString TString::ToUpperCase() const
{
    TString copy(*this);
    strupr(copy.data);
    return copy;
}

TwString TString::ToUnicode() const
{
    // Never more wide characters than bytes.
    wchar_t* wide = new wchar_t[static_cast<std::size_t>(length) + 1];
    std::mbstate_t state{};
    int produced = 0;
    std::size_t at = 0;
    const auto limit = static_cast<std::size_t>(length);
    while (at < limit) {
        wchar_t c = L'\0';
        const std::size_t used = std::mbrtowc(&c, data + at, limit - at, &state);
        if (used == 0 || used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2))
            break;
        wide[produced++] = c;
        at += used;
    }
    wide[produced] = L'\0';
    TwString result(wide, produced);
    delete[] wide;
    return result;
}

TString TString::ToAnsi() const { return *this; }

void TString::adopt(char* buffer, int size)
{
    delete[] data;
    data = buffer;
    length = size;
}

void TString::append(const char* bytes, int size)
{
    if (size <= 0)
        return;
    if (size > INT_MAX - length)
        throw std::length_error("TString longer than 2 GB");
    // Copied into the new buffer before the old one goes, so `bytes` may
    // point into this string.
    char* buffer = new char[static_cast<std::size_t>(length) + static_cast<std::size_t>(size) + 1];
    std::memcpy(buffer, data, static_cast<std::size_t>(length));
    std::memcpy(buffer + length, bytes, static_cast<std::size_t>(size));
    buffer[length + size] = '\0';
    adopt(buffer, length + size);
}
