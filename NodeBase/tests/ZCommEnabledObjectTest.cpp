#include "NodeBase/ZCommEnabledObject.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "NodeComm/ZLocalBus.h"
#include "NodeComm/ZNodeCommLocal.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/ZMakeShared.h"
#include "ZTestKit/ZCapturingLogSink.h"
#include "ZTestKit/ZRecordingSubscriber.h"

namespace {

// Records what reaches the internal publication steps, then lets the real ones run.
class ZSpyObject : public ZCommEnabledObject {
    Z_FACTORY_CLASS(ZSpyObject)

public:
    using ZCommEnabledObject::ZCommEnabledObject;

    bool PublishInternal(const ZCommEndpoint& endpoint, std::shared_ptr<ZMessage>& message,
                         std::shared_ptr<ZMessage>* reply, bool b1, bool b2) override {
        ++m_publishCalls;
        return ZCommEnabledObject::PublishInternal(endpoint, message, reply, b1, b2);
    }
    bool PublishResponseInternal(std::shared_ptr<ZMessage> request, std::shared_ptr<ZMessage>& response,
                                 bool b1, bool b2) override {
        m_responseCalls.push_back({request, response});
        return ZCommEnabledObject::PublishResponseInternal(std::move(request), response, b1, b2);
    }

    struct ZCall {
        std::shared_ptr<ZMessage> m_pRequest;
        std::shared_ptr<ZMessage> m_pResponse;
    };
    int m_publishCalls = 0;
    std::vector<ZCall> m_responseCalls;
};

ZCommEndpoint At(const char* uid, ZEndpointType type, const char* name) {
    return ZCommEndpoint(ZNodeUID(uid), type, name);
}

class ZCommEnabledObjectTest : public ::testing::Test {
protected:
    ZCommEnabledObjectTest() { m_pSut->OnInit(m_pComm, nullptr, ZNodeUID("D")); }

    // A request as node X sends it to D.
    std::shared_ptr<ZMessage> RequestFromX() {
        auto request = ZMakeShared<ZGenericResponseMsg>("ping", true);
        request->SetSource(At("X", EP_CONTROL, "ping"));
        request->SetEndpoint(At("D", EP_CONTROL, "ping"));
        return request;
    }

    std::shared_ptr<ZLocalBus> m_pBus = std::make_shared<ZLocalBus>();
    std::shared_ptr<ZNodeCommLocal> m_pComm = std::make_shared<ZNodeCommLocal>(m_pBus);
    std::shared_ptr<ZSpyObject> m_pSut = ZMakeShared<ZSpyObject>("spy");
};

using ZCommEnabledObjectConnectionTest = ZCommEnabledObjectTest;

TEST_F(ZCommEnabledObjectConnectionTest, InitKeepsTransportsAndAnyNonEmptyUid) {
    auto sut = ZMakeShared<ZSpyObject>("spy");
    auto local = std::make_shared<ZNodeCommLocal>(m_pBus);

    EXPECT_TRUE(sut->OnInit(m_pComm, nullptr, ZNodeUID("X")));
    EXPECT_EQ(sut->GetLocalComm(), m_pComm);
    EXPECT_TRUE(sut->OnInit(m_pComm, local, ZNodeUID()));

    EXPECT_EQ(sut->GetUID(), ZNodeUID("X"));
    EXPECT_EQ(sut->GetLocalComm(), local);
    EXPECT_STREQ(sut->m_logSource, "ZSpyObject");
    EXPECT_EQ(sut->GetEndpoint(EP_STATUS, "state", 0), At("X", EP_STATUS, "state"));
}

TEST_F(ZCommEnabledObjectConnectionTest, UnregisterConnectionsToDropsOnlyThatNodesEndpoints) {
    auto handler = [](std::shared_ptr<ZMessage>&) { return true; };
    auto sut = m_pSut;
    sut->Subscribe(At("E", EP_STATUS, "state"), handler);
    sut->Subscribe(At("E", EP_RESPONSE, "ping"), handler);
    sut->Subscribe(At("F", EP_STATUS, "state"), handler);

    sut->UnregisterConnectionsTo(ZNodeUID("E"));

    EXPECT_EQ(sut->SubscriptionCount(), 1u);
    EXPECT_EQ(m_pBus->SubscriberCount(At("E", EP_STATUS, "state")), 0u);
    EXPECT_EQ(m_pBus->SubscriberCount(At("E", EP_RESPONSE, "ping")), 0u);
    EXPECT_EQ(m_pBus->SubscriberCount(At("F", EP_STATUS, "state")), 1u);
}

using ZCommEnabledObjectPublishTest = ZCommEnabledObjectTest;

TEST_F(ZCommEnabledObjectPublishTest, StampsSenderAndEndpointAndTakesThePointer) {
    ZRecordingSubscriber atD(m_pComm, At("Q", EP_CONTROL, "addnode"));
    auto message = ZMakeShared<ZGenericResponseMsg>("add", true);
    message->SetDeliveryInfo(2);
    auto sut = m_pSut;

    sut->Publish(At("Q", EP_CONTROL, "addnode"), message);

    EXPECT_EQ(message, nullptr);
    ASSERT_EQ(atD.Count(), 1u);
    const auto received = atD.Last<ZGenericResponseMsg>();
    ASSERT_NE(received, nullptr);
    EXPECT_EQ(received->GetSource(), At("D", EP_CONTROL, "addnode"));
    EXPECT_EQ(received->GetEndpoint(), At("Q", EP_CONTROL, "addnode"));
    EXPECT_EQ(received->GetDeliveryInfo(), 2);
}

TEST_F(ZCommEnabledObjectPublishTest, NonMessageLogsTheCastAndAssertionAndPublishesNothing) {
    ZRecordingSubscriber listener(m_pComm, At("Q", EP_CONTROL, "addnode"));
    std::shared_ptr<ZCommEnabledObject> notAMessage = ZMakeShared<ZCommEnabledObject>("other");
    std::shared_ptr<ZGenericResponseMsg> none;
    ZScopedLogCapture capture;
    auto sut = m_pSut;

    sut->Publish(At("Q", EP_CONTROL, "addnode"), notAMessage);
    sut->Publish(At("Q", EP_CONTROL, "addnode"), none);

    EXPECT_NE(notAMessage, nullptr);
    EXPECT_EQ(listener.Count(), 0u);
    EXPECT_EQ(sut->m_publishCalls, 0);
    const auto records = capture->Records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].level, LOGLEVEL_ERROR);
    EXPECT_EQ(records[0].text,
              "ZCAST(ZMessage, pMessageSubclass) failed: Expected Base Class: ZMessage, " +
                  ZShared::CID::GetIsKindOfDebugString(ZMessage::m_cid, notAMessage->GetCID()));
    EXPECT_EQ(records[1].level, LOGLEVEL_ERROR);
    EXPECT_EQ(records[1].text, "Assertion failed in <NodeBase/ZCommEnabledObject> at <" +
                                   std::to_string(records[1].line) + ">!");
    for (const auto& record : records) {
        EXPECT_EQ(record.file, "NodeBase/ZCommEnabledObject");
        EXPECT_EQ(record.function, "Publish");
        EXPECT_EQ(record.line, records[0].line);
    }
}

