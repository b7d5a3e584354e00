// A second module that carries one class the discovery module also registers, to show that
// whichever module is loaded first keeps the registration.
#include "ZMessages/ZRadarModeMsg.h"
#include "ZShared/ZFactory.h"

namespace {
bool g_bRegisteredHere = false;

struct ZTestModuleClasses {
    ZTestModuleClasses() {
        g_bRegisteredHere = !ZClassRegistration<ZRadarModeMsg>::m_bRegistered;
        ZClassRegistration<ZRadarModeMsg>::Register("ZMessage");
    }
} g_testModuleClasses;
}  // namespace

extern "C" {
Z_EXPORT const char* GetVersionTag() {
    return "test";
}
Z_EXPORT const char* GetVersionHash() {
    return "0";
}
Z_EXPORT bool ZTestModuleRegisteredRadarMode() {
    return g_bRegisteredHere;
}
}
