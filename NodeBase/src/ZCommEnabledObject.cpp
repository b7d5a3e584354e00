#include "NodeBase/ZCommEnabledObject.h"

#include <algorithm>
#include <string>

#include "ZMessageQueue.h"

ZCommEnabledObject::ZCommEnabledObject(const std::string& instanceName)
    : m_logSource(StaticClassName()),
      m_pQueue(std::make_shared<ZMessageQueue>()),
      m_instanceName(instanceName) {}

ZCommEnabledObject::~ZCommEnabledObject() {
    m_pQueue->Close();
    UnsubscribeAll();
}

bool ZCommEnabledObject::OnInit(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm,
                                ZNodeUID uid) {
    m_logSource = ClassName();
    if (!uid.IsEmpty()) {
        m_uid = std::move(uid);
    }
    m_pComm = std::move(comm);
    m_pLocalComm = localComm ? std::move(localComm) : m_pComm;
    if (!m_pComm) {
        ZLOG(LOGLEVEL_ERROR, "No transport for <%s>", m_instanceName.c_str());
        return false;
    }
    return true;
}

bool ZCommEnabledObject::InitMessageMap() {
    return true;
}

void ZCommEnabledObject::OnConnecting() {}

bool ZCommEnabledObject::OnConnected() {
    return true;
}

bool ZCommEnabledObject::OnIdle() {
    return true;
}

bool ZCommEnabledObject::OnShutdown(bool) {
    return true;
}

ZCommEndpoint ZCommEnabledObject::GetEndpoint(ZEndpointType type, const char* name, std::int32_t) const {
    return ZCommEndpoint(m_uid, type, name != nullptr ? ZString(name) : ZString());
}

bool ZCommEnabledObject::Subscribe(const ZCommEndpoint& endpoint, Callback callback) {
    return SubscribeQueued(endpoint, std::move(callback));
}

bool ZCommEnabledObject::SubscribeQueued(const ZCommEndpoint& endpoint, Callback callback) {
    if (!callback) {
        ZLOG(LOGLEVEL_WARNING, "No handler for <%s>", endpoint.AsString().c_str());
        return false;
    }
    const std::shared_ptr<ZNodeComm> comm = m_pComm;
    if (!comm) {
        ZLOG(LOGLEVEL_WARNING, "No transport: no subscription to <%s>", endpoint.AsString().c_str());
        return false;
    }
    auto handler = std::make_shared<const Callback>(std::move(callback));
    std::weak_ptr<ZMessageQueue> weakQueue = m_pQueue;
    const ZNodeComm::SubscriptionId id = comm->Subscribe(
        endpoint, [weakQueue, handler](const ZCommEndpoint& at, const std::shared_ptr<ZMessage>& message) {
            if (auto queue = weakQueue.lock()) {
                queue->Push(ZMessageQueue::ZEntry{at, message, handler});
            }
        });
    if (id == 0) {
        ZLOG(LOGLEVEL_WARNING, "Transport refused a subscription to <%s>", endpoint.AsString().c_str());
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        // Checked under the lock that UnsubscribeAll takes, so a stop cannot miss this one.
        if (!m_pQueue->IsClosed()) {
            m_subscriptions.push_back(ZSubscription{endpoint, comm, id});
            return true;
        }
    }
    comm->Unsubscribe(id);
    ZLOG(LOGLEVEL_WARNING, "Stopped: no subscription to <%s>", endpoint.AsString().c_str());
    return false;
}

bool ZCommEnabledObject::Unsubscribe(const ZCommEndpoint& endpoint) {
    std::vector<ZSubscription> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto keep =
            std::stable_partition(m_subscriptions.begin(), m_subscriptions.end(),
                                  [&endpoint](const ZSubscription& s) { return s.m_endpoint != endpoint; });
        dropped.assign(std::make_move_iterator(keep), std::make_move_iterator(m_subscriptions.end()));
        m_subscriptions.erase(keep, m_subscriptions.end());
    }
    Drop(dropped);
    return !dropped.empty();
}

void ZCommEnabledObject::UnsubscribeAll() {
    std::vector<ZSubscription> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        dropped.swap(m_subscriptions);
    }
    Drop(dropped);
}

void ZCommEnabledObject::UnregisterConnectionsTo(const ZNodeUID& uid) {
    std::vector<ZSubscription> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto keep =
            std::stable_partition(m_subscriptions.begin(), m_subscriptions.end(),
                                  [&uid](const ZSubscription& s) { return s.m_endpoint.m_uid != uid; });
        dropped.assign(std::make_move_iterator(keep), std::make_move_iterator(m_subscriptions.end()));
        m_subscriptions.erase(keep, m_subscriptions.end());
    }
    Drop(dropped);
}

