// safe_array: a fixed inline array whose index is checked by an assertion.
#pragma once

#include <cassert>

// An out-of-range index is a programmer's error: it fails the assertion and
// ends the process, in every build.
template <class T, unsigned int Size>
class safe_array
{
public:
    T& operator[](unsigned int index)
    {
        assert(( index < size() ) && "Out of bounds access in safe array");
        return elements[index];
    }
    const T& operator[](unsigned int index) const
    {
        assert(( index < size() ) && "Out of bounds access in safe array");
        return elements[index];
    }

    static constexpr unsigned int size() { return Size; }

    T* data() { return elements; }
    const T* data() const { return elements; }
    T* begin() { return elements; }
    T* end() { return elements + Size; }
    const T* begin() const { return elements; }
    const T* end() const { return elements + Size; }

    T elements[Size];
};
