// Registers the message library's classes with the factory when the library is loaded.
#include "ZMessages/ZCommStream.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZMessages/ZMessage.h"

namespace {
struct ZMessagesClasses {
    ZMessagesClasses() {
        ZClassRegistration<ZCommStream>::Register("ZFactoryObject");
        ZClassRegistration<ZCommStreamObject>::Register("ZFactoryObject");
        ZClassRegistration<ZMessage>::Register("ZCommStreamObject");
        ZClassRegistration<ZGenericResponseMsg>::Register("ZMessage");
    }
} g_zMessagesClasses;
}  // namespace
