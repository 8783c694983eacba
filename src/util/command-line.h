// TCommandLine: splits a command line into words, quoted words kept whole.
#pragma once

#include <memory>

#include "util/util-export.h"

// Works on its own copy of the line, which it cuts in place: each word handed
// out points into that copy and stays valid as long as the object.
//
// Words are separated by blanks (spaces and tabs). A word that begins with a
// double quote runs to the next double quote, or to the end of the line when
// there is none, and comes without its quotes; "" is an empty word. Any other
// word runs to the next blank. The character that ends a word is overwritten,
// so a closing quote also separates: "a b"c gives the words a b and c.
class FIBERTEST_UTIL_EXPORT TCommandLine
{
public:
    // A null line has no words.
    explicit TCommandLine(const char* line);
    explicit TCommandLine(const wchar_t* line);
    ~TCommandLine();
    TCommandLine(const TCommandLine&) = delete;
    TCommandLine& operator=(const TCommandLine&) = delete;

    // The next word, or null after the last. Each walks the form of the line
    // the object was made from; the other form has no words.
    [[nodiscard]] char* GetNextWord();
    [[nodiscard]] wchar_t* GetNextWordW();

private:
    std::unique_ptr<char[]> narrow;
    std::unique_ptr<wchar_t[]> wide;
    char* narrowNext = nullptr;
    wchar_t* wideNext = nullptr;
};
