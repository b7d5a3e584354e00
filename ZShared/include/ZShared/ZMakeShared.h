#pragma once

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "ZShared/ZSmallBlockAllocator.h"

namespace ZShared {

// Destroys an object made in g_SBA memory and gives the memory back. The start of the block is
// found through the most derived object, so a pointer to any polymorphic base will do.
struct ZSBADelete {
    template <class T>
    void operator()(T* object) const noexcept {
        if (object == nullptr) {
            return;
        }
        void* block;
        if constexpr (std::is_polymorphic_v<T>) {
            block = dynamic_cast<void*>(object);
        } else {
            block = object;
        }
        object->~T();
        g_SBA.FreeMem(block);
    }
};

template <class T>
using ZUniquePtr = std::unique_ptr<T, ZSBADelete>;

// Constructs T in g_SBA memory; the control block comes from the global operator new.
template <class T, class... Args>
T* ZNewInSBA(Args&&... args) {
    static_assert(alignof(T) <= 16, "g_SBA blocks are 16-byte aligned");
    void* memory = g_SBA.AllocateMem(sizeof(T));
    try {
        return new (memory) T(std::forward<Args>(args)...);
    } catch (...) {
        g_SBA.FreeMem(memory);
        throw;
    }
}

}  // namespace ZShared

// A shared T whose memory comes from g_SBA. If the control block cannot be allocated the object
// is destroyed and its memory returned before the exception passes. Objects that derive from
// enable_shared_from_this get their weak self-reference set when it is empty or expired.
template <class T, class... Args>
std::shared_ptr<T> ZMakeShared(Args&&... args) {
    return std::shared_ptr<T>(ZShared::ZNewInSBA<T>(std::forward<Args>(args)...), ZShared::ZSBADelete{});
}
