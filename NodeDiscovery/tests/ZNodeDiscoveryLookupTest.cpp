#include <gtest/gtest.h>

#include <tuple>
#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZDiscoveryFindUIDMsg.h"
#include "NodeBase/ZDiscoveryMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZDiscoveryPluginMsg.h"
#include "NodeBase/ZDiscoveryRequestMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZNodeUIDMsg.h"

#include "ZDiscoveryFixture.h"
#include "ZMessages/ZJSONCommStream.h"

namespace {

using Lines = std::vector<std::string>;

class ZNodeDiscoveryLookupTest : public ZDiscoveryFixture {
protected:
    // Graph order: M, RH (ZRadar in H), K, RG (ZRadar in G), RK (ZRadar in K).
    void SetUp() override {
        ZDiscoveryFixture::SetUp();
        RegisterManager("M");
        AddNode("M", "radar-h", "ZRadar", "H", "RH");
        RegisterManager("K");
        AddNode("K", "radar-g", "ZRadar", "G", "RG");
        AddNode("K", "radar-k", "ZRadar", "K", "RK");
        m_log->Clear();
    }
    std::string FindNode(const char* uid) {
        auto message = ZMakeShared<ZDiscoveryFindNodeMsg>();
        message->m_nodeUID = uid;
        EXPECT_FALSE(m_sut->OnFindNode(From("Tool", "findnode", message)));
        return Outcomes("Tool", "findnode").back();
    }
    // "<handler result> <UID answered> <group answered>".
    std::string FindUid(const char* className, const char* group) {
        auto message = ZMakeShared<ZDiscoveryFindUIDMsg>();
        message->m_className = className;
        message->m_groupName = group;
        const bool found = m_sut->OnFindUid(From("Tool", "finduid", message));
        auto answer = LastResponse<ZNodeUIDMsg>("Tool", "finduid");
        EXPECT_EQ(answer->m_className, className);
        return (found ? "true " : "false ") + ToStdString(answer->m_nodeUID + " " + answer->m_groupName);
    }
    static std::string Json(const ZMessage& message) {
        auto stream = ZMakeShared<ZJSONCommStream>();
        message.Serialize(stream);
        std::string text;
        stream->GetData(text);
        return text;
    }
};

TEST_F(ZNodeDiscoveryLookupTest, FindNodeFindsOnlyNodeManagersOwnRecords) {
    EXPECT_EQ(FindNode("K"), "true K");
    EXPECT_EQ(DiscoveryLog(),
              (Lines{"2 Entered OnFindNode...", "2 Searching for Node UID = <K>, Node Manager UID = <Tool>",
                     "2 Publishing response - specified node <K> was found in topology."}));
    EXPECT_EQ(FindNode("RG"), "false RG");
    EXPECT_EQ(FindNode("k"), "false k");
    EXPECT_EQ(FindNode(""), "false ");
    EXPECT_EQ(DiscoveryLog().back(), "2 Publishing response - specified node <> was not found in topology.");

    m_log->Clear();
    EXPECT_FALSE(m_sut->OnFindNode(From("Tool", "findnode", ZMakeShared<ZDiscoveryFindUIDMsg>())));
    EXPECT_EQ(Responses("Tool", "findnode").Count(), 4u);
    EXPECT_EQ(DiscoveryLog(),
              (Lines{"2 Entered OnFindNode...", "4 Error processing ZDiscoveryFindNode message!"}));
}

TEST_F(ZNodeDiscoveryLookupTest, FindUidPrefersAnExactGroupAnywhereThenTheFirstOfTheClass) {
    EXPECT_EQ(FindUid("ZRadar", "G"), "true RG G");
    EXPECT_EQ(DiscoveryLog().back(), "2 Publishing exact match response - Node UID = <RG>; Group Name = <G>");
    EXPECT_EQ(FindUid("ZRadar", ""), "true RH H");
    EXPECT_EQ(DiscoveryLog().back(), "2 Publishing exact match response - Node UID = <RH>; Group Name = <H>");
    EXPECT_EQ(FindUid("ZRadar", "Nowhere"), "true RH H");
    EXPECT_EQ(DiscoveryLog().back(),
              "2 OnFindUID() - Publishing best match response - Node UID = <RH>; Group Name = "
              "<H>; Target = <control/Tool/finduid>");
    EXPECT_EQ(FindUid("zradar", ""), "false  ");
    EXPECT_EQ(DiscoveryLog().back(),
              "2 Publishing response - no Node UID because node was not found - NodeClassName = <zradar>!");
    EXPECT_EQ(FindUid("", "G"), "false  ");

    m_log->Clear();
    EXPECT_FALSE(m_sut->OnFindUid(From("Tool", "finduid", ZMakeShared<ZDiscoveryFindNodeMsg>())));
    EXPECT_EQ(Responses("Tool", "finduid").Count(), 5u);
    EXPECT_EQ(DiscoveryLog(),
              (Lines{"2 Entered OnFindUID...", "4 Error processing ZDiscoveryFindUID message!"}));
}

// Lookups answer from what the graph holds now: removals and later registrations change the answers
// as a walk of the graph in order would.
TEST_F(ZNodeDiscoveryLookupTest, LookupsFollowRemovalsAndLaterRegistrations) {
    m_sut->RemoveNodeManagerNodes(ZNodeUID("K"));
    EXPECT_EQ(FindNode("K"), "false K");
    EXPECT_EQ(FindUid("ZRadar", "G"), "true RH H");

    RegisterManager("N");
    AddNode("N", "radar-n", "ZRadar", "G", "RN");
    EXPECT_EQ(FindNode("N"), "true N");
    EXPECT_EQ(FindUid("ZRadar", "G"), "true RN G");
    EXPECT_EQ(FindUid("ZRadar", ""), "true RH H");

    m_sut->RemoveNodeManagerNodes(ZNodeUID("M"));
    EXPECT_EQ(FindUid("ZRadar", "H"), "true RN G");
    // A graph edited behind the discovery node's back (as a test or a tool might) is read as it is.
    Graph().m_nodes.clear();
    EXPECT_EQ(FindUid("ZRadar", ""), "false  ");
    EXPECT_EQ(FindNode("N"), "false N");
}

TEST_F(ZNodeDiscoveryLookupTest, GetTopoAnswersACopyOfTheWholeGraph) {
    auto plugin = ZMakeShared<ZDiscoveryPluginMsg>();
    plugin->m_pluginName = "libRadar.so";
    Send("M", "addplugin", plugin);
    Connect("RH", "RG");

    EXPECT_TRUE(m_sut->OnGetTopo(From("Tool", "gettopo", ZMakeShared<ZTopologyMsg>())));
    EXPECT_FALSE(m_sut->OnGetTopo(From("Tool", "gettopo", ZMakeShared<ZDiscoveryFindNodeMsg>())));

    ASSERT_EQ(Responses("Tool", "gettopo").Count(), 1u);
    auto copy = LastResponse<ZTopologyMsg>("Tool", "gettopo");
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy.get(), &Graph());
    EXPECT_EQ(copy->m_nodes.size() + copy->m_edges.size() + copy->m_plugins.size(), 7u);
    EXPECT_EQ(Json(*copy), Json(Graph()));
}

