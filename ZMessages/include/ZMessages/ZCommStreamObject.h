#pragma once

#include <memory>

#include "ZShared/ZAllocator.h"
#include "ZShared/ZFactoryObject.h"

class ZCommStream;
class ZEnvironment;

// Base of everything that writes itself to a ZCommStream and reads itself back.
class Z_EXPORT ZCommStreamObject : public ZShared::ZFactoryObject {
    Z_FACTORY_CLASS(ZCommStreamObject)

public:
    ZCommStreamObject() = default;
    ZCommStreamObject(const ZCommStreamObject&) = default;
    ZCommStreamObject& operator=(const ZCommStreamObject&) = default;
    ZCommStreamObject(ZCommStreamObject&&) noexcept = default;
    ZCommStreamObject& operator=(ZCommStreamObject&&) noexcept = default;
    ~ZCommStreamObject() override;

    virtual void SetEnvironment(std::shared_ptr<ZEnvironment> environment);
    // Writes the object's own keys. The base has none.
    virtual bool Serialize(const std::shared_ptr<ZCommStream>& stream) const;
    // Reads the object's own keys; an absent key leaves its member as it was.
    virtual bool Deserialize(const std::shared_ptr<ZCommStream>& stream);
    // As Serialize, preceded by "class" with the factory class name.
    virtual bool SerializeClass(const std::shared_ptr<ZCommStream>& stream) const;
    // As Deserialize, after checking that "class", when present, names this object's class.
    virtual bool DeserializeClass(const std::shared_ptr<ZCommStream>& stream);

    const std::shared_ptr<ZEnvironment>& GetEnvironment() const { return m_pEnvironment; }

protected:
    std::shared_ptr<ZEnvironment> m_pEnvironment;
};
