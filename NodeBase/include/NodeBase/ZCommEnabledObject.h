#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "NodeComm/ZNodeComm.h"
#include "ZMessages/ZMessage.h"
#include "ZShared/CID.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZNodeUID.h"

class ZMessageQueue;

// Something that talks through a transport under its node's UID: it subscribes handlers to
// endpoints and publishes messages and answers. A transport's delivery only queues the message;
// the owner of the queue (ZNode's pump) hands it to its handler later, on the pump's thread.
//
// The UID and the transports are set before messages flow (OnInit, SetUID) and read without a
// lock afterwards.
class Z_EXPORT ZCommEnabledObject : public ZShared::ZFactoryObject {
    Z_FACTORY_CLASS(ZCommEnabledObject)

public:
    // A handler gets the delivered message and may keep, change or release it. Its result is
    // only logged.
    using Callback = std::function<bool(std::shared_ptr<ZMessage>&)>;

    explicit ZCommEnabledObject(const std::string& instanceName = std::string());
    ~ZCommEnabledObject() override;
    ZCommEnabledObject(const ZCommEnabledObject&) = delete;
    ZCommEnabledObject& operator=(const ZCommEnabledObject&) = delete;

    // Keeps the transports and, when not empty, the UID. Subscriptions and publications go through
    // the first; the second is for in-process traffic where a node has such a transport, and
    // GetLocalComm falls back to the first without one. False without a transport.
    virtual bool OnInit(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm, ZNodeUID uid);
    // Subscribes the object's handlers; false stops the start sequence.
    virtual bool InitMessageMap();
    virtual void OnConnecting();
    // False stops the start sequence.
    virtual bool OnConnected();
    // Called on the pump's thread when the queue is empty; the result is not used.
    virtual bool OnIdle();
    // Called once when the object stops, on the stopping thread, after the pump thread has ended
    // when the stop waits for it; `wait` is the flag the stop was asked with.
    virtual bool OnShutdown(bool wait);

    // This object's endpoint of the given kind and name. The flags are reserved: endpoints that
    // nodes build carry no delivery quality.
    ZCommEndpoint GetEndpoint(ZEndpointType type, const char* name, std::int32_t flags) const;

    // False when there is no transport, the transport refused or the object has stopped.
    virtual bool Subscribe(const ZCommEndpoint& endpoint, Callback callback);
    // What Subscribe does, for a subscription of the object's own plumbing that classes deriving
    // from it do not intercept; its messages share the queue with every other.
    bool SubscribeQueued(const ZCommEndpoint& endpoint, Callback callback);
    // Drops every subscription to the endpoint; false when there was none.
    bool Unsubscribe(const ZCommEndpoint& endpoint);
    void UnsubscribeAll();
    // Drops the subscriptions to endpoints owned by that UID, as when its node has gone.
    void UnregisterConnectionsTo(const ZNodeUID& uid);
    std::size_t SubscriptionCount() const;
    // Messages delivered by the transports and not yet handed to their handlers.
    std::size_t QueuedCount() const;

    // Answers the request on its response endpoint and takes the caller's response (the pointer
    // is null afterwards). A missing request or response, or a response that is not a message, is
    // logged and handed on as null: PublishResponseInternal decides what a lost answer means.
    template <class T>
    bool PublishResponse(std::shared_ptr<ZMessage> request, std::shared_ptr<T>& response, bool bReserved1,
                         bool bReserved2);
    // Publishes the message and takes the caller's pointer. Anything that is not a message is
    // logged and kept by the caller.
    template <class T>
    void Publish(const ZCommEndpoint& endpoint, std::shared_ptr<T>& message);

