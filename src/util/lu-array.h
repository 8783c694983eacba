// TLuArray: the trace core's array of element pointers, optionally owning them.
#pragma once

#include <cstdint>

// `P` is `T*`. The pointer array is always exactly `count` long (no spare
// capacity), so each insertion or removal costs one allocation and a copy of
// all pointers; the arrays hold events, landmarks and thresholds, rarely more
// than a few hundred. Code that knows the size calls SetSize and then SetData.
//
// While `owner` is true the array destroys every element that it drops (via
// the element's virtual destructor when T has one). The fields are public
// because the trace core reads them directly.
template <class T, class P = T*>
class TLuArray
{
public:
    P* data = nullptr;   // null while the array has never held anything
    std::int32_t count = 0;
    bool owner = true;

    TLuArray() = default;
    // `n` null entries.
    explicit TLuArray(int n) { SetSize(n); }
    ~TLuArray() { Clear(); }

    // Copying would make two owners of the same elements.
    TLuArray(const TLuArray&) = delete;
    TLuArray& operator=(const TLuArray&) = delete;
    TLuArray(TLuArray&& other) noexcept : data(other.data), count(other.count), owner(other.owner)
    {
        other.data = nullptr;
        other.count = 0;
    }
    TLuArray& operator=(TLuArray&& other) noexcept
    {
        if (this != &other) {
            Clear();
            data = other.data;
            count = other.count;
            owner = other.owner;
            other.data = nullptr;
            other.count = 0;
        }
        return *this;
    }

    // Destroys the non-null elements if owner and frees the pointer array.
    void Clear()
    {
        if (owner)
            for (std::int32_t i = 0; i < count; ++i)
                delete data[i];
        delete[] data;
        data = nullptr;
        count = 0;
    }

    // Keeps the first min(n, count) entries, fills the rest with null and
    // destroys the surplus if owner. A size of 0 or below leaves no pointer
    // array at all rather than an allocation of nothing.
    void SetSize(int n)
    {
        if (n < 0)
            n = 0;
        P* grown = n > 0 ? new P[n]() : nullptr;
        const std::int32_t kept = n < count ? n : count;
        for (std::int32_t i = 0; i < kept; ++i)
            grown[i] = data[i];
        if (owner)
            for (std::int32_t i = kept; i < count; ++i)
                delete data[i];
        delete[] data;
        data = grown;
        count = n;
    }

    void AddData(P item)
    {
        SetSize(count + 1);
        data[count - 1] = item;
    }

    // A position above count inserts at the end; a negative one at the front.
    void InsData(P item, int pos)
    {
        if (pos > count)
            pos = count;
        if (pos < 0)
            pos = 0;
        P* grown = new P[count + 1]();
        for (std::int32_t i = 0; i < pos; ++i)
            grown[i] = data[i];
        grown[pos] = item;
        for (std::int32_t i = pos; i < count; ++i)
            grown[i + 1] = data[i];
        delete[] data;
        data = grown;
        ++count;
    }

    // Removes the entry at `pos`, taken as the last one when at or past the
    // end, and destroys the element if owner. No effect on an empty array or
    // for a negative position (removing some other element would be worse).
    void DelData(int pos)
    {
        if (count == 0 || pos < 0)
            return;
        if (pos >= count)
            pos = count - 1;
        P removed = data[pos];
        P* shrunk = count > 1 ? new P[count - 1]() : nullptr;
        for (std::int32_t i = 0; i < pos; ++i)
            shrunk[i] = data[i];
        for (std::int32_t i = pos + 1; i < count; ++i)
            shrunk[i - 1] = data[i];
        delete[] data;
        data = shrunk;
        --count;
        if (owner)
            delete removed;
    }

    // As DelData, but the element leaves the array alive; the caller owns it.
    void DelEntry(int pos)
    {
        const bool wasOwner = owner;
        owner = false;
        DelData(pos);
        owner = wasOwner;
    }

    // Replaces the entry at `pos` (taken as the last one when at or past the
    // end) and destroys what stood there if owner, even when that is `item`
    // itself: storing an element back into its own place is a caller's error.
    // No effect on an empty array or for a negative position.
    void SetData(P item, int pos)
    {
        if (count == 0 || pos < 0)
            return;
        if (pos >= count)
            pos = count - 1;
        if (owner)
            delete data[pos];
        data[pos] = item;
    }

    // Null on an empty array; an index at or past the end yields the last
    // element, which the trace core relies on. A negative index yields null.
    P operator[](int index) const
    {
        if (count == 0 || index < 0)
            return nullptr;
        return data[index < count ? index : count - 1];
    }
};
