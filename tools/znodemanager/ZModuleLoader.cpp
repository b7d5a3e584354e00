#include "ZModuleLoader.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>

#include <algorithm>

#include "ZShared/ZModuleClassRow.h"

namespace {

std::string Canonical(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? std::string(resolved) : path;
}

}  // namespace

ZModuleLoader::~ZModuleLoader() {
    UnloadAll();
}

bool ZModuleLoader::Fail(const std::string& path, const std::string& problem) {
    m_error = path + ": " + problem;
    return false;
}

bool ZModuleLoader::Load(const std::string& path) {
    m_error.clear();
    const std::string canonical = Canonical(path);
    const auto loaded = std::find_if(m_modules.begin(), m_modules.end(), [&canonical](const ZModule& module) {
        return module.m_canonical == canonical;
    });
    if (loaded != m_modules.end()) {
        return Fail(path, "module loaded already (as " + loaded->m_path + ")");
    }
    dlerror();
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (handle == nullptr) {
        const char* reason = dlerror();
        std::string text = reason != nullptr ? reason : "cannot be loaded";
        // dlerror usually starts with the path itself.
        if (text.rfind(path + ": ", 0) == 0) {
            text.erase(0, path.size() + 2);
        }
        return Fail(path, text);
    }
    const auto tag = reinterpret_cast<ZGetVersionTagFn>(dlsym(handle, "GetVersionTag"));
    const auto hash = reinterpret_cast<ZGetVersionHashFn>(dlsym(handle, "GetVersionHash"));
    if (tag == nullptr || hash == nullptr) {
        dlclose(handle);
        return Fail(path,
                    tag == nullptr ? "not a module (no GetVersionTag)" : "not a module (no GetVersionHash)");
    }
    ZModule module;
    module.m_path = path;
    module.m_canonical = canonical;
    module.m_pHandle = handle;
    module.m_versionTag = tag() != nullptr ? tag() : "";
    module.m_versionHash = hash() != nullptr ? hash() : "";
    m_modules.push_back(std::move(module));
    return true;
}

void ZModuleLoader::UnloadAll() {
    while (!m_modules.empty()) {
        dlclose(m_modules.back().m_pHandle);
        m_modules.pop_back();
    }
}
