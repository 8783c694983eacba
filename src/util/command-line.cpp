#include "util/command-line.h"

#include <cstring>
#include <cwchar>

namespace {

template <class Char>
bool isBlank(Char c)
{
    return c == Char(' ') || c == Char('\t');
}

template <class Char>
std::unique_ptr<Char[]> copyLine(const Char* line, std::size_t length)
{
    auto copy = std::make_unique<Char[]>(length + 1);
    std::memcpy(copy.get(), line, length * sizeof(Char));
    copy[length] = Char(0);
    return copy;
}

// `next` is where the scan goes on, or null once the line is used up.
template <class Char>
Char* nextWord(Char*& next)
{
    if (next == nullptr)
        return nullptr;
    Char* p = next;
    while (isBlank(*p))
        ++p;
    if (*p == Char(0)) {
        next = nullptr;
        return nullptr;
    }
    const bool quoted = *p == Char('"');
    if (quoted)
        ++p;
    Char* const word = p;
    while (*p != Char(0) && (quoted ? *p != Char('"') : !isBlank(*p)))
        ++p;
    if (*p == Char(0)) {
        next = nullptr;
    } else {
        *p = Char(0);
        next = p + 1;
    }
    return word;
}

} // namespace

TCommandLine::TCommandLine(const char* line)
{
    if (line == nullptr)
        return;
    narrow = copyLine(line, std::strlen(line));
    narrowNext = narrow.get();
}

TCommandLine::TCommandLine(const wchar_t* line)
{
    if (line == nullptr)
        return;
    wide = copyLine(line, std::wcslen(line));
    wideNext = wide.get();
}

TCommandLine::~TCommandLine() = default;

char* TCommandLine::GetNextWord()
{
    return nextWord(narrowNext);
}

wchar_t* TCommandLine::GetNextWordW()
{
    return nextWord(wideNext);
}
