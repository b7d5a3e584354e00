#include <gtest/gtest.h>

#include "NodeBase/ZDiscoveryFindNodeMsg.h"
#include "NodeBase/ZDiscoveryFindUIDMsg.h"
#include "NodeBase/ZDiscoveryMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZDiscoveryPluginMsg.h"
#include "NodeBase/ZDiscoveryRequestMasterNodeManagerUIDMsg.h"
#include "NodeBase/ZDiscoveryTopoChangeNotificationMsg.h"
#include "NodeBase/ZNodeUIDMsg.h"
#include "ZDiscoveryFixture.h"

namespace {

using UIDs = std::vector<std::string>;

// A cart, a probe and a display, each with its own node manager, talking to the discovery node
// through messages only.
class ZNodeDiscoveryInstrumentTest : public ZDiscoveryFixture {
protected:
    bool Register(const char* manager, std::uint32_t session) {
        Send(manager, "addnodemanager", Registration(manager, session, manager));
        return LastResponse<ZDiscoveryManagerMsg>(manager, "addnodemanager")->m_bRegistered;
    }
    // Asks for a topology-changed notification and lets go of the lock.
    void FinishSetUp(const char* manager) {
        Send(manager, "notifytopochanged", ZMakeShared<ZDiscoveryTopoChangeNotificationMsg>());
        SendLock(manager, false);
        EXPECT_EQ(Outcomes(manager, "locking").back(), "true Unlock");
    }
    std::string FindUid(const char* asker, const char* className, const char* group) {
        auto message = ZMakeShared<ZDiscoveryFindUIDMsg>();
        message->m_className = className;
        message->m_groupName = group;
        Send(asker, "finduid", message);
        return LastResponse<ZNodeUIDMsg>(asker, "finduid")->m_nodeUID.c_str();
    }
    bool FindNode(const char* asker, const char* uid) {
        auto message = ZMakeShared<ZDiscoveryFindNodeMsg>();
        message->m_nodeUID = uid;
        Send(asker, "findnode", message);
        return Outcomes(asker, "findnode").back() == std::string("true ") + uid;
    }
    void RegisterProbeNodes(const UIDs& expected) {
        const UIDs uids = {AddNode("Probe", "element-a", "ZTransducer", "Probe"),
                           AddNode("Probe", "element-b", "ZTransducer", "Probe"),
                           AddNode("Probe", "mode", "ZRadarMode", "Probe"),
                           AddNode("Probe", "beamformer", "ZBeamformer", "Probe", "Beamformer")};
        EXPECT_EQ(uids, expected);
        Connect(uids[0].c_str(), "Beamformer");
        Connect(uids[1].c_str(), "Beamformer");
        Connect("Beamformer", "ZRadarMode1");
    }
    UIDs Edges() {
        UIDs texts;
        for (const auto& edge : Graph().m_edges) {
            texts.emplace_back(std::string(edge.m_from.m_uid.c_str()) + ">" + edge.m_to.m_uid.c_str());
        }
        return texts;
    }
};

TEST_F(ZNodeDiscoveryInstrumentTest, ThreeNodeManagersComeUpOneRestartsAndOneFallsSilent) {
    // The cart keeps the lock until its nodes are in, so the probe's first attempt is turned away.
    EXPECT_TRUE(Register("Cart", 1));
    EXPECT_FALSE(Register("Probe", 7));
    EXPECT_EQ(AddNode("Cart", "controller", "ZSystemController", "Cart"), "ZSystemController1");
    EXPECT_EQ(AddNode("Cart", "mode", "ZRadarMode", "Cart"), "ZRadarMode1");
    EXPECT_EQ(AddNode("Cart", "antenna", "ZAntennaConfig", "Cart", "Antenna"), "Antenna");
    EXPECT_EQ(AddNode("Cart", "log", "ZLogger", "Cart"), "ZLogger1");
    auto plugin = ZMakeShared<ZDiscoveryPluginMsg>();
    plugin->m_pluginName = "libRadarModes.so";
    Send("Cart", "addplugin", plugin);
    Connect("ZSystemController1", "ZRadarMode1");
    Connect("ZRadarMode1", "Antenna");
    FinishSetUp("Cart");

    EXPECT_TRUE(Register("Probe", 7));
    RegisterProbeNodes({"ZTransducer1", "ZTransducer2", "ZRadarMode2", "Beamformer"});
    FinishSetUp("Probe");

    EXPECT_TRUE(Register("Display", 3));
    EXPECT_EQ(AddNode("Display", "viewer", "ZViewer", "Display"), "ZViewer1");
    EXPECT_EQ(AddNode("Display", "mode", "ZRadarMode", "Display", "DisplayMode"), "DisplayMode");
    EXPECT_EQ(AddNode("Display", "log", "ZLogger", "Display"), "ZLogger2");
    EXPECT_EQ(AddNode("Display", "overlay", "ZOverlay", "Display"), "ZOverlay1");
    Connect("ZRadarMode1", "ZViewer1");
    Connect("DisplayMode", "ZViewer1");
    FinishSetUp("Display");

    EXPECT_EQ(m_topoChanged.Count(), 3u);
    EXPECT_EQ(Graph().m_nodes.size(), 15u);
    EXPECT_EQ(Graph().m_edges.size(), 7u);
    EXPECT_EQ(m_log->Count("Connected ", LOGLEVEL_PROGRESS), 7u);
    EXPECT_EQ(Outcomes("Cart", "addplugin"), std::vector<std::string>{"true "});
    EXPECT_EQ(FindUid("ZViewer1", "ZRadarMode", "Display"), "DisplayMode");
    EXPECT_EQ(FindUid("ZViewer1", "ZRadarMode", "Probe"), "ZRadarMode2");
    EXPECT_EQ(FindUid("Beamformer", "ZRadarMode", "Nowhere"), "ZRadarMode1");
    EXPECT_EQ(FindUid("ZOverlay1", "ZLogger", ""), "ZLogger1");
    EXPECT_TRUE(FindNode("ZViewer1", "Probe"));
    EXPECT_FALSE(FindNode("ZViewer1", "Beamformer"));
    Send("ZViewer1", "getmasternodemanageruid", ZMakeShared<ZDiscoveryRequestMasterNodeManagerUIDMsg>());
    EXPECT_EQ(LastResponse<ZDiscoveryMasterNodeManagerUIDMsg>("ZViewer1", "getmasternodemanageruid")
                  ->m_masterNodeManagerUID,
              "Master");

    // The probe restarts with a new session: its old instance leaves and its nodes come back with
    // the next numbers.
    EXPECT_TRUE(Register("Probe", 8));
    EXPECT_EQ(m_nodesDisconnected.Count(), 1u);
    EXPECT_EQ(DisconnectedUIDs(0),
              (UIDs{"Probe", "ZTransducer1", "ZTransducer2", "ZRadarMode2", "Beamformer"}));
    EXPECT_EQ(Edges(), (UIDs{"ZSystemController1>ZRadarMode1", "ZRadarMode1>Antenna", "ZRadarMode1>ZViewer1",
                             "DisplayMode>ZViewer1"}));
    RegisterProbeNodes({"ZTransducer3", "ZTransducer4", "ZRadarMode3", "Beamformer"});
    FinishSetUp("Probe");
    EXPECT_EQ(m_topoChanged.Count(), 4u);
    EXPECT_EQ(FindUid("ZViewer1", "ZRadarMode", "Probe"), "ZRadarMode3");

    // The display falls silent while the cart and the probe keep announcing themselves.
    for (std::int32_t round = 1; round <= 3; ++round) {
        EXPECT_EQ(m_nodesDisconnected.Count(), 1u) << round;
        m_clock.Advance(std::chrono::seconds(4));
        auto cart = Registration("Cart", 1, "Cart");
        auto probe = Registration("Probe", 8, "Probe");
        cart->SetDeliveryInfo(round);
        probe->SetDeliveryInfo(round);
        Post("Cart", "addnodemanager", cart);
        Post("Probe", "addnodemanager", probe);
        m_sut->PumpUntilIdle();
        EXPECT_TRUE(cart->m_bAlreadyRegistered && probe->m_bAlreadyRegistered) << round;
    }

    EXPECT_EQ(
        m_log->Count("Node Manager <Display> now considered dead and will be removed from topo after <12> "
                     "seconds of no contact!",
                     LOGLEVEL_WARNING),
        1u);
    EXPECT_EQ(m_nodesDisconnected.Count(), 2u);
    EXPECT_EQ(DisconnectedUIDs(1), (UIDs{"Display", "ZViewer1", "DisplayMode", "ZLogger2", "ZOverlay1"}));
    EXPECT_EQ(m_topoChanged.Count(), 5u);
    EXPECT_EQ(GraphUIDs(), (UIDs{"Cart", "ZSystemController1", "ZRadarMode1", "Antenna", "ZLogger1", "Probe",
                                 "ZTransducer3", "ZTransducer4", "ZRadarMode3", "Beamformer"}));
    EXPECT_EQ(Edges(),
              (UIDs{"ZSystemController1>ZRadarMode1", "ZRadarMode1>Antenna", "ZTransducer3>Beamformer",
                    "ZTransducer4>Beamformer", "Beamformer>ZRadarMode1"}));
    EXPECT_FALSE(RegistryKnows("Display"));
    EXPECT_FALSE(RegistryKnows("ZViewer1"));
    EXPECT_EQ(Registry().NodeManagerCount(), 2u);
    EXPECT_EQ(Responses("Cart", "addnodemanager").Count(), 4u);
    EXPECT_EQ(Responses("Probe", "addnodemanager").Count(), 6u);
    EXPECT_TRUE(m_sut->GetLockOwner().IsEmpty());
    EXPECT_FALSE(FindNode("Beamformer", "Display"));
    EXPECT_EQ(FindUid("Beamformer", "ZRadarMode", "Display"), "ZRadarMode1");
}

}  // namespace
