// The lines are those ZNodeManager writes, with the stderr sink's prefix.
#include <gtest/gtest.h>

#include "ZManagerLog.h"

namespace {

std::string Line(const std::string& text) {
    return "2026-11-23T14:25:48.141247Z [2] ZNodeManager NodeBase/ZNodeManager:F:1 " + text + "\n";
}

std::string Asks(const std::string& session) {
    return Line("Node manager <NM03> asks discovery node <ZNodeDiscovery1> to register it: session <" +
                session + ">, attempt <1>");
}

std::string Registered(const std::string& session) {
    return Line("Node manager <NM03> registered with discovery node <ZNodeDiscovery1>: session <" + session +
                ">, master node manager <Discovery-NM>");
}

std::string Node(const std::string& name, const std::string& uid) {
    return Line("Node <" + name + "> of <NM03> registered as <" + uid + ">");
}

const std::string kRunning =
    Line("Node manager <NM03> running: <2> nodes, <0> plug-ins, <0> connections asked for");

}  // namespace

TEST(ZManagerLogTest, FollowsRegistrationsAsTheLogGrows) {
    ZManagerLog log;
    std::string text = Asks("11") + Registered("11") + Node("n1", "NM03-n1") + Node("n2", "ZNode4");
    log.Update(text);
    EXPECT_FALSE(log.IsRegistered());
    text += kRunning;
    log.Update(text);
    EXPECT_TRUE(log.IsRegistered());
    EXPECT_EQ(log.NodeUIDs(), (std::map<std::string, std::string>{{"n1", "NM03-n1"}, {"n2", "ZNode4"}}));

    // Registering again: not registered until it is running, and the latest UIDs count.
    text += Asks("12");
    log.Update(text);
    EXPECT_FALSE(log.IsRegistered());
    text += Registered("12") + Node("n2", "ZNode9") + kRunning;
    log.Update(text);
    EXPECT_TRUE(log.IsRegistered());
    EXPECT_EQ(log.NodeUIDs().at("n2"), "ZNode9");
    EXPECT_EQ(log.Registrations(), 2u);
    EXPECT_TRUE(log.DoubleAnswers().empty());
}

TEST(ZManagerLogTest, ReadsALineOnlyOnceItEnds) {
    ZManagerLog log;
    const std::string whole = Node("n1", "ZNode1");
    log.Update(whole.substr(0, whole.size() - 5));
    EXPECT_TRUE(log.NodeUIDs().empty());
    log.Update(whole);
    EXPECT_EQ(log.NodeUIDs().at("n1"), "ZNode1");
}

TEST(ZManagerLogTest, NamesRegistrationsAndNodesAnsweredTwice) {
    ZManagerLog log;
    log.Update(Asks("7") + Registered("7") + Node("n1", "ZNode1") + Node("n1", "ZNode2") + Registered("7") +
               Line("Discovery node <ZNodeDiscovery1> registered node <n1> as <ZNode5>; it keeps <ZNode2>"));
    EXPECT_EQ(log.DoubleAnswers(), (std::vector<std::string>{"node n1 answered twice in session 7",
                                                             "registration of session 7 answered twice"}));
    EXPECT_EQ(log.NodeUIDs().at("n1"), "ZNode2");
    EXPECT_EQ(log.Count("answered"), 0u);
    EXPECT_EQ(log.Count("registered as <"), 2u);
}

TEST(ZManagerLogTest, AskingAgainWithTheSameSessionIsNoDoubleAnswer) {
    // After a reconnection: still registered, or registered anew under the same session.
    ZManagerLog log;
    std::string text = Asks("7") + Registered("7") + Node("n1", "ZNode1") + kRunning + Asks("7");
    log.Update(text);
    EXPECT_FALSE(log.IsRegistered());
    text +=
        Line("Node manager <NM03> is still registered with discovery node <ZNodeDiscovery1>: session <7>");
    log.Update(text);
    EXPECT_TRUE(log.IsRegistered());
    text += Asks("7") + Registered("7") + Node("n1", "ZNode1") + kRunning;
    log.Update(text);
    EXPECT_TRUE(log.IsRegistered());
    EXPECT_TRUE(log.DoubleAnswers().empty());
    EXPECT_EQ(log.Registrations(), 2u);
}
