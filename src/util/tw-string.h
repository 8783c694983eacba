// TwString: the trace core's owning wide string (wchar_t, 4 bytes here).
#pragma once

#include <cstdint>

#include "util/lu-array.h"
#include "util/util-export.h"

class TString;

// The wide counterpart of TString: `data` is allocated with new[], never null
// and always NUL-terminated; `length` counts characters without the
// terminator. The functions behave as their TString namesakes.
class FIBERTEST_UTIL_EXPORT TwString
{
public:
    wchar_t* data;
    std::int32_t length;

    TwString();
    // A null pointer gives the empty string.
    TwString(const wchar_t* text);
    // Exactly `n` characters through a length-bounded copy (see TString).
    TwString(const wchar_t* text, int n);
    TwString(const TwString& other);
    // Number texts by "%d" and "%lf", formatted into a 64-character buffer.
    explicit TwString(int value);
    explicit TwString(double value);
    ~TwString();

    TwString& operator=(const TwString& other);
    TwString& operator=(const wchar_t* text);
    void SetString(const wchar_t* text);

    void Delete(int pos, int count);
    [[nodiscard]] TwString SubString(int pos, int count) const;
    [[nodiscard]] TwString TrimLeft() const;
    [[nodiscard]] TwString TrimRight() const;
    [[nodiscard]] TwString Trim() const;
    [[nodiscard]] int Find(const wchar_t* needle, int start = 0) const;
    [[nodiscard]] int ReverseFind(const wchar_t* needle) const;
    void Split(TLuArray<TwString, TwString*>* out, TwString delimiter) const;

    [[nodiscard]] int ToInt() const;
    [[nodiscard]] int ToIntDef(int def) const;
    [[nodiscard]] double ToFloat() const;
    [[nodiscard]] double ToFloatDef(double def) const;

    [[nodiscard]] bool operator==(const wchar_t* text) const;
    [[nodiscard]] bool operator==(const TwString& other) const;
    [[nodiscard]] bool operator!=(const wchar_t* text) const { return !(*this == text); }
    [[nodiscard]] bool operator!=(const TwString& other) const { return !(*this == other); }

    TwString& operator+=(const wchar_t* text);
    TwString& operator+=(const TwString& other);
    [[nodiscard]] TwString operator+(const wchar_t* text) const;
    [[nodiscard]] TwString operator+(const TwString& other) const;

    // _wcsicmp of the two texts.
    [[nodiscard]] int CompareNoCase(const TwString& other) const;
    [[nodiscard]] TwString ToLowerCase() const;
    [[nodiscard]] TwString ToUpperCase() const;

    // Wide to multibyte in the current locale into a buffer of `length` + 1
    // bytes: a text whose multibyte form is longer than its character count
    // is cut there, before the first character that no longer fits whole. A
    // character that the locale cannot express ends the text as well.
    [[nodiscard]] TString ToAnsi() const;
    // A plain copy.
    [[nodiscard]] TwString ToUnicode() const;

private:
    void adopt(wchar_t* buffer, int size);
    void append(const wchar_t* chars, int size);
};

// TString completes the conversions above for users of this header alone.
#include "util/t-string.h"
