#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "ZMessages/ZCommEndpoint.h"
#include "ZMessages/ZMessage.h"
#include "ZShared/ZFactoryObject.h"
#include "ZShared/ZLog.h"

class ZCommManager;

// A node's transport: subscriptions on endpoints and publication to them. Nodes see only this
// interface, so an in-process bus and a network broker are interchangeable beneath them.
//
// Publication hands the message over: the transport (or the subscribers it delivers to) may keep
// and change it, so a publisher does not touch a message after publishing it.
class Z_EXPORT ZNodeComm : public ZShared::ZFactoryObject, public std::enable_shared_from_this<ZNodeComm> {
    Z_FACTORY_CLASS(ZNodeComm)

public:
    // Called by the transport, on its own thread, for every message that arrives on a subscribed
    // endpoint. It must not block: nodes only queue the message.
    using Delivery =
        std::function<void(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message)>;
    using SubscriptionId = std::uint64_t;  // 0: not subscribed

    ZNodeComm();
    ~ZNodeComm() override;

    // Brings the transport up; true when messages can flow.
    virtual bool Connect();
    virtual void Disconnect();
    virtual bool IsConnected() const;
    // How many times the transport has connected, growing with every reconnection: a node that sees
    // it change knows that messages for it may have been lost meanwhile. 1 for a transport that never
    // drops.
    virtual std::uint64_t GetConnectionCount() const;
    // Why the far end turned this client away for good (its credentials, its authorisation); empty
    // while it has not. A transport that was refused does not try again.
    virtual std::string GetRefusal() const;
    // Called once, on a transport thread, when the far end refuses this client for good.
    virtual void SetOnRefused(std::function<void(const std::string&)> onRefused);
    // Why the far end refused the last publication or subscription it refused (its authorisation,
    // its limits), naming the endpoint; empty while none was. Only transports whose far end says so
    // can tell: the default never does.
    virtual std::string GetPublicationRefusal() const;
    // Called on a transport thread for each publication or subscription the far end refuses, with
    // GetPublicationRefusal's text.
    virtual void SetOnPublicationRefused(std::function<void(const std::string&)> onRefused);

    virtual SubscriptionId Subscribe(const ZCommEndpoint& endpoint, Delivery delivery) = 0;
    virtual bool Unsubscribe(SubscriptionId subscription) = 0;
    // Delivers the message to every subscriber of the endpoint; false when it could not be sent.
    // A message flagged m_bRetained is also kept for the endpoint and handed to later subscribers
    // as soon as they subscribe, until another retained message replaces it.
    virtual bool Publish(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) = 0;
    // The message that the transport publishes on the process's behalf when its connection ends
    // without a goodbye (a crash, a lost link); set before Connect. Only networked transports have
    // one: the default refuses with false.
    virtual bool SetLastWill(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message);

    // A deep copy through a binary stream: the copy has the message's serialized content and its
    // sender endpoint, and nothing else of the base. Null on failure.
    std::shared_ptr<ZMessage> CloneMessage(const std::shared_ptr<ZMessage>& message);

    // Sees every message this transport publishes (bSent) and every message it delivers to a
    // subscriber, for a message log; null removes it. Called on the publisher's or the transport's
    // thread, so it must be quick and thread-safe. Subscriptions made before it is set see it too.
    using MessageTap = std::function<void(bool bSent, const ZCommEndpoint& endpoint,
                                          const std::shared_ptr<ZMessage>& message)>;
    void SetMessageTap(MessageTap tap);

    const std::shared_ptr<ZCommManager>& GetCommManager() const { return m_pCommManager; }
    void SetCommManager(std::shared_ptr<ZCommManager> manager) { m_pCommManager = std::move(manager); }

    const char* m_logSource = "ZNodeComm";
    std::int32_t m_logLevel = LOGLEVEL_WARNING;

protected:
    // Wraps a subscriber's delivery so that every message received first stamps the last contact of
    // the node manager its sender belongs to: any message keeps a node manager alive.
    // (and shows it to the message tap).
    Delivery StampingContact(Delivery delivery) const;
    // Shows a message being published to the message tap, if there is one.
    void TapSent(const ZCommEndpoint& endpoint, const std::shared_ptr<ZMessage>& message) const;

    std::shared_ptr<ZCommManager> m_pCommManager;

private:
    struct ZTapSlot;
    std::shared_ptr<ZTapSlot> m_pTap;
};
