#pragma once

#include <memory>
#include <string>

#include "ZShared/ZExport.h"
#include "ZShared/ZFactoryObject.h"
#include "ZShared/ZMakeShared.h"

namespace ZShared {

// What the factory calls to make an object of one registered class, in three ownership forms.
class Z_EXPORT ZIObjectCreator {
public:
    // Plain object from the global operator new; the caller deletes it.
    virtual ZFactoryObject* Create(const std::string& name) const = 0;
    // Uniquely owned object in g_SBA memory.
    virtual ZUniquePtr<ZFactoryObject> CreateUnique(const std::string& name) const = 0;
    // Shared object in g_SBA memory (ZMakeShared).
    virtual std::shared_ptr<ZFactoryObject> CreateShared(const std::string& name) const = 0;
    virtual ~ZIObjectCreator();
};

}  // namespace ZShared
