#pragma once

#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

// Enumerator names for the enums that travel by name, kept as explicit tables: each enum that
// needs names declares its table next to it with Z_ENUM_NAMES, and ZEnum::Name / ZEnum::Cast
// convert both ways. Names compare exactly (whole text, case-sensitive).
template <class E>
struct ZEnumNameTable;  // specialised by Z_ENUM_NAMES

#define Z_ENUM_NAMES(Enum, ...)                                                   \
    template <>                                                                   \
    struct ZEnumNameTable<Enum> {                                                 \
        static constexpr std::pair<Enum, const char*> m_entries[] = {__VA_ARGS__}; \
    }

namespace ZEnum {

// The enumerator's name, or "" for a value without one.
template <class E>
constexpr const char* Name(E value) {
    for (const auto& entry : ZEnumNameTable<E>::m_entries) {
        if (entry.first == value) {
            return entry.second;
        }
    }
    return "";
}

// The value named, or nothing when no enumerator has that exact name.
template <class E>
std::optional<E> Cast(std::string_view name) {
    if (name.empty()) {
        return std::nullopt;
    }
    for (const auto& entry : ZEnumNameTable<E>::m_entries) {
        if (name == entry.second) {
            return entry.first;
        }
    }
    return std::nullopt;
}

template <class E>
constexpr std::size_t Count() {
    return std::size(ZEnumNameTable<E>::m_entries);
}

}  // namespace ZEnum
