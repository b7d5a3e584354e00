#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "NodeBase/ZDiscoveryConnectMsg.h"
#include "NodeBase/ZDiscoveryDeleteMsg.h"
#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZDiscoveryFindUIDMsg.h"
#include "NodeBase/ZDiscoveryLockUnlockMsg.h"
#include "NodeBase/ZDiscoveryManagerMsg.h"
#include "NodeBase/ZDiscoveryMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZDiscoveryPluginMsg.h"
#include "NodeBase/ZDiscoveryRequestMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZDiscoveryRequestMsg.h"
#include "NodeBase/ZDiscoveryTopoChangeNotificationMsg.h"
#include "NodeBase/ZNodeUIDMsg.h"
#include "NodeBase/ZNodesDisconnectedMsg.h"
#include "NodeBase/ZOnlineStatusMsg.h"
#include "NodeBase/ZRemovalHistoryMsg.h"
#include "NodeBase/ZRemoveNodeManagerMsg.h"
#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZTestKit/ZTestStreams.h"

namespace {

// Every member of a message as text, so that any two messages of a class compare member by member.
using ZFields = std::vector<std::string>;

std::string Text(const ZString& value) {
    return ToStdString(value);
}
std::string Text(const ZNodeUID& value) {
    return value.c_str();
}
std::string Text(bool value) {
    return value ? "true" : "false";
}
template <class Number>
std::enable_if_t<std::is_arithmetic_v<Number>, std::string> Text(Number value) {
    return std::to_string(value);
}

std::string Text(const ZTopologyEdge& edge) {
    return Text(edge.AsString()) + " groups " + Text(edge.m_fromGroup) + "/" + Text(edge.m_toGroup);
}

std::string Text(const ZTopologyNode& node);

std::string Text(const ZRemovalRecord& record) {
    return Text(record.m_nodeManagerUID) + " at " + Text(record.m_timeUs) + " for " + Text(record.m_reason);
}

template <class T>
std::string Text(const ZVector<T>& items) {
    std::string text = "[";
    for (const auto& item : items) {
        text += Text(item) + ";";
    }
    return text + "]";
}

std::string Text(const ZTopologyNode& node) {
    return Text(node.AsString()) + " aliases " + Text(node.m_aliases) + " manager " +
           Text(node.m_nodeManagerUID);
}

ZTopologyEdge Edge(const char* from, const char* to, const char* fromGroup, const char* toGroup) {
    return ZTopologyEdge(ZCommEndpoint(ZNodeUID(from), EP_STATUS, "track"),
                         ZCommEndpoint(ZNodeUID(to), EP_CONTROL, "in"), fromGroup, toGroup);
}

std::shared_ptr<ZMessage> Create(const char* className) {
    return std::dynamic_pointer_cast<ZMessage>(ZShared::ZFactory::CreateShared(className));
}

// One message class: how to give every member a value other than its default, and its members.
struct ZMessageCase {
    const char* className;
    std::function<void(ZMessage&)> fill;
    std::function<ZFields(const ZMessage&)> fields;
};

void PrintTo(const ZMessageCase& messageCase, std::ostream* out) {
    *out << messageCase.className;
}

template <class T, class Fill, class Fields>
ZMessageCase Case(Fill fill, Fields fields) {
    return {T::StaticClassName(), [fill](ZMessage& message) { fill(dynamic_cast<T&>(message)); },
            [fields](const ZMessage& message) -> ZFields { return fields(dynamic_cast<const T&>(message)); }};
}

void FillManager(ZDiscoveryManagerMsg& message) {
    message.m_nodeManagerUID = ZNodeUID("NM-host1");
    message.m_group = "Sensors";
    message.m_hostName = "host1";
    message.m_processID = 4242;
    message.m_versionInfo = {"3.1", "2.0.7", "1.4", "Linux 6.1", "x86_64", "2024-05-01 abc123"};
    message.m_remoteTimeUs = 1715000000123456;
    message.m_sessionID = 0xFFFFFFF0u;
    message.m_bAlreadyRegistered = true;
    message.m_bRegistered = true;
}

const std::vector<ZMessageCase>& Cases() {
    static const std::vector<ZMessageCase> cases{
        Case<ZDiscoveryManagerMsg>(
            FillManager,
            [](const ZDiscoveryManagerMsg& m) -> ZFields {
                const SystemVersionInfo& v = m.m_versionInfo;
                return {Text(m.m_nodeManagerUID),     Text(m.m_group),         Text(m.m_hostName),
                        Text(m.m_processID),          Text(v.m_systemVersion), Text(v.m_frameworkVersion),
                        Text(v.m_moduleVersion),      Text(v.m_osVersion),     Text(v.m_hardwareVersion),
                        Text(v.m_buildInfo),          Text(m.m_remoteTimeUs),  Text(m.m_sessionID),
                        Text(m.m_bAlreadyRegistered), Text(m.m_bRegistered)};
            }),
        Case<ZDiscoveryRequestMsg>(
            [](ZDiscoveryRequestMsg& m) {
                m.m_name = "Radar1";
                m.m_aliases = {"radar", "r1"};
                m.m_className = "ZRadar";
                m.m_group = "Sensors";
                m.m_nodeManagerUID = ZNodeUID("NM1");
                m.m_uid = ZNodeUID("Radar1-uid");
            },
            [](const ZDiscoveryRequestMsg& m) -> ZFields {
                return {Text(m.m_name),  Text(m.m_aliases),        Text(m.m_className),
                        Text(m.m_group), Text(m.m_nodeManagerUID), Text(m.m_uid)};
            }),
        Case<ZDiscoveryPluginMsg>(
            [](ZDiscoveryPluginMsg& m) { m.m_pluginName = "libRadar"; },
            [](const ZDiscoveryPluginMsg& m) -> ZFields { return {Text(m.m_pluginName)}; }),
        Case<ZDiscoveryConnectMsg>(
            [](ZDiscoveryConnectMsg& m) { m.m_edge = Edge("Radar1", "Tracker", "Sensors", "Fusion"); },
            [](const ZDiscoveryConnectMsg& m) -> ZFields { return {Text(m.m_edge)}; }),
        Case<ZDiscoveryDeleteMsg>(
            [](ZDiscoveryDeleteMsg& m) {
                m.m_nodes = {
                    ZTopologyNode(ZNodeUID("Radar1"), "Radar1", {"r1"}, "ZRadar", "Sensors", ZNodeUID("NM1")),
                    ZTopologyNode(ZNodeUID("Tracker"), "Tracker", {}, "ZTracker", "Fusion", ZNodeUID("NM2"))};
                m.m_edges = {Edge("Radar1", "Tracker", "Sensors", ""), Edge("Tracker", "Radar1", "", "")};
            },
            [](const ZDiscoveryDeleteMsg& m) -> ZFields {
                return {Text(m.m_nodes), Text(m.m_edges)};
            }),
        Case<ZRemoveNodeManagerMsg>(
            [](ZRemoveNodeManagerMsg& m) {
                m.m_nodeManagerUID = ZNodeUID("NM2");
                m.m_reason = "connection lost";
            },
            [](const ZRemoveNodeManagerMsg& m) -> ZFields {
                return {Text(m.m_nodeManagerUID), Text(m.m_reason)};
            }),
        Case<ZOnlineStatusMsg>(
            [](ZOnlineStatusMsg& m) {
                m.m_bOnline = true;
                m.m_nodeManagerUID = ZNodeUID("DiscoveryNM");
                m.m_startID = 0x7123456789ABCDEF;
            },
            [](const ZOnlineStatusMsg& m) -> ZFields {
                return {Text(m.m_bOnline), Text(m.m_nodeManagerUID), Text(m.m_startID)};
            }),
        Case<ZRemovalHistoryMsg>(
            [](ZRemovalHistoryMsg& m) {
                m.m_records = {{ZNodeUID("NM1"), 1715000000123456, "silence"},
                               {ZNodeUID("NM2"), 1715000000999999, "connection lost"}};
            },
            [](const ZRemovalHistoryMsg& m) -> ZFields { return {Text(m.m_records)}; }),
        Case<ZDiscoveryFindNodeMsg>(
            [](ZDiscoveryFindNodeMsg& m) { m.m_nodeUID = "Radar1"; },
            [](const ZDiscoveryFindNodeMsg& m) -> ZFields { return {Text(m.m_nodeUID)}; }),
        Case<ZDiscoveryFindUIDMsg>(
            [](ZDiscoveryFindUIDMsg& m) {
                m.m_className = "ZRadar";
                m.m_groupName = "Sensors";
            },
            [](const ZDiscoveryFindUIDMsg& m) -> ZFields {
                return {Text(m.m_className), Text(m.m_groupName)};
            }),
        Case<ZNodeUIDMsg>(
            [](ZNodeUIDMsg& m) {
                m.m_className = "ZRadar";
                m.m_groupName = "Sensors";
                m.m_nodeUID = "Radar1";
            },
            [](const ZNodeUIDMsg& m) -> ZFields {
                return {Text(m.m_className), Text(m.m_groupName), Text(m.m_nodeUID)};
            }),
        Case<ZDiscoveryRequestMasterNodeManagerUIDMsg>(
            [](ZDiscoveryRequestMasterNodeManagerUIDMsg& m) { m.m_requester = "NM2"; },
            [](const ZDiscoveryRequestMasterNodeManagerUIDMsg& m) -> ZFields {
                return {Text(m.m_requester)};
            }),
        Case<ZDiscoveryMasterNodeManagerUIDMsg>(
            [](ZDiscoveryMasterNodeManagerUIDMsg& m) { m.m_masterNodeManagerUID = "NM1"; },
            [](const ZDiscoveryMasterNodeManagerUIDMsg& m) -> ZFields {
                return {Text(m.m_masterNodeManagerUID)};
            }),
        Case<ZDiscoveryLockUnlockMsg>(
            [](ZDiscoveryLockUnlockMsg& m) { m.m_bLock = true; },
            [](const ZDiscoveryLockUnlockMsg& m) -> ZFields { return {Text(m.m_bLock)}; }),
        Case<ZNodesDisconnectedMsg>(
            [](ZNodesDisconnectedMsg& m) {
                m.m_nodeUIDs = {"Tracker", "Radar1"};
            },
            [](const ZNodesDisconnectedMsg& m) -> ZFields { return {Text(m.m_nodeUIDs)}; }),
        Case<ZDiscoveryTopoChangeNotificationMsg>(
            [](ZDiscoveryTopoChangeNotificationMsg&) {},
            [](const ZDiscoveryTopoChangeNotificationMsg&) -> ZFields { return {}; }),
    };
    return cases;
}

using ZDiscoveryMessageRoundTrip = ::testing::TestWithParam<ZMessageCase>;

TEST_P(ZDiscoveryMessageRoundTrip, TheClassIsMadeByNameAndEveryMemberComesBackThroughEveryStream) {
    const auto original = Create(GetParam().className);
    ASSERT_NE(original, nullptr);
    EXPECT_STREQ(original->ClassName(), GetParam().className);
    EXPECT_TRUE(ZShared::CID::IsKindOf(ZMessage::m_cid, original->GetCID()));
    const ZFields defaults = GetParam().fields(*original);
    GetParam().fill(*original);
    const ZFields expected = GetParam().fields(*original);
    ASSERT_EQ(expected.size(), defaults.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_NE(expected[i], defaults[i]) << "member " << i << " is left at its default";
    }
    for (const bool binary : {false, true}) {
        for (const bool throughData : {false, true}) {
            SCOPED_TRACE(std::string(binary ? "binary" : "JSON") + (throughData ? " through data" : ""));
            const auto make = [binary]() -> std::shared_ptr<ZCommStream> {
                return binary ? std::shared_ptr<ZCommStream>(ZMakeShared<ZBinaryCommStream>())
                              : ZMakeShared<ZJSONCommStream>();
            };
            auto stream = make();
            ASSERT_TRUE(original->Serialize(stream));
            if (throughData) {
                std::string data;
                ASSERT_TRUE(stream->GetData(data));
                stream = make();
                ASSERT_TRUE(stream->SetData(data.data(), data.size()));
            }
            auto sut = Create(GetParam().className);

            ASSERT_TRUE(sut->Deserialize(stream));

            EXPECT_EQ(GetParam().fields(*sut), expected);
        }
    }
}

TEST_P(ZDiscoveryMessageRoundTrip, AnEmptyObjectChangesNothing) {
    auto blank = Create(GetParam().className);
    auto filled = Create(GetParam().className);
    GetParam().fill(*filled);
    const ZFields defaults = GetParam().fields(*blank);
    const ZFields values = GetParam().fields(*filled);

    EXPECT_TRUE(blank->Deserialize(ZTestJsonStream("{}")));
    EXPECT_TRUE(filled->Deserialize(ZTestJsonStream("{}")));

    EXPECT_EQ(GetParam().fields(*blank), defaults);
    EXPECT_EQ(GetParam().fields(*filled), values);
}

INSTANTIATE_TEST_SUITE_P(AllClasses, ZDiscoveryMessageRoundTrip, ::testing::ValuesIn(Cases()),
                         [](const ::testing::TestParamInfo<ZMessageCase>& param) {
                             return std::string(param.param.className);
                         });

TEST(ZDiscoveryMessagesTest, ManagerMessageWritesItsKeysInDeclarationOrder) {
    ZDiscoveryManagerMsg sut;
    FillManager(sut);
    auto stream = ZMakeShared<ZJSONCommStream>();
    stream->SetCompact(true);

    sut.Serialize(stream);

    std::string json;
    ASSERT_TRUE(stream->GetData(json));
    EXPECT_EQ(json,
              R"({"nodeManagerUID":"NM-host1","group":"Sensors","hostName":"host1","processID":4242,)"
              R"("versionInfo":{"systemVersion":"3.1","frameworkVersion":"2.0.7","moduleVersion":"1.4",)"
              R"("osVersion":"Linux 6.1","hardwareVersion":"x86_64","buildInfo":"2024-05-01 abc123"},)"
              R"("remoteTimeUs":1715000000123456,"sessionID":4294967280,"bAlreadyRegistered":true,)"
              R"("bRegistered":true})");
}

TEST(ZDiscoveryMessagesTest, ConnectMessageWritesTheEdgeAsAPlainChild) {
    ZDiscoveryConnectMsg sut;
    sut.m_edge = Edge("Radar1", "Tracker", "Sensors", "Fusion");
    auto stream = ZMakeShared<ZJSONCommStream>();

    sut.Serialize(stream);

    std::shared_ptr<ZCommStream> edge;
    ASSERT_TRUE(stream->DeserializeChild("edge", edge));
    ZString from;
    EXPECT_TRUE(edge->Deserialize("from", from));
    EXPECT_EQ(from, "status/Radar1/track");
    EXPECT_FALSE(edge->HasKey("class"));
}

TEST(ZDiscoveryMessagesTest, DeleteMessageReplacesOnlyTheListsTheStreamHolds) {
    ZDiscoveryDeleteMsg edgesOnly;
    edgesOnly.m_edges = {Edge("B", "C", "", "")};
    auto stream = ZMakeShared<ZBinaryCommStream>();
    edgesOnly.Serialize(stream);
    ZDiscoveryDeleteMsg sut;
    sut.m_nodes = {ZTopologyNode(ZNodeUID("A"), "A", {}, "ZRadar", "G", ZNodeUID("NM1"))};
    sut.m_edges = {Edge("A", "B", "", ""), Edge("A", "C", "", "")};

    sut.Deserialize(stream);

    EXPECT_EQ(Text(sut.m_nodes), "[G.ZRadar.A(A) aliases [] manager NM1;]");
    EXPECT_EQ(Text(sut.m_edges), "[status/B/track --> control/C/in groups /;]");
}

TEST(ZDiscoveryMessagesTest, RemovalLeavesOutAnEmptyReason) {
    ZRemoveNodeManagerMsg sut;
    auto stream = ZMakeShared<ZJSONCommStream>();

    sut.Serialize(stream);

    EXPECT_TRUE(stream->HasKey("nodeManagerUID"));
    EXPECT_FALSE(stream->HasKey("reason"));
}

}  // namespace
