#include "ZMessages/ZCommEndpoint.h"

#include <gtest/gtest.h>

#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZJSONCommStream.h"

namespace {

ZCommEndpoint Parsed(std::string_view text, ZCommEndpoint start = {}) {
    start.Parse(text);
    return start;
}

ZCommEndpoint Endpoint(const char* uid, ZEndpointType type, const char* name) {
    return ZCommEndpoint(ZNodeUID(uid), type, name);
}

TEST(ZCommEndpointTest, TextForm) {
    EXPECT_EQ(Endpoint("U", EP_CONTROL, "addnode").AsString(), "control/U/addnode");
    EXPECT_EQ(Endpoint("U", EP_CONTROL, "").AsString(), "control/U");
    EXPECT_EQ(Endpoint("U", EP_NULL, "x").AsString(), "null");  // whatever UID and name hold
    EXPECT_EQ(Endpoint("U", static_cast<ZEndpointType>(9), "x").AsString(), "/U/x");
    EXPECT_EQ(Endpoint("", EP_ACK, "").AsString(), "ack/");
}

TEST(ZCommEndpointTest, ParsesWellFormedAndOddTexts) {
    EXPECT_EQ(Parsed("status/U"), Endpoint("U", EP_STATUS, ""));
    EXPECT_EQ(Parsed("status/U/"), Endpoint("U", EP_STATUS, ""));
    EXPECT_EQ(Parsed("control/U/a/b"), Endpoint("U", EP_CONTROL, "a/b"));
    EXPECT_EQ(Parsed("bogus/U/x"), Endpoint("U", EP_NULL, "x"));
    EXPECT_EQ(Parsed("Control/U/x").m_type, EP_NULL);  // kind names are exact
    EXPECT_EQ(Parsed("response//x"), Endpoint("", EP_RESPONSE, "x"));
}

TEST(ZCommEndpointTest, TextsWithoutAUidPartChangeOnlyWhatTheyName) {
    const ZCommEndpoint before = Endpoint("Old", EP_TELEM, "name");

    EXPECT_EQ(Parsed("null", before), before);
    EXPECT_EQ(Parsed("", before), before);
    EXPECT_EQ(Parsed("control", before), before);
    EXPECT_EQ(Parsed("control/", before), Endpoint("Old", EP_CONTROL, "name"));
}

TEST(ZCommEndpointTest, EveryKindRoundTripsThroughItsText) {
    for (int type = EP_CONFIG; type <= EP_ACK; ++type) {
        for (const char* name : {"", "addnode", "a/b/c"}) {
            const ZCommEndpoint original = Endpoint("Node-7", static_cast<ZEndpointType>(type), name);
            const ZString text = original.AsString();
            EXPECT_EQ(Parsed(std::string_view(text.data(), text.size())), original) << text.c_str();
        }
    }
}

TEST(ZCommEndpointTest, KindTableHasTheNineTexts) {
    const char* texts[] = {"null",     "config",   "control", "status", "telem",
                           "response", "progress", "direct",  "ack"};
    for (int type = EP_NULL; type <= EP_ACK; ++type) {
        EXPECT_STREQ(ZEndpointTypeConv::EndpointTypeToStr(static_cast<ZEndpointType>(type)), texts[type]);
        EXPECT_EQ(ZEndpointTypeConv::StrToEndpointType(texts[type]), type);
    }
    EXPECT_EQ(ZEndpointTypeConv::StrToEndpointType("anything"), EP_NULL);
    EXPECT_STREQ(ZEndpointTypeConv::EndpointTypeToStr(static_cast<ZEndpointType>(-1)), "");
}

TEST(ZCommEndpointTest, EqualityAndOrderIgnoreTheFurtherMembers) {
    ZCommEndpoint a = Endpoint("U", EP_STATUS, "x");
    ZCommEndpoint b = a;
    b.m_qos = 2;
    b.m_userData = 99;
    EXPECT_EQ(a, b);
    EXPECT_FALSE(a < b || b < a);
    EXPECT_NE(a, Endpoint("U", EP_CONTROL, "x"));
}

TEST(ZCommEndpointTest, ReadsAndWritesItsTextUnderAKey) {
    auto stream = ZMakeShared<ZJSONCommStream>();
    std::shared_ptr<ZCommStream> sut = stream;
    Endpoint("D", EP_CONTROL, "finduid").Serialize(sut, "to");
    ZCommEndpoint read = Endpoint("keep", EP_ACK, "me");

    EXPECT_FALSE(read.Deserialize(sut, "absent"));
    EXPECT_EQ(read, Endpoint("keep", EP_ACK, "me"));
    EXPECT_TRUE(read.Deserialize(sut, "to"));
    EXPECT_EQ(read, Endpoint("D", EP_CONTROL, "finduid"));
}

TEST(ZCommEndpointTest, WritesTheSameTextToEitherStreamWhateverItsLength) {
    const std::string longName(300, 'n');
    const ZCommEndpoint endpoints[] = {Endpoint("D", EP_CONTROL, "finduid"), Endpoint("D", EP_STATUS, ""),
                                       Endpoint("", EP_ACK, ""), ZCommEndpoint(),
                                       Endpoint("D", EP_TELEM, longName.c_str())};
    for (const ZCommEndpoint& endpoint : endpoints) {
        for (std::shared_ptr<ZCommStream> stream :
             {std::shared_ptr<ZCommStream>(ZMakeShared<ZBinaryCommStream>()),
              std::shared_ptr<ZCommStream>(ZMakeShared<ZJSONCommStream>())}) {
            ZString text;
            ZCommEndpoint read = Endpoint("keep", EP_ACK, "me");

            EXPECT_TRUE(endpoint.Serialize(stream, "to"));
            EXPECT_TRUE(stream->Deserialize("to", text));
            EXPECT_TRUE(read.Deserialize(stream, "to"));

            EXPECT_EQ(text, endpoint.AsString()) << stream->ClassName();
            const ZString expected = endpoint.AsString();
            EXPECT_EQ(read, Parsed(std::string_view(expected.data(), expected.size()),
                                   Endpoint("keep", EP_ACK, "me")));
        }
    }
}

}  // namespace
