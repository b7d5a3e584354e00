// Registers the message library's classes with the factory when the library is loaded.
#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZCommStream.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZMessages/ZMessage.h"

namespace {
struct ZMessagesClasses {
    ZMessagesClasses() {
        ZClassRegistration<ZCommStream>::Register("ZFactoryObject");
        ZClassRegistration<ZJSONCommStream>::Register("ZCommStream");
        ZClassRegistration<ZBinaryCommStream>::Register("ZCommStream");
        ZClassRegistration<ZCommStreamObject>::Register("ZFactoryObject");
        ZClassRegistration<ZMessage>::Register("ZCommStreamObject");
        ZClassRegistration<ZGenericResponseMsg>::Register("ZMessage");
    }
} g_zMessagesClasses;
}  // namespace
