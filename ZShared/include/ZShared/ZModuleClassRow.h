#pragma once

#include <cstddef>
#include <cstdint>

// One row of a loadable module's class table, as the module reports it after loading. Modules
// export, with C linkage:
//   const char* GetVersionTag();
//   const char* GetVersionHash();
//   const ZModuleClassRow* GetModuleClassTable(std::size_t* count);   (optional, for diagnostics)
struct ZModuleClassRow {
    const char* m_className;
    const char* m_baseClassName;
    std::uint32_t m_cid;     // the class ID in force after loading, shared by every module
    bool m_bRegisteredHere;  // false when a module loaded earlier had registered the class
};

extern "C" {
using ZGetVersionTagFn = const char* (*)();
using ZGetVersionHashFn = const char* (*)();
using ZGetModuleClassTableFn = const ZModuleClassRow* (*)(std::size_t*);
}