using ZCommEnabledObjectResponseTest = ZCommEnabledObjectTest;

TEST_F(ZCommEnabledObjectResponseTest, AnswerReachesTheRequestersResponseEndpoint) {
    ZRecordingSubscriber atX(m_pComm, At("X", EP_RESPONSE, "ping"));
    auto answer = ZMakeShared<ZGenericResponseMsg>("pong", true);
    auto sut = m_pSut;

    EXPECT_TRUE(sut->PublishResponse(RequestFromX(), answer, false, false));

    EXPECT_EQ(answer, nullptr);
    ASSERT_EQ(atX.Count(), 1u);
    EXPECT_EQ(atX.Last<ZGenericResponseMsg>()->m_text, "pong");
    EXPECT_EQ(atX.Last<ZMessage>()->GetSource(), At("D", EP_RESPONSE, "ping"));
    EXPECT_EQ(atX.Last<ZMessage>()->GetEndpoint(), At("X", EP_RESPONSE, "ping"));
}

TEST_F(ZCommEnabledObjectResponseTest, RequestAnsweredWithItselfStillGoesBackToItsSender) {
    ZRecordingSubscriber atX(m_pComm, At("X", EP_RESPONSE, "ping"));
    auto request = RequestFromX();
    auto sameObject = request;
    auto sut = m_pSut;

    sut->PublishResponse(request, sameObject, false, false);

    ASSERT_EQ(atX.Count(), 1u);
    EXPECT_EQ(atX.Messages()[0].get(), request.get());
    EXPECT_EQ(request->GetSource(), At("D", EP_RESPONSE, "ping"));
}

TEST_F(ZCommEnabledObjectResponseTest, MissingResponseLogsTheSecondCheckAndIsStillHandedOnAsNull) {
    auto sut = m_pSut;
    std::shared_ptr<ZGenericResponseMsg> none;
    ZScopedLogCapture capture;
    sut->PublishResponse(nullptr, none, false, false);
    const auto bothChecks = capture->Records();
    ASSERT_EQ(bothChecks.size(), 3u);  // the two checks, then the missing request
    capture->Clear();
    sut->m_responseCalls.clear();

    EXPECT_FALSE(sut->PublishResponse(RequestFromX(), none, true, false));

    const auto records = capture->Records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].level, LOGLEVEL_ERROR);
    EXPECT_EQ(records[0].function, "PublishResponse");
    EXPECT_EQ(records[0].line, bothChecks[1].line);
    EXPECT_NE(records[0].line, bothChecks[0].line);
    EXPECT_EQ(records[0].text, "Assertion failed in <NodeBase/ZCommEnabledObject> at <" +
                                   std::to_string(bothChecks[1].line) + ">!");
    EXPECT_EQ(records[1].level, LOGLEVEL_WARNING);
    EXPECT_NE(records[1].text.find("response/X/ping"), std::string::npos);
    ASSERT_EQ(sut->m_responseCalls.size(), 1u);
    EXPECT_NE(sut->m_responseCalls[0].m_pRequest, nullptr);
    EXPECT_EQ(sut->m_responseCalls[0].m_pResponse, nullptr);
}

}  // namespace
