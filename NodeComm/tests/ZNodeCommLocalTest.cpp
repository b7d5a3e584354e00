#include "NodeComm/ZNodeCommLocal.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "NodeComm/ZLocalBus.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZMakeShared.h"
#include "ZTestKit/ZRecordingSubscriber.h"

namespace {

ZCommEndpoint Control(const char* uid, const char* name) {
    return ZCommEndpoint(ZNodeUID(uid), EP_CONTROL, name);
}

std::shared_ptr<ZMessage> Text(const char* text) {
    return ZMakeShared<ZGenericResponseMsg>(text, true);
}

class ZNodeCommLocalTest : public ::testing::Test {
protected:
    std::shared_ptr<ZLocalBus> m_pBus = std::make_shared<ZLocalBus>();
    std::shared_ptr<ZNodeCommLocal> m_pComm = std::make_shared<ZNodeCommLocal>(m_pBus);
};

TEST_F(ZNodeCommLocalTest, PublicationReachesEverySubscriberOfTheEndpointAndNoOther) {
    auto otherComm = std::make_shared<ZNodeCommLocal>(m_pBus);
    ZRecordingSubscriber first(m_pComm, Control("D", "ping"));
    ZRecordingSubscriber second(otherComm, Control("D", "ping"));
    ZRecordingSubscriber otherName(m_pComm, Control("D", "pong"));
    ZRecordingSubscriber otherNode(m_pComm, Control("E", "ping"));
    ZRecordingSubscriber otherKind(m_pComm, ZCommEndpoint(ZNodeUID("D"), EP_STATUS, "ping"));
    auto sut = m_pComm;
    auto message = Text("hello");

    EXPECT_TRUE(sut->Publish(Control("D", "ping"), message));

    ASSERT_EQ(first.Count(), 1u);
    ASSERT_EQ(second.Count(), 1u);
    EXPECT_EQ(first.Messages()[0].get(), message.get());
    EXPECT_EQ(second.Messages()[0].get(), message.get());
    EXPECT_EQ(otherName.Count() + otherNode.Count() + otherKind.Count(), 0u);
}

TEST_F(ZNodeCommLocalTest, PublicationWithoutSubscriberSucceedsAndIsCounted) {
    auto sut = m_pComm;

    EXPECT_TRUE(sut->Publish(ZCommEndpoint(ZNodeUID("D"), EP_STATUS, "state"), Text("up")));
    EXPECT_TRUE(sut->Publish(ZCommEndpoint(ZNodeUID("D"), EP_STATUS, "state"), Text("up")));

    EXPECT_EQ(sut->GetUnheardCount(), 2u);
}

TEST_F(ZNodeCommLocalTest, ADeliveryMayPublishAndUnsubscribeAgain) {
    ZRecordingSubscriber forwarded(m_pComm, Control("E", "relay"));
    ZNodeComm::SubscriptionId self = 0;
    auto sut = m_pComm;
    self = sut->Subscribe(Control("D", "relay"),
                          [&](const ZCommEndpoint&, const std::shared_ptr<ZMessage>& message) {
                              sut->Publish(Control("E", "relay"), message);
                              sut->Unsubscribe(self);
                          });

    sut->Publish(Control("D", "relay"), Text("x"));
    sut->Publish(Control("D", "relay"), Text("y"));

    EXPECT_EQ(forwarded.Count(), 1u);
}

TEST(ZNodeCommLocalFactoryTest, MakesATransportOnTheDefaultBus) {
    auto sut = std::dynamic_pointer_cast<ZNodeCommLocal>(ZShared::ZFactory::CreateShared("ZNodeCommLocal"));

    ASSERT_NE(sut, nullptr);
    EXPECT_TRUE(ZShared::CID::IsKindOf(ZNodeComm::m_cid, sut->GetCID()));
    EXPECT_EQ(sut->GetBus(), ZLocalBus::Default());
}

TEST_F(ZNodeCommLocalTest, ConcurrentPublishersAndSubscribersLoseNothing) {
    constexpr int kThreads = 4;
    constexpr int kEach = 200;
    ZRecordingSubscriber listener(m_pComm, Control("D", "load"));
    auto sut = m_pComm;
    std::vector<std::thread> threads;

    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kEach; ++i) {
                sut->Publish(Control("D", "load"), Text("x"));
                const auto churn =
                    sut->Subscribe(Control("D", t % 2 ? "odd" : "even"),
                                   [](const ZCommEndpoint&, const std::shared_ptr<ZMessage>&) {});
                sut->Unsubscribe(churn);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(listener.Count(), static_cast<std::size_t>(kThreads * kEach));
    EXPECT_EQ(m_pBus->SubscriptionCount(), 1u);
}

}  // namespace
