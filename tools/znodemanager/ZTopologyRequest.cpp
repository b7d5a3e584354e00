#include "ZTopologyRequest.h"

#include <condition_variable>
#include <mutex>

#include "NodeBase/ZTopologyMsg.h"
#include "NodeComm/ZNodeComm.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/ZMakeShared.h"

std::shared_ptr<ZTopologyMsg> ZTopologyRequest::Fetch(const std::shared_ptr<ZNodeComm>& comm,
                                                      const ZNodeUID& discoveryUID, const ZNodeUID& asker,
                                                      std::chrono::milliseconds timeout) {
    if (!comm) {
        return nullptr;
    }
    // Shared with the delivery, which may still run once this function has given up.
    struct ZAnswer {
        std::mutex m_mutex;
        std::condition_variable m_cv;
        std::shared_ptr<ZTopologyMsg> m_pTopology;
    };
    auto answer = std::make_shared<ZAnswer>();
    const auto subscription =
        comm->Subscribe(ZCommEndpoint(asker, EP_RESPONSE, "gettopo"),
                        [answer](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
                            auto topology = std::dynamic_pointer_cast<ZTopologyMsg>(message);
                            if (!topology) {
                                return;
                            }
                            {
                                std::lock_guard<std::mutex> lock(answer->m_mutex);
                                answer->m_pTopology = std::move(topology);
                            }
                            answer->m_cv.notify_all();
                        });
    if (subscription == 0) {
        return nullptr;
    }
    auto request = ZMakeShared<ZTopologyMsg>();
    request->SetSource(ZCommEndpoint(asker, EP_CONTROL, "gettopo"));
    request->SetResponseRequested(true);
    const ZCommEndpoint endpoint(discoveryUID, EP_CONTROL, "gettopo");
    request->SetEndpoint(endpoint);
    std::shared_ptr<ZTopologyMsg> topology;
    if (comm->Publish(endpoint, request)) {
        std::unique_lock<std::mutex> lock(answer->m_mutex);
        answer->m_cv.wait_for(lock, timeout, [&answer] { return answer->m_pTopology != nullptr; });
        topology = answer->m_pTopology;
    }
    comm->Unsubscribe(subscription);
    return topology;
}

bool ZTopologyRequest::WriteJSON(const ZTopologyMsg& topology, const std::string& path) {
    auto stream = ZMakeShared<ZJSONCommStream>();
    return topology.SerializeClass(stream) && stream->GetDataToFile(path.c_str());
}
