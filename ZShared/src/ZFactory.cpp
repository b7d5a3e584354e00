#include "ZShared/ZFactory.h"

#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <unordered_map>

#include "ZShared/CID.h"
#include "ZShared/ZLog.h"

namespace ZShared {

ZFactoryObject::~ZFactoryObject() = default;
ZIObjectCreator::~ZIObjectCreator() = default;

namespace {

struct ClassEntry {
    std::uint32_t cid = 0;
    std::string name;
    std::string baseName;
    std::uint32_t baseCid = 0;
    const ZIObjectCreator* creator = nullptr;
    std::atomic<std::int64_t> created{0};
    std::atomic<std::int64_t> failed{0};
    // Callers pass source locations as string literals, so the pointer is kept, not a copy.
    std::atomic<const char*> lastFile{""};
    std::atomic<int> lastLine{0};
};

// The class table. IDs are indexes + 1; 0 means "not registered". Bases may be registered after
// the classes that name them, so base IDs are linked up whenever a class arrives.
class Registry {
public:
    static Registry& Instance() {
        static Registry* registry = new Registry();  // outlives every module's static objects
        return *registry;
    }

    std::uint32_t Register(const char* className, const char* baseClassName, const ZIObjectCreator* creator) {
        std::unique_lock<std::shared_mutex> lock(m_mutex);
        const std::string name = className != nullptr ? className : "";
        auto found = m_byName.find(name);
        if (found != m_byName.end()) {
            ZLOG_WITH(m_logLevel, "ZFactory", LOGLEVEL_WARNING,
                      "Class <%s> is already registered; keeping its first creator", name.c_str());
            return found->second;
        }
        auto entry = std::make_unique<ClassEntry>();
        entry->name = name;
        entry->baseName = baseClassName != nullptr ? baseClassName : "";
        entry->creator = creator;
        auto base = m_byName.find(entry->baseName);
        entry->baseCid = base != m_byName.end() ? base->second : 0;
        const auto cid = static_cast<std::uint32_t>(m_entries.size() + 1);
        entry->cid = cid;
        m_entries.push_back(std::move(entry));
        m_byName.emplace(m_entries.back()->name, cid);
        for (auto& other : m_entries) {
            if (other->baseCid == 0 && other->baseName == name) {
                other->baseCid = cid;
            }
        }
        return cid;
    }

    template <class Fn>
    auto WithEntry(const char* className, Fn&& fn) const {
        std::shared_lock<std::shared_mutex> lock(m_mutex);
        auto found = m_byName.find(className != nullptr ? className : "");
        return fn(found == m_byName.end() ? nullptr : m_entries[found->second - 1].get());
    }

    template <class Fn>
    auto WithEntry(std::uint32_t cid, Fn&& fn) const {
        std::shared_lock<std::shared_mutex> lock(m_mutex);
        return fn(cid == 0 || cid > m_entries.size() ? nullptr : m_entries[cid - 1].get());
    }

    bool IsKindOf(std::uint32_t wanted, std::uint32_t actual) const {
        if (wanted == 0 || actual == 0) {
            return false;
        }
        std::shared_lock<std::shared_mutex> lock(m_mutex);
        // Bounded walk: a malformed registration (a cycle of base names) must not hang a check.
        for (std::size_t steps = 0; actual != 0 && steps <= m_entries.size(); ++steps) {
            if (actual == wanted) {
                return true;
            }
            if (actual > m_entries.size()) {
                return false;
            }
            actual = m_entries[actual - 1]->baseCid;
        }
        return false;
    }

    std::vector<std::string> Names() const {
        std::shared_lock<std::shared_mutex> lock(m_mutex);
        std::vector<std::string> names;
        names.reserve(m_entries.size());
        for (const auto& entry : m_entries) {
            names.push_back(entry->name);
        }
        return names;
    }

