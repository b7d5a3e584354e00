#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "NodeBase/ZNode.h"

// A display of the demo. Asked on control/<UID>/lookup, it looks other nodes up through the
// discovery node the way any node would: "finduid" by class with a preferred group, and
// "findnode" by UID. It prints each answer to the timeline.
class ZDemoDisplay : public ZNode {
    Z_FACTORY_CLASS(ZDemoDisplay)

public:
    static constexpr std::size_t kLookups = 5;

    explicit ZDemoDisplay(const std::string& name = std::string());
    ~ZDemoDisplay() override;

    bool InitMessageMap() override;
    bool OnLookup(const std::shared_ptr<ZMessage>& request);
    bool OnFindUidResponse(const std::shared_ptr<ZMessage>& response);
    bool OnFindNodeResponse(const std::shared_ptr<ZMessage>& response);

    std::size_t GetAnswerCount() const { return m_answers.load(); }

private:
    void FindUid(const char* className, const char* group);
    void FindNode(const char* uid);

    // What each "finduid" asked for, in order: the answers come back in the same order.
    std::deque<std::pair<std::string, std::string>> m_pendingFindUid;
    std::atomic<std::size_t> m_answers{0};
};
