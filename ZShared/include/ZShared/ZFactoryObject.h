#pragma once

#include <cstdint>

#include "ZShared/ZExport.h"

namespace ZShared {

// Base of everything the factory creates. Each concrete class states its factory name and
// class ID with Z_FACTORY_CLASS; the ID is assigned when the class is registered.
class Z_EXPORT ZFactoryObject {
public:
    virtual ~ZFactoryObject();
    virtual const char* ClassName() const = 0;
    virtual std::uint32_t GetCID() const = 0;
    static inline std::uint32_t m_cid = 0;
};

}  // namespace ZShared

using ZShared::ZFactoryObject;

// Declares a class's factory identity. The static m_cid has one instance per process: the
// dynamic linker unifies the inline definitions of every module that sees it.
#define Z_FACTORY_CLASS(Name)                                              \
public:                                                                    \
    static inline std::uint32_t m_cid = 0;                                 \
    static constexpr const char* StaticClassName() { return #Name; }       \
    const char* ClassName() const override { return #Name; }               \
    std::uint32_t GetCID() const override { return m_cid; }                \
                                                                           \
private:
