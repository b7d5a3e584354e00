#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "ZShared/ZNodeUID.h"

class ZNodeComm;
class ZTopologyMsg;

// Asks a discovery node for a copy of its graph ("gettopo") and waits for the answer, for tools
// that report or save the topology.
class ZTopologyRequest {
public:
    // The graph, or null when no answer came within the timeout. The request is sent as `asker`,
    // whose response endpoint "gettopo" receives the answer.
    static std::shared_ptr<ZTopologyMsg> Fetch(const std::shared_ptr<ZNodeComm>& comm,
                                               const ZNodeUID& discoveryUID, const ZNodeUID& asker,
                                               std::chrono::milliseconds timeout);
    // Writes the graph as JSON ("class" and its keys).
    static bool WriteJSON(const ZTopologyMsg& topology, const std::string& path);
};
