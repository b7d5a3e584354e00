#include "ZTopologyRequest.h"

#include <condition_variable>
#include <mutex>

#include "NodeBase/ZTopologyMsg.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/ZMakeShared.h"
#include "ZShared/ZPlatform.h"

struct ZTopologyRequest::ZGuarded {
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_bRefused = false;  // the broker refused a request
};

ZTopologyRequest::ZTopologyRequest(std::shared_ptr<ZNodeComm> comm, const ZNodeUID& discoveryUID,
                                   const ZNodeUID& asker)
    : m_pComm(std::move(comm)),
      m_discoveryUID(discoveryUID),
      m_asker(asker),
      m_pGuarded(std::make_shared<ZGuarded>()) {
    if (m_pComm) {
        m_pComm->SetOnPublicationRefused([guarded = m_pGuarded](const std::string&) {
            {
                std::lock_guard<std::mutex> lock(guarded->m_mutex);
                guarded->m_bRefused = true;
            }
            guarded->m_cv.notify_all();
        });
    }
}

ZTopologyRequest::~ZTopologyRequest() {
    if (m_pComm) {
        m_pComm->SetOnPublicationRefused(nullptr);
    }
    for (const auto subscription : m_listeners) {
        m_pComm->Unsubscribe(subscription);
    }
}

bool ZTopologyRequest::Send(const char* name, std::shared_ptr<ZMessage> request, const ZNodeUID& as) {
    if (!m_pComm || !request) {
        return false;
    }
    request->SetSource(ZCommEndpoint(as, EP_CONTROL, name));
    const ZCommEndpoint endpoint(m_discoveryUID, EP_CONTROL, name);
    request->SetEndpoint(endpoint);
    return m_pComm->Publish(endpoint, request);
}

bool ZTopologyRequest::Tell(const char* name, std::shared_ptr<ZMessage> request) {
    return Send(name, std::move(request), m_asker);
}

std::shared_ptr<ZMessage> ZTopologyRequest::AskFor(const char* name, std::shared_ptr<ZMessage> request,
                                                   const std::function<bool(const ZMessage&)>& accept,
                                                   std::chrono::milliseconds timeout, const ZNodeUID& as) {
    if (!m_pComm || !request) {
        return nullptr;
    }
    const ZNodeUID sender = as.IsEmpty() ? m_asker : as;
    // Shared with the delivery, which may still run once this function has given up.
    auto answer = std::make_shared<std::shared_ptr<ZMessage>>();
    const auto subscription =
        m_pComm->Subscribe(ZCommEndpoint(sender, EP_RESPONSE, name),
                           [guarded = m_pGuarded, answer, accept](const ZCommEndpoint&,
                                                                  const std::shared_ptr<ZMessage>& message) {
                               if (!message || !accept(*message)) {
                                   return;
                               }
                               {
                                   std::lock_guard<std::mutex> lock(guarded->m_mutex);
                                   if (!*answer) {
                                       *answer = message;
                                   }
                               }
                               guarded->m_cv.notify_all();
                           });
    if (subscription == 0) {
        return nullptr;
    }
    request->SetResponseRequested(true);
    std::shared_ptr<ZMessage> received;
    const auto& guarded = *m_pGuarded;
    if (Send(name, std::move(request), sender) &&
        Wait([&answer, &guarded] { return *answer != nullptr || guarded.m_bRefused; }, timeout)) {
        std::lock_guard<std::mutex> lock(m_pGuarded->m_mutex);
        received = *answer;
    }
    m_pComm->Unsubscribe(subscription);
    return received;
}

std::shared_ptr<ZTopologyMsg> ZTopologyRequest::FetchTopology(std::chrono::milliseconds timeout) {
    return Ask<ZTopologyMsg>("gettopo", ZMakeShared<ZTopologyMsg>(), timeout);
}

bool ZTopologyRequest::Listen(const char* name, Listener listener) {
    if (!m_pComm || !listener) {
        return false;
    }
    const auto subscription = m_pComm->Subscribe(
        ZCommEndpoint(m_discoveryUID, EP_STATUS, name),
        [guarded = m_pGuarded, listener](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
            {
                std::lock_guard<std::mutex> lock(guarded->m_mutex);
                listener(message);
            }
            guarded->m_cv.notify_all();
        });
    if (subscription == 0) {
        return false;
    }
    m_listeners.push_back(subscription);
    return true;
}

bool ZTopologyRequest::Wait(const std::function<bool()>& ready, std::chrono::milliseconds timeout) {
    const ZSteadyTimePoint deadline = ZPlatform::SteadyNow() + timeout;
    std::unique_lock<std::mutex> lock(m_pGuarded->m_mutex);
    while (!ready()) {
        const ZSteadyTimePoint now = ZPlatform::SteadyNow();
        if (now >= deadline) {
            return false;
        }
        if (m_step) {
            // Deliveries take the lock: the step may publish, and the bus delivers on this thread.
            lock.unlock();
            m_step();
            lock.lock();
        } else {
            m_pGuarded->m_cv.wait_for(lock, deadline - now);
        }
    }
    return true;
}

std::string ZTopologyRequest::GetPublicationRefusal() const {
    return m_pComm ? m_pComm->GetPublicationRefusal() : std::string();
}

void ZTopologyRequest::WithLock(const std::function<void()>& read) {
    std::lock_guard<std::mutex> lock(m_pGuarded->m_mutex);
    read();
}

std::shared_ptr<ZTopologyMsg> ZTopologyRequest::Fetch(const std::shared_ptr<ZNodeComm>& comm,
                                                      const ZNodeUID& discoveryUID, const ZNodeUID& asker,
                                                      std::chrono::milliseconds timeout) {
    ZTopologyRequest request(comm, discoveryUID, asker);
    return request.FetchTopology(timeout);
}

std::string ZTopologyRequest::JSON(const ZTopologyMsg& topology) {
    auto stream = ZMakeShared<ZJSONCommStream>();
    std::string text;
    if (!topology.SerializeClass(stream) || !stream->GetData(text)) {
        return std::string();
    }
    return text;
}

bool ZTopologyRequest::WriteJSON(const ZTopologyMsg& topology, const std::string& path) {
    auto stream = ZMakeShared<ZJSONCommStream>();
    return topology.SerializeClass(stream) && stream->GetDataToFile(path.c_str());
}
