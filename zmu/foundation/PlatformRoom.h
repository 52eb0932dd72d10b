// Room in an object of ours for one of the platform's, whose type only the sources know.
#pragma once

#include <cstddef>
#include <new>

namespace zmu {

/// `Size` bytes, all zero at first, in which a source makes an object. Whoever makes one that has
/// to be destroyed sees to that.
template <std::size_t Size>
class PlatformRoom {
  public:
    template <class T>
    T& make()
    {
        static_assert(sizeof(T) <= Size && alignof(T) <= alignof(std::max_align_t));
        return *new (m_bytes) T{};
    }
    template <class T>
    T& as()
    {
        return *std::launder(reinterpret_cast<T*>(m_bytes));
    }

  private:
    alignas(std::max_align_t) unsigned char m_bytes[Size] = {};
};

} // namespace zmu
