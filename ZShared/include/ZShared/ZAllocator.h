#pragma once

#include <cstddef>
#include <map>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "ZShared/ZSmallBlockAllocator.h"

// Standard allocator over g_SBA. Stateless: any two instances are interchangeable.
template <class T>
class ZAllocator {
public:
    using value_type = T;

    ZAllocator() noexcept = default;
    template <class U>
    ZAllocator(const ZAllocator<U>&) noexcept {}

    T* allocate(std::size_t n) {
        if (n > static_cast<std::size_t>(-1) / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(g_SBA.AllocateMem(n * sizeof(T)));
    }
    void deallocate(T* p, std::size_t) noexcept { g_SBA.FreeMem(p); }

    template <class U>
    bool operator==(const ZAllocator<U>&) const noexcept {
        return true;
    }
    template <class U>
    bool operator!=(const ZAllocator<U>&) const noexcept {
        return false;
    }
};

using ZString = std::basic_string<char, std::char_traits<char>, ZAllocator<char>>;
template <class T>
using ZVector = std::vector<T, ZAllocator<T>>;
template <class K, class V, class Less = std::less<K>>
using ZMap = std::map<K, V, Less, ZAllocator<std::pair<const K, V>>>;
template <class K, class Less = std::less<K>>
using ZSet = std::set<K, Less, ZAllocator<K>>;
using ZStringList = ZVector<ZString>;

inline ZString ToZString(const std::string& s) { return ZString(s.data(), s.size()); }
inline std::string ToStdString(const ZString& s) { return std::string(s.data(), s.size()); }
