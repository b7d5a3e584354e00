#include "NodeComm/ZNodeComm.h"

#include <gtest/gtest.h>

#include "ZMessages/ZCommStream.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/ZFactory.h"
#include "ZTestKit/ZCapturingLogSink.h"

namespace {

// A transport that carries nothing: cloning needs only the base.
class ZQuietComm : public ZNodeComm {
public:
    SubscriptionId Subscribe(const ZCommEndpoint&, Delivery) override { return 0; }
    bool Unsubscribe(SubscriptionId) override { return false; }
    bool Publish(const ZCommEndpoint&, const std::shared_ptr<ZMessage>&) override { return false; }
};

class ZTestRefusesToWrite : public ZMessage {
    Z_FACTORY_CLASS(ZTestRefusesToWrite)

public:
    bool Serialize(const std::shared_ptr<ZCommStream>&) const override { return false; }
};

class ZTestRefusesToRead : public ZMessage {
    Z_FACTORY_CLASS(ZTestRefusesToRead)

public:
    bool Deserialize(const std::shared_ptr<ZCommStream>&) override { return false; }
};

class ZTestNotRegistered : public ZMessage {
    Z_FACTORY_CLASS(ZTestNotRegistered)
};

class ZNodeCommTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ZClassRegistration<ZTestRefusesToWrite>::Register("ZMessage");
        ZClassRegistration<ZTestRefusesToRead>::Register("ZMessage");
    }
    ZQuietComm m_comm;
};

TEST_F(ZNodeCommTest, CloneHasTheContentAndSenderButNothingElseOfTheBase) {
    auto original =
        ZMakeShared<ZGenericResponseMsg>("Connection made.", true, ZFrameworkErrorCodes::ERRCODE_BUSY);
    original->SetSource(ZCommEndpoint(ZNodeUID("NM1"), EP_CONTROL, "topoconnect"));
    original->SetEndpoint(ZCommEndpoint(ZNodeUID("D"), EP_CONTROL, "topoconnect"));
    original->SetDeliveryInfo(4);
    original->SetResponseRequested(true);
    original->m_priority = 50;

    std::shared_ptr<ZMessage> clone = m_comm.CloneMessage(original);

    ASSERT_NE(clone, nullptr);
    ASSERT_NE(clone.get(), original.get());
    auto response = std::dynamic_pointer_cast<ZGenericResponseMsg>(clone);
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->m_text, "Connection made.");
    EXPECT_TRUE(response->m_bSuccess);
    EXPECT_EQ(response->m_errCode, ZFrameworkErrorCodes::ERRCODE_BUSY);
    EXPECT_EQ(clone->GetSource(), original->GetSource());
    EXPECT_EQ(clone->GetEndpoint().m_type, EP_NULL);
    EXPECT_EQ(clone->GetDeliveryInfo(), 0);
    EXPECT_FALSE(clone->GetResponseRequested());
    EXPECT_EQ(clone->m_priority, 5000);
    std::lock_guard<std::mutex> originalHeld(original->m_mutex);
    EXPECT_TRUE(clone->m_mutex.try_lock());  // a lock of its own
    clone->m_mutex.unlock();
}

TEST_F(ZNodeCommTest, FailuresGiveNullWithTheirLine) {
    ZScopedLogCapture capture;

    EXPECT_EQ(m_comm.CloneMessage(ZMakeShared<ZTestRefusesToWrite>()), nullptr);
    EXPECT_EQ(m_comm.CloneMessage(ZMakeShared<ZTestRefusesToRead>()), nullptr);
    EXPECT_EQ(m_comm.CloneMessage(nullptr), nullptr);

    EXPECT_EQ(capture->Count("Message failed to serialize!\n", LOGLEVEL_ERROR), 1u);
    EXPECT_EQ(capture->Count("Message failed to deserialize!\n", LOGLEVEL_ERROR), 1u);
    const auto records = capture->Records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].file, "NodeComm/ZNodeComm");
    EXPECT_EQ(records[0].function, "CloneMessage");
}

TEST_F(ZNodeCommTest, AClassTheFactoryCannotMakeClonesToNull) {
    ZScopedLogCapture capture;

    EXPECT_EQ(m_comm.CloneMessage(ZMakeShared<ZTestNotRegistered>()), nullptr);

    EXPECT_EQ(capture->Count("failed"), 0u);
}

}  // namespace
