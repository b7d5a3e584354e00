#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "NodeComm/ZNodeComm.h"
#include "ZShared/ZNodeUID.h"

class ZTopologyMsg;

// A tool's side of the conversation with a discovery node: a request goes to
// control/<discovery>/<request> from an endpoint of the asker, and its answer comes back on
// response/<asker>/<request>; publications of the discovery node arrive on its status endpoints.
// Deliveries come on the transport's threads, so everything they hand over is guarded by one lock
// that the waiting re-checks under.
class ZTopologyRequest {
public:
    // Runs in place of blocking while something is awaited: tests pump the discovery node and move
    // the manual clock here. Without one the wait blocks until a delivery or the time-out.
    using Step = std::function<void()>;
    // Receives a publication, on the transport's thread and under the waiting lock.
    using Listener = std::function<void(const std::shared_ptr<ZMessage>& message)>;

    ZTopologyRequest(std::shared_ptr<ZNodeComm> comm, const ZNodeUID& discoveryUID, const ZNodeUID& asker);
    // Drops the subscriptions of Listen.
    ~ZTopologyRequest();
    ZTopologyRequest(const ZTopologyRequest&) = delete;
    ZTopologyRequest& operator=(const ZTopologyRequest&) = delete;

    void SetStep(Step step) { m_step = std::move(step); }
    const ZNodeUID& GetDiscoveryUID() const { return m_discoveryUID; }

    // Sends the request from (as, control, name), `as` being the asker when empty, and returns the
    // first answer on response/<as>/<name> that is a T; null when none came within the time-out.
    template <class T>
    std::shared_ptr<T> Ask(const char* name, std::shared_ptr<ZMessage> request,
                           std::chrono::milliseconds timeout, const ZNodeUID& as = ZNodeUID()) {
        return std::static_pointer_cast<T>(AskFor(
            name, std::move(request),
            [](const ZMessage& answer) { return dynamic_cast<const T*>(&answer) != nullptr; }, timeout, as));
    }
    // Sends a request that is never answered; false when the transport refused it.
    bool Tell(const char* name, std::shared_ptr<ZMessage> request);
    // A copy of the graph ("gettopo"), or null.
    std::shared_ptr<ZTopologyMsg> FetchTopology(std::chrono::milliseconds timeout);

    // Hands every publication on status/<discovery>/<name> to the listener until this object goes.
    bool Listen(const char* name, Listener listener);
    // True once `ready` holds (it is checked under the waiting lock), false when the time-out
    // passes first; time is ZPlatform's steady time.
    bool Wait(const std::function<bool()>& ready, std::chrono::milliseconds timeout);
    // Runs `read` under the waiting lock, to take what listeners have left.
    void WithLock(const std::function<void()>& read);
    // Why the broker refused a request of this conversation (its ACL), when it said so; a request
    // that was refused is not waited for.
    std::string GetPublicationRefusal() const;

    // One "gettopo" conversation for tools that need nothing else.
    static std::shared_ptr<ZTopologyMsg> Fetch(const std::shared_ptr<ZNodeComm>& comm,
                                               const ZNodeUID& discoveryUID, const ZNodeUID& asker,
                                               std::chrono::milliseconds timeout);
    // The graph as JSON ("class" and its keys), as text or into a file.
    static std::string JSON(const ZTopologyMsg& topology);
    static bool WriteJSON(const ZTopologyMsg& topology, const std::string& path);

private:
    struct ZGuarded;

    std::shared_ptr<ZMessage> AskFor(const char* name, std::shared_ptr<ZMessage> request,
                                     const std::function<bool(const ZMessage&)>& accept,
                                     std::chrono::milliseconds timeout, const ZNodeUID& as);
    bool Send(const char* name, std::shared_ptr<ZMessage> request, const ZNodeUID& as);

    const std::shared_ptr<ZNodeComm> m_pComm;
    const ZNodeUID m_discoveryUID;
    const ZNodeUID m_asker;
    // Outlives this object while a delivery still holds it.
    const std::shared_ptr<ZGuarded> m_pGuarded;
    std::vector<ZNodeComm::SubscriptionId> m_listeners;
    Step m_step;
};
