#pragma once

#include <type_traits>

#include "ZShared/ZIObjectCreator.h"

namespace ZShared {

// The creator of class T. Abstract classes are registered too, so that class checks know their
// place in the hierarchy; their creators make nothing. T is built from the instance name when it
// has such a constructor, default-constructed otherwise.
template <class T>
class ZObjectCreator : public ZIObjectCreator {
public:
    constexpr ZObjectCreator() = default;

    ZFactoryObject* Create(const std::string& name) const override {
        if constexpr (std::is_abstract_v<T>) {
            return nullptr;
        } else if constexpr (std::is_constructible_v<T, const std::string&>) {
            return new T(name);
        } else {
            return new T();
        }
    }

    ZUniquePtr<ZFactoryObject> CreateUnique(const std::string& name) const override {
        if constexpr (std::is_abstract_v<T>) {
            return nullptr;
        } else if constexpr (std::is_constructible_v<T, const std::string&>) {
            return ZUniquePtr<ZFactoryObject>(ZNewInSBA<T>(name));
        } else {
            return ZUniquePtr<ZFactoryObject>(ZNewInSBA<T>());
        }
    }

    std::shared_ptr<ZFactoryObject> CreateShared(const std::string& name) const override {
        if constexpr (std::is_abstract_v<T>) {
            return nullptr;
        } else if constexpr (std::is_constructible_v<T, const std::string&>) {
            return ZMakeShared<T>(name);
        } else {
            return ZMakeShared<T>();
        }
    }
};

}  // namespace ZShared
