#include "NodeBase/ZNode.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/ZMakeShared.h"
#include "ZTestKit/ZCapturingLogSink.h"
#include "ZTestKit/ZManualClock.h"
#include "ZTestKit/ZPumpDriver.h"

namespace {

constexpr auto kGenerous = std::chrono::seconds(20);

ZCommEndpoint Control(const char* uid, const char* name) {
    return ZCommEndpoint(ZNodeUID(uid), EP_CONTROL, name);
}

std::shared_ptr<ZMessage> Text(const std::string& text) {
    return ZMakeShared<ZGenericResponseMsg>(ToZString(text), true);
}

std::string TextOf(const std::shared_ptr<ZMessage>& message) {
    auto generic = std::dynamic_pointer_cast<ZGenericResponseMsg>(message);
    return generic ? ToStdString(generic->m_text) : "";
}

bool Ready(std::future<void> future) {
    return future.wait_for(kGenerous) == std::future_status::ready;
}

// A node whose start steps, message map and idle work a test scripts and observes.
class ZTestNode : public ZNode {
    Z_FACTORY_CLASS(ZTestNode)

public:
    using ZNode::ZNode;
    ~ZTestNode() override { StopAction(true); }

    bool OnInit(std::shared_ptr<ZNodeComm> comm, std::shared_ptr<ZNodeComm> localComm,
                ZNodeUID uid) override {
        m_steps.push_back("OnInit");
        return ZNode::OnInit(std::move(comm), std::move(localComm), std::move(uid));
    }
    bool InitMessageMap() override {
        m_steps.push_back("InitMessageMap");
        return !m_messageMap || m_messageMap(*this);
    }
    void OnConnecting() override { m_steps.push_back("OnConnecting"); }
    bool OnConnected() override {
        m_steps.push_back("OnConnected");
        return true;
    }
    bool OnIdle() override {
        ++m_idleCalls;  // unguarded on purpose: tests read it only once the pump has stopped
        if (m_onIdle) {
            m_onIdle();
        }
        return true;
    }
    bool OnShutdown(bool wait) override {
        ++m_shutdownCalls;
        return ZNode::OnShutdown(wait);
    }

    // Subscribes a handler on this node's control endpoint of that name.
    bool On(const char* name, std::function<void(std::shared_ptr<ZMessage>&)> handler) {
        return Subscribe(GetEndpoint(EP_CONTROL, name, 0), [handler](std::shared_ptr<ZMessage>& message) {
            handler(message);
            return true;
        });
    }

    std::function<bool(ZTestNode&)> m_messageMap;
    std::function<void()> m_onIdle;
    std::vector<std::string> m_steps;
    int m_idleCalls = 0;
    std::atomic<int> m_shutdownCalls{0};
};

class ZNodeTest : public ::testing::Test {
protected:
    std::shared_ptr<ZNodeCommLocal> NewComm() const { return std::make_shared<ZNodeCommLocal>(m_pBus); }

    // Initialized without a pump thread: the test pumps, or starts the thread itself.
    std::shared_ptr<ZTestNode> Node(const char* uid, std::function<bool(ZTestNode&)> messageMap = nullptr) {
        auto node = ZMakeShared<ZTestNode>(uid);
        node->m_messageMap = std::move(messageMap);
        EXPECT_TRUE(node->Initialize(NewComm(), nullptr, ZNodeUID(uid)));
        return node;
    }

