#pragma once

#include <string>
#include <vector>

// Loads modules into the process with dlopen(RTLD_NOW | RTLD_GLOBAL), so that their classes
// register with the factory and their symbols serve modules loaded later. A module exports
// GetVersionTag and GetVersionHash with C linkage; a library without them is refused and closed
// again, and so is a second load of a module already loaded.
class ZModuleLoader {
public:
    struct ZModule {
        std::string m_path;       // as given
        std::string m_canonical;  // what duplicates are recognised by
        void* m_pHandle = nullptr;
        std::string m_versionTag;
        std::string m_versionHash;
    };

    ZModuleLoader() = default;
    ~ZModuleLoader();
    ZModuleLoader(const ZModuleLoader&) = delete;
    ZModuleLoader& operator=(const ZModuleLoader&) = delete;

    // False with GetError ("<path>: <problem>").
    bool Load(const std::string& path);
    // Closes the modules, the last loaded first. Objects made from their classes must be gone.
    void UnloadAll();

    const std::vector<ZModule>& GetModules() const { return m_modules; }
    const std::string& GetError() const { return m_error; }

private:
    bool Fail(const std::string& path, const std::string& problem);

    std::vector<ZModule> m_modules;
    std::string m_error;
};
