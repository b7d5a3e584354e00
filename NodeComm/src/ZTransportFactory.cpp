#include "NodeComm/ZTransportFactory.h"

#include "NodeComm/ZNodeCommLocal.h"
#include "NodeComm/ZNodeCommMQTT.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZShared/ZMakeShared.h"

std::shared_ptr<ZNodeComm> ZTransportFactory::Make(const ZCommsParams& params, const std::string& clientID,
                                                   std::string& error) {
    if (params.TransportURL.empty()) {
        return std::make_shared<ZNodeCommLocal>();
    }
    auto mqtt = ZMakeShared<ZNodeCommMQTT>();
    if (!mqtt->Configure(params, clientID)) {
        error = mqtt->GetError();
        return nullptr;
    }
    return mqtt;
}