    // Stamps the sender (this UID, the endpoint's kind and name) and the endpoint on the message,
    // publishes it and releases the pointer. `reply` is for transports that answer synchronously;
    // it is cleared here. The two flags are reserved for derived transports' use.
    virtual bool PublishInternal(const ZCommEndpoint& endpoint, std::shared_ptr<ZMessage>& message,
                                 std::shared_ptr<ZMessage>* reply, bool bReserved1, bool bReserved2);
    // Publishes the response on the request's response endpoint, its sender being (this UID,
    // EP_RESPONSE, the request's name). False for a missing request or response.
    virtual bool PublishResponseInternal(std::shared_ptr<ZMessage> request,
                                         std::shared_ptr<ZMessage>& response, bool bReserved1,
                                         bool bReserved2);

    void SetUID(const ZNodeUID& uid);
    const ZNodeUID& GetUID() const { return m_uid; }
    const std::string& GetInstanceName() const { return m_instanceName; }
    const std::shared_ptr<ZNodeComm>& GetComm() const { return m_pComm; }
    const std::shared_ptr<ZNodeComm>& GetLocalComm() const { return m_pLocalComm; }

    // Marks long-running work, during which handlers may turn requests away (ERRCODE_BUSY); the
    // text says what the work is, for logs and status.
    void SetBusy(bool busy, const char* text);
    bool IsBusy() const { return m_bBusy.load(); }
    std::string GetBusyText() const;
    bool InShutdown() const { return m_bInShutdown.load(); }

    const char* m_logSource;
    std::int32_t m_logLevel = LOGLEVEL_WARNING;

protected:
    void SetInShutdown() { m_bInShutdown.store(true); }
    // Hands the oldest queued message to its handler; false when none waits. Touches nothing of
    // the object once the handler has run, as the handler may have released the object.
    bool DeliverNext();

    // Shared with the transports' delivery functions, which outlive the object.
    const std::shared_ptr<ZMessageQueue> m_pQueue;

private:
    struct ZSubscription {
        ZCommEndpoint m_endpoint;
        std::shared_ptr<ZNodeComm> m_pComm;
        ZNodeComm::SubscriptionId m_id;
    };

    // Log lines for the templates, which expand in other files but report as this one.
    void LogCheckFailed(const char* function, int line) const;
    void LogNotAMessage(const char* function, int line, std::uint32_t actualCid) const;
    void Drop(const std::vector<ZSubscription>& subscriptions);

    const std::string m_instanceName;
    ZNodeUID m_uid;
    std::shared_ptr<ZNodeComm> m_pComm;
    std::shared_ptr<ZNodeComm> m_pLocalComm;
    std::atomic<bool> m_bBusy{false};
    std::atomic<bool> m_bInShutdown{false};
    mutable std::mutex m_mutex;
    std::string m_busyText;
    std::vector<ZSubscription> m_subscriptions;
};

template <class T>
bool ZCommEnabledObject::PublishResponse(std::shared_ptr<ZMessage> request, std::shared_ptr<T>& response,
                                         bool bReserved1, bool bReserved2) {
    if (!request) {
        LogCheckFailed("PublishResponse", __LINE__);
    }
    if (!response) {
        LogCheckFailed("PublishResponse", __LINE__);
    }
    std::shared_ptr<ZMessage> message;
    if (response && ZShared::CID::IsKindOf(ZMessage::m_cid, response->GetCID())) {
        message = std::dynamic_pointer_cast<ZMessage>(response);
    }
    response.reset();
    return PublishResponseInternal(std::move(request), message, bReserved1, bReserved2);
}

template <class T>
void ZCommEnabledObject::Publish(const ZCommEndpoint& endpoint, std::shared_ptr<T>& message) {
    if (!message) {
        return;
    }
    if (!ZShared::CID::IsKindOf(ZMessage::m_cid, message->GetCID())) {
        LogNotAMessage("Publish", __LINE__, message->GetCID());
        return;
    }
    std::shared_ptr<ZMessage> converted = std::dynamic_pointer_cast<ZMessage>(message);
    message.reset();
    PublishInternal(endpoint, converted, nullptr, true, false);
}
