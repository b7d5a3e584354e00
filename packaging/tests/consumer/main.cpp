// Sends one message through the in-process transport and loads the discovery module by name:
// proof that headers, libraries and module of an installed tree work together.
#include <dlfcn.h>

#include <cstdio>

#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZMakeShared.h"

int main() {
    auto comm = std::make_shared<ZNodeCommLocal>(std::make_shared<ZLocalBus>());
    comm->Connect();
    const ZCommEndpoint endpoint(ZNodeUID("Consumer"), EP_STATUS, "hello");
    int received = 0;
    comm->Subscribe(endpoint, [&](const ZCommEndpoint&, const std::shared_ptr<ZMessage>&) { ++received; });
    comm->Publish(endpoint, ZMakeShared<ZGenericResponseMsg>("hello", true));
    void* module = dlopen("libNodeDiscovery.so", RTLD_NOW | RTLD_GLOBAL);
    const bool discovery = module != nullptr && ZShared::ZFactory::GetClassID("ZNodeDiscovery") != 0;
    std::printf("received %d, discovery module %s\n", received, discovery ? "loaded" : dlerror());
    return received == 1 && discovery ? 0 : 1;
}
