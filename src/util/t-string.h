// TString: the trace core's owning narrow string.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "util/lu-array.h"
#include "util/tw-string.h"
#include "util/util-export.h"

// A heap buffer and a length. `data` is allocated with new[], is never null
// and is always NUL-terminated, also when empty; `length` counts characters
// without the terminator. The fields are public because the trace core and
// its file layer read them directly; whoever writes them keeps that promise.
class FIBERTEST_UTIL_EXPORT TString
{
public:
    char* data;
    std::int32_t length;

    TString();
    explicit TString(char c);
    // A null pointer gives the empty string.
    TString(const char* text);
    // Exactly `n` characters through a length-bounded copy: a NUL within them
    // ends the copied text and the rest is NUL-filled, yet `length` is `n`.
    // A null pointer or a negative `n` gives the empty string.
    TString(const char* text, int n);
    TString(const TString& other);
    // Number texts by "%d", "%ld" and "%lf" (six decimals).
    explicit TString(int value);
    explicit TString(long value);
    explicit TString(double value);
    ~TString();

    TString& operator=(const TString& other);
    TString& operator=(const char* text);
    // Replaces the contents; null gives the empty string.
    void SetString(const char* text);

    // printf-style formatting. The result is measured by Vscprintf, which
    // uses one shared scratch buffer, so Format is neither re-entrant nor
    // thread-safe. A null `fmt`, a result of zero length or a formatting
    // failure leaves the string as it was.
    TString& Format(const char* fmt, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;
    // The length of the formatted text, or a negative number when formatting
    // fails or `fmt` is null. Formats into a function-local static buffer of
    // 32768 bytes; a longer text is cut there but still measured in full.
    [[nodiscard]] static int Vscprintf(const char* fmt, va_list args);

    // Removes `count` characters from `pos`, cut to the end of the string.
    // No effect when `pos` is outside the string or `count` is below 1.
    void Delete(int pos, int count);
    // The tail from `pos` cut to `count` characters; empty unless
    // 0 <= pos < length and count >= 0.
    [[nodiscard]] TString SubString(int pos, int count) const;
    // Without leading, trailing or both kinds of bytes below 33 (the control
    // characters and the blank), compared as unsigned bytes.
    [[nodiscard]] TString TrimLeft() const;
    [[nodiscard]] TString TrimRight() const;
    [[nodiscard]] TString Trim() const;

    // Index of the first match at or after `start`; -1 when `start` is not
    // within the string, `needle` is null or empty, or nothing matches.
    [[nodiscard]] int Find(const char* needle, int start = 0) const;
    // Index of the last match; -1 when `needle` is null, longer than the
    // string or absent. An empty needle matches at the end.
    [[nodiscard]] int ReverseFind(const char* needle) const;
    // Appends the pieces between delimiters to `out` as new strings (which
    // `out` owns when it is an owning array). Empty pieces between two
    // delimiters are kept; a delimiter at the very end gives no empty last
    // piece. After a match the scan moves on by one character, so the
    // delimiter is meant to be one character long. Nothing happens for a
    // null `out` or an empty string.
    void Split(TLuArray<TString, TString*>* out, TString delimiter) const;

    // Parse a leading decimal number as "%d" / "%lf" do. The default is given
    // only when no number stands at the start of a text that has more than
    // blanks, so the empty string yields 0 and not `def`. Values beyond the
    // range of int are clamped.
    [[nodiscard]] int ToInt() const;
    [[nodiscard]] int ToIntDef(int def) const;
    [[nodiscard]] double ToFloat() const;
    [[nodiscard]] double ToFloatDef(double def) const;

    // Byte comparison over the whole length; a null `text` equals only the
    // empty string.
    [[nodiscard]] bool operator==(const char* text) const;
    [[nodiscard]] bool operator==(const TString& other) const;
    [[nodiscard]] bool operator!=(const char* text) const { return !(*this == text); }
    [[nodiscard]] bool operator!=(const TString& other) const { return !(*this == other); }

    TString& operator+=(const char* text);
    TString& operator+=(const TString& other);
    [[nodiscard]] TString operator+(const char* text) const;
    [[nodiscard]] TString operator+(const TString& other) const;

    // strcmpi of the two texts.
    [[nodiscard]] int CompareNoCase(const TString& other) const;
    [[nodiscard]] TString ToLowerCase() const;
    [[nodiscard]] TString ToUpperCase() const;

    // Multibyte to wide in the current locale, at most `length` bytes. An
    // invalid or incomplete sequence ends the text: what came before it is
    // kept.
    [[nodiscard]] TwString ToUnicode() const;
    // A plain copy.
    [[nodiscard]] TString ToAnsi() const;

private:
    // Takes over `buffer` (new[], NUL at `size`) as the new contents.
    void adopt(char* buffer, int size);
    // Appends `size` bytes.
    void append(const char* bytes, int size);
};
