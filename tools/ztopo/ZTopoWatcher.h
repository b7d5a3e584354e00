#pragma once

#include <chrono>
#include <memory>
#include <ostream>

class ZTopologyMsg;
class ZTopologyRequest;

// Follows a running topology for `ztopo watch`: each "topochanged" or "nodesdisconnected" of the
// discovery node leads to one fresh copy of the graph, and what differs from the last copy is
// printed as one block. Notices that arrive while a copy is on its way fold into the next block.
class ZTopoWatcher {
public:
    ZTopoWatcher(ZTopologyRequest& request, std::ostream& out, std::chrono::milliseconds timeout);
    ~ZTopoWatcher();

    // Subscribes, takes the first copy and prints a summary line; false when no copy came.
    bool Start();
    // Waits up to `slice` for notices; after some, prints their block.
    void Update(std::chrono::milliseconds slice);

private:
    struct ZNotices;

    ZTopologyRequest& m_request;
    std::ostream& m_out;
    const std::chrono::milliseconds m_timeout;
    const std::shared_ptr<ZNotices> m_pNotices;
    std::shared_ptr<ZTopologyMsg> m_pLast;
};