    void Track(const void* object, const char* className, const char* file, int line) {
        std::shared_lock<std::shared_mutex> lock(m_mutex);
        auto found = m_byName.find(className != nullptr ? className : "");
        if (found == m_byName.end()) {
            m_untracked.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        auto& entry = *m_entries[found->second - 1];
        (object != nullptr ? entry.created : entry.failed).fetch_add(1, std::memory_order_relaxed);
        entry.lastFile.store(file != nullptr ? file : "", std::memory_order_relaxed);
        entry.lastLine.store(line, std::memory_order_relaxed);
    }

    std::int32_t m_logLevel = LOGLEVEL_WARNING;

private:
    Registry() { ZFactoryObject::m_cid = Register("ZFactoryObject", "", nullptr); }

    mutable std::shared_mutex m_mutex;
    std::vector<std::unique_ptr<ClassEntry>> m_entries;
    // Keys view the names held by the entries, which live as long as the registry.
    std::unordered_map<std::string_view, std::uint32_t> m_byName;
    std::atomic<std::int64_t> m_untracked{0};
};

template <class Made, class Fn>
Made CreateWith(const char* className, const std::string& instanceName, Fn&& make, bool quiet = false) {
    auto& registry = Registry::Instance();
    const ZIObjectCreator* creator = registry.WithEntry(
        className, [](const ClassEntry* entry) { return entry ? entry->creator : nullptr; });
    if (creator == nullptr) {
        if (quiet) {
            return Made{};
        }
        ZLOG_WITH(registry.m_logLevel, "ZFactory", LOGLEVEL_WARNING, "Unknown class <%s>: nothing created",
                  className != nullptr ? className : "(null)");
        return Made{};
    }
    Made made = make(*creator, instanceName.empty() ? std::string(className) : instanceName);
    if (!made && !quiet) {
        ZLOG_WITH(registry.m_logLevel, "ZFactory", LOGLEVEL_WARNING,
                  "Class <%s> is abstract: nothing created", className);
    }
    return made;
}

}  // namespace

std::uint32_t ZFactory::RegisterObjectCreator(const char* className, const char* baseClassName,
                                              const ZIObjectCreator* creator) {
    return Registry::Instance().Register(className, baseClassName, creator);
}

ZFactoryObject* ZFactory::Create(const char* className, const std::string& instanceName) {
    return CreateWith<ZFactoryObject*>(
        className, instanceName,
        [](const ZIObjectCreator& creator, const std::string& name) { return creator.Create(name); });
}

ZUniquePtr<ZFactoryObject> ZFactory::CreateUnique(const char* className, const std::string& instanceName) {
    return CreateWith<ZUniquePtr<ZFactoryObject>>(
        className, instanceName,
        [](const ZIObjectCreator& creator, const std::string& name) { return creator.CreateUnique(name); });
}

std::shared_ptr<ZFactoryObject> ZFactory::CreateShared(const char* className,
                                                       const std::string& instanceName) {
    return CreateWith<std::shared_ptr<ZFactoryObject>>(
        className, instanceName,
        [](const ZIObjectCreator& creator, const std::string& name) { return creator.CreateShared(name); });
}

std::shared_ptr<ZFactoryObject> ZFactory::TryCreateShared(const char* className) {
    return CreateWith<std::shared_ptr<ZFactoryObject>>(
        className, {},
        [](const ZIObjectCreator& creator, const std::string& name) { return creator.CreateShared(name); },
        true);
}

void ZFactory::Track(const void* object, const char* className, const char* file, int line,
                     std::size_t size) {
    auto& registry = Registry::Instance();
    registry.Track(object, className, file, line);
    ZLOG_WITH(registry.m_logLevel, "ZFactory", LOGLEVEL_DETAIL, "%s <%s> (%zu bytes) at %s:%d",
              object != nullptr ? "Created" : "Failed to create", className != nullptr ? className : "(null)",
              size, file != nullptr ? file : "", line);
}

ZTrackStats ZFactory::GetTrackStats(const char* className) {
    return Registry::Instance().WithEntry(className, [](const ClassEntry* entry) {
        ZTrackStats stats;
        if (entry != nullptr) {
            stats.created = entry->created.load();
            stats.failed = entry->failed.load();
            stats.lastFile = entry->lastFile.load(std::memory_order_relaxed);
            stats.lastLine = entry->lastLine.load(std::memory_order_relaxed);
        }
        return stats;
    });
}

std::uint32_t ZFactory::GetClassID(const char* className) {
    return Registry::Instance().WithEntry(
        className, [](const ClassEntry* entry) { return entry == nullptr ? 0u : entry->cid; });
}

std::string ZFactory::GetClassName(std::uint32_t cid) {
    return Registry::Instance().WithEntry(
        cid, [](const ClassEntry* entry) { return entry == nullptr ? std::string() : entry->name; });
}

std::string ZFactory::GetBaseClassName(std::uint32_t cid) {
    return Registry::Instance().WithEntry(
        cid, [](const ClassEntry* entry) { return entry == nullptr ? std::string() : entry->baseName; });
}

std::vector<std::string> ZFactory::GetClassNames() {
    return Registry::Instance().Names();
}

void ZFactory::SetLogLevel(std::int32_t level) {
    Registry::Instance().m_logLevel = level;
}

namespace CID {

bool IsKindOf(std::uint32_t wanted, std::uint32_t actual) {
    return Registry::Instance().IsKindOf(wanted, actual);
}

std::string GetIsKindOfDebugString(std::uint32_t wanted, std::uint32_t actual) {
    std::string text = "Actual Class: ";
    std::uint32_t cid = actual;
    for (int depth = 0; depth < 64; ++depth) {
        const std::string name = ZFactory::GetClassName(cid);
        text += name.empty() ? "<unregistered " + std::to_string(cid) + ">" : name;
        const std::string base = ZFactory::GetBaseClassName(cid);
        if (name.empty() || base.empty()) {
            break;
        }
        text += " -> ";
        cid = ZFactory::GetClassID(base.c_str());
        if (cid == 0) {
            text += base + " (unregistered)";
            break;
        }
    }
    text += "; wanted " + (wanted == 0 ? std::string("<unregistered>") : ZFactory::GetClassName(wanted));
    return text;
}

}  // namespace CID
}  // namespace ZShared
