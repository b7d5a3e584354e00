#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "ZTopoOptions.h"

class ZTopologyMsg;
class ZTopologyRequest;

// Follows a running topology for `ztopo watch`: each "topochanged" or "nodesdisconnected" of the
// discovery node leads to one fresh copy of the graph, and what differs from the last copy is
// printed as one block, dated in UTC; a removal gives its reason from the retained removal
// history. Notices that arrive while a copy is on its way fold into the next block. The retained
// online status tells when the discovery node goes offline, comes back, or restarted (a new start
// ID): those print as lines of their own. With ndjson every block and event is one JSON object on
// one line.
class ZTopoWatcher {
public:
    ZTopoWatcher(ZTopologyRequest& request, std::ostream& out, std::chrono::milliseconds timeout);
    ~ZTopoWatcher();

    void SetFormat(ZTopoFormat format) { m_format = format; }
    // Subscribes, takes the first copy and prints a summary line; false when no copy came.
    bool Start();
    // Waits up to `slice` for notices; after some, prints their block.
    void Update(std::chrono::milliseconds slice);

private:
    struct ZNotice;
    struct ZNotices;

    bool IsJSON() const { return m_format == ZTopoFormat::JSON || m_format == ZTopoFormat::NDJSON; }
    // Gives each "nodesdisconnected" the reason of the removal recorded since the last block.
    void AddReasons(std::vector<ZNotice>& notices);
    void PrintEvent(const ZNotice& event);
    void PrintBlock(const std::vector<ZNotice>& notices, const std::vector<std::string>& changes,
                    bool answered);

    ZTopologyRequest& m_request;
    std::ostream& m_out;
    const std::chrono::milliseconds m_timeout;
    const std::shared_ptr<ZNotices> m_pNotices;
    std::shared_ptr<ZTopologyMsg> m_pLast;
    ZTopoFormat m_format = ZTopoFormat::TEXT;
    std::int64_t m_lastRemovalUs = 0;  // the latest removal already told
};
