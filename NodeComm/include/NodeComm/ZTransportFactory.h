#pragma once

#include <memory>
#include <string>

#include "ZShared/ZExport.h"

class ZCommsParams;
class ZNodeComm;

// Makes the transport that a node's communication parameters name by their "TransportURL": the
// process-wide in-process bus when it is empty, the MQTT transport for mqtt:// and mqtts://.
class Z_EXPORT ZTransportFactory {
public:
    // `clientID` is the process's identity on a broker (a node manager's UID). Null, with `error`
    // set to one line, for a URL that names no transport or cannot be used.
    static std::shared_ptr<ZNodeComm> Make(const ZCommsParams& params, const std::string& clientID,
                                           std::string& error);
};
