#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "ZShared/ZSmallBlockAllocator.h"

// A growable run of bytes from g_SBA. Unlike a string it does not zero the room it grows by, and
// growing is inline: the binary stream appends entries by the hundred thousand when it copies a
// large message, and writes every byte it asks room for.
class ZByteBuffer {
public:
    ZByteBuffer() = default;
    ZByteBuffer(const ZByteBuffer&) = delete;
    ZByteBuffer& operator=(const ZByteBuffer&) = delete;
    ZByteBuffer(ZByteBuffer&& other) noexcept { swap(other); }
    ZByteBuffer& operator=(ZByteBuffer&& other) noexcept {
        ZByteBuffer(std::move(other)).swap(*this);
        return *this;
    }
    ~ZByteBuffer() { g_SBA.FreeMem(m_pData); }

    const char* data() const { return m_pData; }
    char* data() { return m_pData; }
    std::size_t size() const { return m_size; }
    std::size_t capacity() const { return m_capacity; }

    // Keeps the memory for what is written next.
    void clear() { m_size = 0; }
    // Drops the bytes from `size` on.
    void Truncate(std::size_t size) {
        if (size < m_size) {
            m_size = size;
        }
    }
    // Gives the memory back.
    void Release() { ZByteBuffer().swap(*this); }
    void reserve(std::size_t capacity) {
        if (capacity > m_capacity) {
            Reallocate(capacity);
        }
    }

    // Grows by `count` bytes and returns where they start, for the caller to fill.
    char* Extend(std::size_t count) {
        if (m_capacity - m_size < count) {
            Reallocate(Grown(count));
        }
        char* at = m_pData + m_size;
        m_size += count;
        return at;
    }

    // The bytes may lie inside this buffer.
    void Append(const char* bytes, std::size_t count) {
        if (count == 0) {
            return;
        }
        if (m_capacity - m_size < count) {
            const auto address = reinterpret_cast<std::uintptr_t>(bytes);
            const auto begin = reinterpret_cast<std::uintptr_t>(m_pData);
            const bool inside = m_pData != nullptr && address >= begin && address < begin + m_size;
            const std::size_t offset = address - begin;
            Reallocate(Grown(count));
            if (inside) {
                bytes = m_pData + offset;
            }
        }
        std::memcpy(m_pData + m_size, bytes, count);
        m_size += count;
    }

    void Assign(const char* bytes, std::size_t count) {
        m_size = 0;
        Append(bytes, count);
    }

    void swap(ZByteBuffer& other) noexcept {
        std::swap(m_pData, other.m_pData);
        std::swap(m_size, other.m_size);
        std::swap(m_capacity, other.m_capacity);
    }

private:
    static constexpr std::size_t kMinCapacity = 64;

    // At least twice the room, so that a run of appends copies each byte a bounded number of times.
    std::size_t Grown(std::size_t count) const {
        const std::size_t needed = m_size + count;
        const std::size_t doubled = m_capacity * 2 > kMinCapacity ? m_capacity * 2 : kMinCapacity;
        return needed > doubled ? needed : doubled;
    }

    void Reallocate(std::size_t capacity) {
        char* data = static_cast<char*>(g_SBA.AllocateMem(capacity));
        if (m_size > 0) {
            std::memcpy(data, m_pData, m_size);
        }
        g_SBA.FreeMem(m_pData);
        m_pData = data;
        m_capacity = capacity;
    }

    char* m_pData = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};
