#include "ZCoreConfigs/ZCommsParams.h"

#include <gtest/gtest.h>

#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZJSONCommStream.h"

namespace {

void ExpectEqual(const ZCommsParams& a, const ZCommsParams& b) {
    EXPECT_EQ(a.TransportURL, b.TransportURL);
    EXPECT_EQ(a.ConnectTryTimeoutSecs, b.ConnectTryTimeoutSecs);
    EXPECT_EQ(a.ConnectRetries, b.ConnectRetries);
    EXPECT_EQ(a.MaxBufferedMQTTMessages, b.MaxBufferedMQTTMessages);
    EXPECT_EQ(a.bZCoreBlockUntilConnect, b.bZCoreBlockUntilConnect);
    EXPECT_EQ(a.bIsServer, b.bIsServer);
    EXPECT_EQ(a.MaxRetries, b.MaxRetries);
    EXPECT_EQ(a.AckTimeoutMs, b.AckTimeoutMs);
    EXPECT_EQ(a.nThreads, b.nThreads);
    EXPECT_EQ(a.GetNextMessageTimeoutMs, b.GetNextMessageTimeoutMs);
    EXPECT_EQ(a.WarnAfterRetryCount, b.WarnAfterRetryCount);
    EXPECT_EQ(a.MessageDeliveryTimeoutMs, b.MessageDeliveryTimeoutMs);
    EXPECT_EQ(a.MessageGetPriority, b.MessageGetPriority);
    EXPECT_EQ(a.nMaxOutstandingAcks, b.nMaxOutstandingAcks);
    EXPECT_EQ(a.nMaxOutstandingMessages, b.nMaxOutstandingMessages);
    EXPECT_EQ(a.nMaxMessageBytes, b.nMaxMessageBytes);
    EXPECT_EQ(a.bSyncTime, b.bSyncTime);
    EXPECT_EQ(a.debugFilter, b.debugFilter);
    EXPECT_EQ(a.debugPriority, b.debugPriority);
    EXPECT_EQ(a.debugRemoteOnly, b.debugRemoteOnly);
}

TEST(ZCommsParamsTest, WritesAllTwentyKeysInOrderEvenWhenEmpty) {
    ZCommsParams sut;
    auto stream = ZMakeShared<ZJSONCommStream>();

    sut.Serialize(stream);

    std::string text;
    stream->GetData(text);
    std::size_t last = 0;
    for (const char* key : {"TransportURL",
                            "bIsServer",
                            "ConnectTryTimeoutSecs",
                            "ConnectRetries",
                            "bZCoreBlockUntilConnect",
                            "MaxRetries",
                            "AckTimeoutMs",
                            "GetNextMessageTimeoutMs",
                            "WarnAfterRetryCount",
                            "MessageGetPriority",
                            "nThreads",
                            "nMaxOutstandingAcks",
                            "nMaxOutstandingMessages",
                            "nMaxMessageBytes",
                            "MaxBufferedMQTTMessages",
                            "MessageDeliveryTimeoutMs",
                            "bSyncTime",
                            "debugFilter",
                            "debugPriority",
                            "debugRemoteOnly"}) {
        const auto at = text.find("\"" + std::string(key) + "\"");
        ASSERT_NE(at, std::string::npos) << key;
        EXPECT_GT(at, last) << key;
        last = at;
    }
}

TEST(ZCommsParamsTest, RoundTripsThroughBothStreamKinds) {
    ZCommsParams original;
    original.TransportURL = "mqtt://127.0.0.1:1883";
    original.ConnectTryTimeoutSecs = 2.7f;
    original.nMaxMessageBytes = 65536;
    original.bSyncTime = true;
    original.debugFilter = {"ZRadarModeMsg", "ZAntennaConfigMsg"};
    original.debugRemoteOnly = false;
    for (std::shared_ptr<ZCommStream> stream :
         {std::shared_ptr<ZCommStream>(ZMakeShared<ZJSONCommStream>()),
          std::shared_ptr<ZCommStream>(ZMakeShared<ZBinaryCommStream>())}) {
        original.Serialize(stream);
        ZCommsParams sut;

        sut.Deserialize(stream);

        ExpectEqual(sut, original);
        ZCommsParams fresh;
        auto again = stream->CreateChild();
        fresh.Serialize(again);
        sut.Deserialize(again);
        ExpectEqual(sut, fresh);
    }
}

TEST(ZCommsParamsTest, APartialConfigurationKeepsEverythingElse) {
    const std::string text = R"({"bSyncTime": true})";
    auto stream = ZMakeShared<ZJSONCommStream>();
    ASSERT_TRUE(stream->SetData(text.data(), text.size()));
    ZCommsParams sut;

    sut.Deserialize(stream);

    ZCommsParams expected;
    expected.bSyncTime = true;
    ExpectEqual(sut, expected);
    EXPECT_EQ(sut.ConnectTryTimeoutSecs, 1.2f);
}

}  // namespace
