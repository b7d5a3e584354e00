#include <gtest/gtest.h>

#include "NodeBase/ZDiscoveryPluginMsg.h"
#include "ZDiscoveryFixture.h"

namespace {

using Lines = std::vector<std::string>;

class ZNodeDiscoveryNodesTest : public ZDiscoveryFixture {
protected:
    void SetUp() override {
        ZDiscoveryFixture::SetUp();
        RegisterManager("M");
        m_log->Clear();
    }
    static std::shared_ptr<ZDiscoveryRequestMsg> Node(const char* manager, const char* name,
                                                      const char* uid = "") {
        auto message = ZMakeShared<ZDiscoveryRequestMsg>();
        message->m_name = name;
        message->m_className = "ZRadar";
        message->m_nodeManagerUID = ZNodeUID(manager);
        message->m_uid = ZNodeUID(uid);
        return message;
    }
    std::string ManagerOf(const char* uid) {
        ZNodeUID manager;
        Registry().FindNodeManagerOf(ZNodeUID(uid), manager);
        return manager.c_str();
    }
};

TEST_F(ZNodeDiscoveryNodesTest, NodesWithoutUidAreNumberedPerClassName) {
    const Lines uids = {AddNode("M", "a", "ZRadar", "Cart"), AddNode("M", "b", "ZRadar"),
                        AddNode("M", "c", "ZRadar"),         AddNode("M", "d", "ZDisplay"),
                        AddNode("M", "e", "zradar"),         AddNode("M", "f", "ZRadar")};

    EXPECT_EQ(uids, (Lines{"ZRadar1", "ZRadar2", "ZRadar3", "ZDisplay1", "zradar1", "ZRadar4"}));
    EXPECT_EQ(GraphUIDs(), (Lines{"M", "ZRadar1", "ZRadar2", "ZRadar3", "ZDisplay1", "zradar1", "ZRadar4"}));
    EXPECT_EQ(Graph().m_nodes[1].AsString(), "Cart.ZRadar.a(ZRadar1)");
    EXPECT_EQ(Graph().m_nodes[1].m_nodeManagerUID, ZNodeUID("M"));
    EXPECT_EQ(ManagerOf("ZRadar4"), "M");
    EXPECT_EQ(DiscoveryLog().at(0),
              "2 Registering new node - Name = <a>; Object Class = <ZRadar>; Group = <Cart>; Node Manager = "
              "<M>...");
}

TEST_F(ZNodeDiscoveryNodesTest, ChosenUidIsAnsweredUnchangedAndLeavesTheNumbersAlone) {
    auto request = Node("M", "front", "Front");
    request->m_aliases.push_back("bow");

    Send("M", "addnode", request);
    const std::string generated = AddNode("M", "second", "ZRadar");
    const std::string again = AddNode("M", "again", "ZRadar", "", "Front");

    auto answer = std::dynamic_pointer_cast<ZDiscoveryRequestMsg>(Responses("M", "addnode").Messages().at(0));
    ASSERT_NE(answer, nullptr);
    EXPECT_NE(answer, request);
    EXPECT_EQ(answer->m_uid, ZNodeUID("Front"));
    EXPECT_EQ(answer->m_name, "front");
    EXPECT_EQ(answer->m_aliases, request->m_aliases);
    EXPECT_EQ(Graph().m_nodes[1].m_aliases, request->m_aliases);
    EXPECT_EQ(generated, "ZRadar1");
    EXPECT_EQ(again, "Front");
    EXPECT_EQ(GraphUIDs(), (Lines{"M", "Front", "ZRadar1", "Front"}));
    EXPECT_EQ(Graph().GetNode(ZNodeUID("Front"))->m_name, "front");
}

TEST_F(ZNodeDiscoveryNodesTest, UnknownManagerIsRefusedButTheDrawnNumberStaysUsed) {
    EXPECT_FALSE(m_sut->OnAddNode(From("Ghost", "addnode", Node("Ghost", "lost"))));

    EXPECT_EQ(Responses("Ghost", "addnode").Count(), 0u);
    EXPECT_EQ(GraphUIDs(), Lines{"M"});
    EXPECT_FALSE(RegistryKnows("ZRadar1"));
    EXPECT_EQ(
        DiscoveryLog(),
        (Lines{"2 Registering new node - Name = <lost>; Object Class = <ZRadar>; Group = <>; Node Manager = "
               "<Ghost>...",
               "4 Node <lost> cannot be added because it belongs to manager <Ghost> which does not exist."}));
    EXPECT_EQ(AddNode("M", "found", "ZRadar"), "ZRadar2");
}

TEST_F(ZNodeDiscoveryNodesTest, ARegisteredNodeMayStandInForItsManager) {
    AddNode("M", "hub", "ZHub", "", "Hub");

    EXPECT_EQ(AddNode("Hub", "leaf", "ZLeaf"), "ZLeaf1");

    EXPECT_EQ(Graph().GetNode(ZNodeUID("ZLeaf1"))->m_nodeManagerUID, ZNodeUID("Hub"));
    EXPECT_EQ(ManagerOf("ZLeaf1"), "Hub");
    EXPECT_EQ(Registry().m_nodeManagerStats.count(ZNodeUID("Hub")), 1u);
    EXPECT_EQ(Registry().GetSessionID(ZNodeUID("Hub")), ZCommManager::kUnknownSession);
}

TEST_F(ZNodeDiscoveryNodesTest, EmptyManagerGetsItsRequestBackUnchanged) {
    EXPECT_TRUE(m_sut->OnAddNode(From("M", "addnode", Node("", "orphan"))));

    auto answer = LastResponse<ZDiscoveryRequestMsg>("M", "addnode");
    ASSERT_NE(answer, nullptr);
    EXPECT_TRUE(answer->m_uid.IsEmpty());
    EXPECT_EQ(answer->m_name, "orphan");
    EXPECT_EQ(GraphUIDs(), Lines{"M"});
    EXPECT_EQ(DiscoveryLog(),
              Lines{"4 FAILURE Registering new node - Name = <orphan>; Object Class = <ZRadar>; Group "
                    "= <>; Node Manager = <>..."});
    EXPECT_EQ(AddNode("M", "next", "ZRadar"), "ZRadar1");
}

TEST_F(ZNodeDiscoveryNodesTest, PluginsAreListedOnceAndAlwaysAnsweredWithSuccess) {
    for (const char* name : {"libRadar.so", "libDisplay.so", "libRadar.so"}) {
        auto message = ZMakeShared<ZDiscoveryPluginMsg>();
        message->m_pluginName = name;
        Send("M", "addplugin", message);
    }

    EXPECT_EQ(Graph().m_plugins, (ZStringList{"libRadar.so", "libDisplay.so"}));
    EXPECT_EQ(Outcomes("M", "addplugin"), Lines(3, "true "));
    EXPECT_FALSE(m_sut->OnAddPlugin(From("M", "addplugin", Node("M", "x"))));
}

}  // namespace