TEST_F(ZNodeDiscoveryLookupTest, MasterNodeManagerUidIsAnsweredToAnyRequest) {
    auto request = ZMakeShared<ZDiscoveryRequestMasterNodeManagerUIDMsg>();
    request->m_requester = "Viewer";

    EXPECT_TRUE(m_sut->OnGetMasterNodeManagerUID(From("Tool", "getmasternodemanageruid", request)));
    m_sut->SetMasterNodeManagerUID(ZNodeUID("K"));
    EXPECT_TRUE(m_sut->OnGetMasterNodeManagerUID(
        From("Tool", "getmasternodemanageruid", ZMakeShared<ZTopologyMsg>())));

    const auto answers = Responses("Tool", "getmasternodemanageruid").Messages();
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(
        std::dynamic_pointer_cast<ZDiscoveryMasterNodeManagerUIDMsg>(answers[0])->m_masterNodeManagerUID,
        "Master");
    EXPECT_EQ(
        std::dynamic_pointer_cast<ZDiscoveryMasterNodeManagerUIDMsg>(answers[1])->m_masterNodeManagerUID,
        "K");
    const std::string target = " to Endpoint = <control/Tool/getmasternodemanageruid>.";
    EXPECT_EQ(DiscoveryLog(), (Lines{"2 Entered OnGetMasterNodeManagerUID...",
                                     "2 Node <Viewer> requested Master NodeManager UID...",
                                     "2 Publishing response - Master NodeManager UID = <Master>" + target,
                                     "2 Entered OnGetMasterNodeManagerUID...",
                                     "2 Publishing response - Master NodeManager UID = <K>" + target}));
}

TEST_F(ZNodeDiscoveryLookupTest, WildcardMatchTakesQuestionMarkForOneCharacterAndStarForAnyRun) {
    const std::vector<std::tuple<const char*, const char*, bool>> examples = {
        {"a?c", "abc", true},   {"a?c", "ac", false}, {"a*", "a", true},     {"a*", "abc", true},
        {"a*c", "abxc", true},  {"a*c", "ac", true},  {"a*c", "abx", false}, {"a**", "a", false},
        {"ab*", "ab*c", false}, {"*b", "*ab", false}, {"A?C", "abc", false}, {"", "", true},
        {"", "a", false}};

    const char shortText[] = "a\0b";  // "a", with a 'b' behind its end that must not be read

    for (const auto& [pattern, text, matches] : examples) {
        EXPECT_EQ(m_sut->WildcardMatch(pattern, text), matches) << "'" << pattern << "' on '" << text << "'";
    }
    EXPECT_FALSE(m_sut->WildcardMatch("a?b", shortText));
}

}  // namespace
