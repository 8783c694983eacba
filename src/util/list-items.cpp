#include "util/list-items.h"

#include "util/command-line.h"

namespace {

// Blanks and control characters, as TString::Trim sees them.
bool isSpace(char c)
{
    return static_cast<unsigned char>(c) < 33;
}

bool isSpace(wchar_t c)
{
    return c >= 0 && c < 33;
}

// The text up to its first NUL, never past `length`.
template <class Char>
int textLength(const Char* data, int length)
{
    int n = 0;
    while (n < length && data[n] != Char(0))
        ++n;
    return n;
}

template <class Str, class Char>
Str itemOf(const Str& text, int index)
{
    if (index < 0)
        return Str();
    const Char* const data = text.data;
    const int size = textLength(data, text.length);
    int begin = 0;
    for (int skipped = 0; skipped < index; ++skipped) {
        while (begin < size && data[begin] != Char(','))
            ++begin;
        if (begin == size)
            return Str();
        ++begin; // past the comma
    }
    int end = begin;
    while (end < size && data[end] != Char(','))
        ++end;
    while (begin < end && isSpace(data[begin]))
        ++begin;
    while (end > begin && isSpace(data[end - 1]))
        --end;
    return Str(data + begin, end - begin);
}

template <class Str>
int countOf(const Str& text)
{
    int count = 0;
    while (GetItem(text, count).length > 0)
        ++count;
    return count;
}

} // namespace

TString GetItem(const TString& text, int index)
{
    return itemOf<TString, char>(text, index);
}

TwString GetItem(const TwString& text, int index)
{
    return itemOf<TwString, wchar_t>(text, index);
}

int CountItems(const TString& text)
{
    return countOf(text);
}

int CountItems(const TwString& text)
{
    return countOf(text);
}

TString GetItemByIndex(const TString& text, int index)
{
    if (index < 0)
        return TString();
    TCommandLine words(text.data);
    char* word = words.GetNextWord();
    for (int i = 0; i < index && word != nullptr; ++i)
        word = words.GetNextWord();
    return TString(word);
}

TwString GetItemByIndex(const TwString& text, int index)
{
    if (index < 0)
        return TwString();
    TCommandLine words(text.data);
    wchar_t* word = words.GetNextWordW();
    for (int i = 0; i < index && word != nullptr; ++i)
        word = words.GetNextWordW();
    return TwString(word);
}