std::size_t ZCommEnabledObject::SubscriptionCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_subscriptions.size();
}

bool ZCommEnabledObject::PublishInternal(const ZCommEndpoint& endpoint, std::shared_ptr<ZMessage>& message,
                                         std::shared_ptr<ZMessage>* reply, bool, bool) {
    if (reply != nullptr) {
        reply->reset();
    }
    if (!message) {
        ZLOG(LOGLEVEL_WARNING, "Null message for <%s> not published", endpoint.AsString().c_str());
        return false;
    }
    if (!m_pComm) {
        ZLOG(LOGLEVEL_WARNING, "No transport: <%s> not published", endpoint.AsString().c_str());
        return false;
    }
    message->SetSource(ZCommEndpoint(m_uid, endpoint.m_type, endpoint.m_name));
    message->SetEndpoint(endpoint);
    const std::shared_ptr<ZMessage> handedOver = std::move(message);
    if (!m_pComm->Publish(endpoint, handedOver)) {
        ZLOG(LOGLEVEL_WARNING, "Publication to <%s> failed", endpoint.AsString().c_str());
        return false;
    }
    return true;
}

bool ZCommEnabledObject::PublishResponseInternal(std::shared_ptr<ZMessage> request,
                                                 std::shared_ptr<ZMessage>& response, bool bReserved1,
                                                 bool bReserved2) {
    if (!request) {
        ZLOG(LOGLEVEL_WARNING, "No request to answer");
        return false;
    }
    // Taken before anything is stamped: the answer may be the request object itself.
    const ZCommEndpoint responseEndpoint = request->GetResponseEndpoint();
    if (!response) {
        ZLOG(LOGLEVEL_WARNING, "No response: the answer to <%s> is lost",
             responseEndpoint.AsString().c_str());
        return false;
    }
    // PublishInternal stamps the sender as (this UID, EP_RESPONSE, the request's name).
    return PublishInternal(responseEndpoint, response, nullptr, bReserved1, bReserved2);
}

void ZCommEnabledObject::SetUID(const ZNodeUID& uid) {
    m_uid = uid;
}

void ZCommEnabledObject::SetBusy(bool busy, const char* text) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_busyText = busy && text != nullptr ? text : "";
    }
    if (m_bBusy.exchange(busy) == busy) {
        return;
    }
    if (busy) {
        ZLOG(LOGLEVEL_PROGRESS, "Busy: %s", text != nullptr ? text : "");
    } else {
        ZLOG(LOGLEVEL_PROGRESS, "No longer busy");
    }
}

std::string ZCommEnabledObject::GetBusyText() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_busyText;
}

bool ZCommEnabledObject::DeliverNext() {
    ZMessageQueue::ZEntry entry;
    if (!m_pQueue->TryPop(entry)) {
        return false;
    }
    const std::int32_t logLevel = m_logLevel;
    const char* const logSource = m_logSource;
    std::shared_ptr<ZMessage> message = std::move(entry.m_pMessage);
    if (!(*entry.m_pHandler)(message)) {
        ZLOG_WITH(logLevel, logSource, LOGLEVEL_DETAIL, "Handler for <%s> returned false",
                  entry.m_endpoint.AsString().c_str());
    }
    return true;
}

std::size_t ZCommEnabledObject::QueuedCount() const {
    return m_pQueue->Size();
}

void ZCommEnabledObject::LogCheckFailed(const char* function, int line) const {
    if (ZLog::Enabled(m_logLevel, LOGLEVEL_ERROR)) {
        ZLog::GetLogger()->Log(LOGLEVEL_ERROR, m_logSource, ZLOG_FILE, function, line,
                               "Assertion failed in <%s> at <%d>!", ZLOG_FILE, line);
    }
}

void ZCommEnabledObject::LogNotAMessage(const char* function, int line, std::uint32_t actualCid) const {
    if (ZLog::Enabled(m_logLevel, LOGLEVEL_ERROR)) {
        const std::string why = "Expected Base Class: ZMessage, " +
                                ZShared::CID::GetIsKindOfDebugString(ZMessage::m_cid, actualCid);
        ZLog::GetLogger()->Log(LOGLEVEL_ERROR, m_logSource, ZLOG_FILE, function, line,
                               "ZCAST(ZMessage, pMessageSubclass) %s: %s", "failed", why.c_str());
    }
    LogCheckFailed(function, line);
}

void ZCommEnabledObject::Drop(const std::vector<ZSubscription>& subscriptions) {
    for (const auto& subscription : subscriptions) {
        subscription.m_pComm->Unsubscribe(subscription.m_id);
    }
}