    std::shared_ptr<ZLocalBus> m_pBus = std::make_shared<ZLocalBus>();
    std::shared_ptr<ZNodeCommLocal> m_pPublisher = NewComm();
    std::vector<std::string> m_log;
};

using ZNodeStartTest = ZNodeTest;

TEST_F(ZNodeStartTest, RunsTheStepsInOrder) {
    auto sut = Node("D");

    EXPECT_EQ(sut->m_steps,
              (std::vector<std::string>{"OnInit", "InitMessageMap", "OnConnecting", "OnConnected"}));
    EXPECT_FALSE(sut->InShutdown());
}

TEST_F(ZNodeStartTest, FailedMessageMapStopsTheStart) {
    auto sut = ZMakeShared<ZTestNode>("D");
    sut->m_messageMap = [](ZTestNode& node) {
        node.On("ping", [](auto&) {});
        return false;
    };
    ZScopedLogCapture capture;

    EXPECT_FALSE(sut->Initialize(NewComm(), nullptr, ZNodeUID("D")));

    EXPECT_EQ(sut->m_steps, (std::vector<std::string>{"OnInit", "InitMessageMap"}));
    EXPECT_EQ(capture->Count("InitMessageMap failed", LOGLEVEL_ERROR), 1u);
    EXPECT_TRUE(sut->InShutdown());
    EXPECT_EQ(m_pBus->SubscriptionCount(), 0u);
    EXPECT_FALSE(sut->StartPump());
}

using ZNodePumpTest = ZNodeTest;

TEST_F(ZNodePumpTest, DeliversInArrivalOrderToEachEndpointsHandlerAndIdlesOnlyOnceTheQueueIsEmpty) {
    auto sut = Node("D", [this](ZTestNode& node) {
        return node.On("a", [this](auto& m) { m_log.push_back("a:" + TextOf(m)); }) &&
               node.On("b", [this](auto& m) { m_log.push_back("b:" + TextOf(m)); });
    });
    ZManualClock clock;
    for (const char* text : {"a1", "b1", "a2", "b2"}) {
        m_pPublisher->Publish(Control("D", std::string(text, 1).c_str()), Text(text));
    }

    const bool first = sut->PumpOne();
    const std::vector<std::string> afterOne = m_log;
    const int idleWhileQueued = sut->m_idleCalls;
    std::size_t rest = 0;
    while (sut->PumpOne()) {
        ++rest;
    }
    const int idleAfterDrain = sut->m_idleCalls;
    clock.Advance(std::chrono::seconds(3));
    const std::size_t deliveredWhenEmpty = sut->PumpUntilIdle();

    EXPECT_TRUE(first);
    EXPECT_EQ(afterOne, (std::vector<std::string>{"a:a1"}));
    EXPECT_EQ(rest, 3u);
    EXPECT_EQ(m_log, (std::vector<std::string>{"a:a1", "b:b1", "a:a2", "b:b2"}));
    EXPECT_EQ(idleWhileQueued, 0);
    EXPECT_EQ(idleAfterDrain, 1);
    EXPECT_EQ(deliveredWhenEmpty, 0u);
    EXPECT_EQ(sut->m_idleCalls, 2);
    EXPECT_EQ(sut->GetLastIdleTime(), clock.Now());
}

TEST_F(ZNodePumpTest, RequestIsAnsweredOnTheRequestersResponseEndpoint) {
    std::vector<std::shared_ptr<ZMessage>> answers;
    auto requester = Node("X", [&answers](ZTestNode& node) {
        return node.Subscribe(node.GetEndpoint(EP_RESPONSE, "ping", 0),
                              [&answers](std::shared_ptr<ZMessage>& m) {
                                  answers.push_back(m);
                                  return true;
                              });
    });
    auto sut = Node("D", [](ZTestNode& node) {
        return node.On("ping", [&node](std::shared_ptr<ZMessage>& request) {
            auto answer =
                ZMakeShared<ZGenericResponseMsg>(node.InShutdown() ? "shutting down" : "pong", true);
            node.PublishResponse(request, answer, false, false);
        });
    });
    auto request = Text("ping");
    auto requestInShutdown = Text("ping");
    ZPumpDriver driver;

    requester->Publish(Control("D", "ping"), request);
    const std::size_t delivered = driver.RunUntilQuiet({requester, sut});
    sut->BeginShutdown();
    requester->Publish(Control("D", "ping"), requestInShutdown);
    driver.RunUntilQuiet({requester, sut});

    EXPECT_EQ(delivered, 2u);
    EXPECT_TRUE(driver.WasQuiet());
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(TextOf(answers[0]), "pong");
    EXPECT_EQ(answers[0]->GetSource(), ZCommEndpoint(ZNodeUID("D"), EP_RESPONSE, "ping"));
    EXPECT_EQ(TextOf(answers[1]), "shutting down");
}

using ZNodePumpThreadTest = ZNodeTest;

TEST_F(ZNodePumpThreadTest, DeliversAndIdlesOnItsOwnThreadUntilJoined) {
    std::promise<std::thread::id> handled;
    std::promise<void> idledAfterwards;
    std::atomic<bool> handledOnce{false};
    auto sut = Node("D", [&](ZTestNode& node) {
        return node.On("work", [&](auto&) {
            handled.set_value(std::this_thread::get_id());
            handledOnce = true;
        });
    });
    sut->m_onIdle = [&, signalled = false]() mutable {
        if (handledOnce && !std::exchange(signalled, true)) {
            idledAfterwards.set_value();
        }
    };
    sut->SetIdleInterval(std::chrono::milliseconds(5));
    ASSERT_TRUE(sut->StartPump());
    ZScopedLogCapture capture;
    auto handledOn = handled.get_future();

    m_pPublisher->Publish(Control("D", "work"), Text("w"));
    const bool handledThenIdled =
        handledOn.wait_for(kGenerous) == std::future_status::ready && Ready(idledAfterwards.get_future());
    const bool manualPumpAllowed = sut->PumpOne();
    sut->StopAction(true);

    ASSERT_TRUE(handledThenIdled);
    EXPECT_NE(handledOn.get(), std::this_thread::get_id());
    EXPECT_GE(sut->m_idleCalls, 1);  // a data race, were the thread not joined
    EXPECT_FALSE(manualPumpAllowed);
    EXPECT_EQ(capture->Count("PumpOne refused", LOGLEVEL_WARNING), 1u);
    EXPECT_FALSE(sut->IsPumpRunning());
}

TEST_F(ZNodePumpThreadTest, NodeDestroyedWhileItsPumpRunsStopsCleanly) {
    std::promise<void> idled;
    auto sut = Node("D", [](ZTestNode& node) { return node.On("work", [](auto&) {}); });
    sut->m_onIdle = [&idled, signalled = false]() mutable {
        if (!std::exchange(signalled, true)) {
            idled.set_value();
        }
    };
    sut->SetIdleInterval(std::chrono::milliseconds(1));
    ASSERT_TRUE(sut->StartPump());
    ASSERT_TRUE(Ready(idled.get_future()));
    std::weak_ptr<ZTestNode> watch = sut;

    sut.reset();

    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(m_pBus->SubscriptionCount(), 0u);
}

TEST_F(ZNodePumpThreadTest, HandlerMayStopOrReleaseItsOwnNode) {
    std::promise<void> stopped;
    // Shared with the handler: nothing joins the thread of a node destroyed on it.
    auto released = std::make_shared<std::promise<void>>();
    auto releasedDone = released->get_future();
    auto sut = Node("D", [&stopped](ZTestNode& node) {
        return node.On("stop", [&](auto&) {
            node.StopAction(true);
            stopped.set_value();
        });
    });
    auto owned = Node("E");
    owned->On("drop", [&owned, released](auto&) {
        owned.reset();  // the last owner: the node is destroyed on its own pump thread
        released->set_value();
    });
    ASSERT_TRUE(sut->StartPump() && owned->StartPump());

    m_pPublisher->Publish(Control("D", "stop"), Text("stop"));
    m_pPublisher->Publish(Control("E", "drop"), Text("drop"));

    ASSERT_TRUE(Ready(stopped.get_future()));
    ASSERT_TRUE(Ready(std::move(releasedDone)));
    sut->StopAction(true);
    EXPECT_EQ(sut->m_shutdownCalls, 1);
    EXPECT_EQ(m_pBus->SubscriptionCount(), 0u);
}

TEST_F(ZNodePumpThreadTest, ManyPublishersOneNodeKeepEachPublishersOrder) {
    constexpr int kThreads = 4;
    constexpr int kEach = 100;
    std::mutex mutex;
    std::condition_variable arrived;
    std::atomic<bool> inside{false};
    std::atomic<int> overlaps{0};
    auto exclusively = [&](const std::function<void()>& work) {
        overlaps += inside.exchange(true) ? 1 : 0;
        work();
        inside = false;
    };
    auto sut = Node("D", [&](ZTestNode& node) {
        return node.On("load", [&](auto& message) {
            std::lock_guard<std::mutex> lock(mutex);
            exclusively([&] { m_log.push_back(TextOf(message)); });
            arrived.notify_all();
        });
    });
    sut->m_onIdle = [&] { exclusively([] {}); };
    sut->SetIdleInterval(std::chrono::milliseconds(1));
    ASSERT_TRUE(sut->StartPump());

    std::vector<std::thread> publishers;
    for (int t = 0; t < kThreads; ++t) {
        publishers.emplace_back([this, t] {
            auto comm = NewComm();
            for (int i = 0; i < kEach; ++i) {
                comm->Publish(Control("D", "load"), Text(std::to_string(t) + " " + std::to_string(i)));
            }
        });
    }
    for (auto& publisher : publishers) {
        publisher.join();
    }
    bool all = false;
    {
        std::unique_lock<std::mutex> lock(mutex);
        all =
            arrived.wait_for(lock, kGenerous, [&] { return m_log.size() == std::size_t{kThreads * kEach}; });
    }
    sut->StopAction(true);

    ASSERT_TRUE(all);
    EXPECT_EQ(overlaps, 0);
    std::vector<int> next(kThreads, 0);
    for (const auto& entry : m_log) {
        EXPECT_EQ(std::stoi(entry.substr(entry.find(' ') + 1)), next[std::stoi(entry)]++) << entry;
    }
}

}  // namespace
