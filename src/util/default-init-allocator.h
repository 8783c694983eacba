// DefaultInitAllocator: a std::vector allocator whose resize leaves new
// elements of trivial types uninitialised.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

// For buffers that are filled right after they are sized, such as the level
// cache of a trace: value-initialising them first would be a second pass
// over memory on every load.
template <class T, class Base = std::allocator<T>>
class DefaultInitAllocator : public Base
{
    using Traits = std::allocator_traits<Base>;

public:
    template <class U>
    struct rebind
    {
        using other = DefaultInitAllocator<U, typename Traits::template rebind_alloc<U>>;
    };

    using Base::Base;
    DefaultInitAllocator() = default;

    template <class U>
    void construct(U* place) noexcept(std::is_nothrow_default_constructible_v<U>)
    {
        ::new (static_cast<void*>(place)) U;
    }
    template <class U, class... Args>
    void construct(U* place, Args&&... args)
    {
        Traits::construct(static_cast<Base&>(*this), place, std::forward<Args>(args)...);
    }
};
