#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ZShared/ZExport.h"
#include "ZShared/ZIObjectCreator.h"
#include "ZShared/ZObjectCreator.h"

namespace ZShared {

// Diagnostics kept per class by Track.
struct ZTrackStats {
    std::int64_t created = 0;  // objects reported as made
    std::int64_t failed = 0;   // requests that produced no object
    std::string lastFile;
    int lastLine = 0;
};

// The process-wide class factory: class names with their base class names and creators, class IDs
// for class checks, and creation by name. Safe to use from any thread.
class Z_EXPORT ZFactory {
public:
    // Enters a creator; returns the class ID (the existing one when the name is already known, whose
    // first creator stays).
    static std::uint32_t RegisterObjectCreator(const char* className, const char* baseClassName,
                                               const ZIObjectCreator* creator);

    // Creation by class name; an unknown or abstract class gives null and a log line. An empty
    // instance name stands for the class name.
    static ZFactoryObject* Create(const char* className, const std::string& instanceName = {});
    static ZUniquePtr<ZFactoryObject> CreateUnique(const char* className, const std::string& instanceName = {});
    static std::shared_ptr<ZFactoryObject> CreateShared(const char* className, const std::string& instanceName = {});
    // As CreateShared, without a log line: for callers that report the failure themselves.
    static std::shared_ptr<ZFactoryObject> TryCreateShared(const char* className);

    // Records a creation for diagnostics (a null object counts as a failed one).
    static void Track(const void* object, const char* className, const char* file, int line, std::size_t size);
    static ZTrackStats GetTrackStats(const char* className);

    static std::uint32_t GetClassID(const char* className);
    static std::string GetClassName(std::uint32_t cid);
    static std::string GetBaseClassName(std::uint32_t cid);
    // Every registered class name, in registration order.
    static std::vector<std::string> GetClassNames();

    static void SetLogLevel(std::int32_t level);
};

// Shared object of class T made by class name, with the creation recorded by Track. Null when
// the name is unknown or names a class that is not a T.
template <class T>
std::shared_ptr<T> make_shared_direct(const char* className, const char* file, int line) {
    std::shared_ptr<T> object = std::dynamic_pointer_cast<T>(ZFactory::CreateShared(className));
    ZFactory::Track(object.get(), className, file, line, sizeof(T));
    return object;
}

}  // namespace ZShared

// Registers class T under its own name with the given base class name, once per process: the
// guard and the creator are inline variables with default visibility, so the first module
// loaded that registers T serves every module, and T keeps its first class ID.
template <class T>
struct ZClassRegistration {
    Z_EXPORT static inline bool m_bRegistered = false;
    Z_EXPORT static inline const ZShared::ZObjectCreator<T> m_creator{};
    static void Register(const char* baseClassName) {
        if (m_bRegistered) {
            return;
        }
        m_bRegistered = true;
        T::m_cid = ZShared::ZFactory::RegisterObjectCreator(T::StaticClassName(), baseClassName, &m_creator);
    }
};
