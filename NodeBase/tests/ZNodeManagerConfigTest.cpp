#include "NodeBase/ZNodeManagerConfig.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/ZMakeShared.h"
#include "ZTestKit/ZCapturingLogSink.h"

namespace {

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

// Configuration files written into a folder of their own.
class ZNodeManagerConfigTest : public ::testing::Test {
protected:
    ZNodeManagerConfigTest() {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_folder = std::filesystem::temp_directory_path() /
                   ("znm-config-" + std::to_string(getpid()) + "-" + info->name());
        std::filesystem::create_directories(m_folder);
    }
    ~ZNodeManagerConfigTest() override { std::filesystem::remove_all(m_folder); }

    std::string Write(const std::string& text, const std::string& name = "nm.json") {
        const std::string path = (m_folder / name).string();
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    // Loads the document and returns the error ("" when it loads).
    std::string ErrorOf(const std::string& text) {
        ZNodeManagerConfig sut;
        sut.m_logLevel = LOGLEVEL_NONE;
        const std::string path = Write(text);
        const bool loaded = sut.Load(path.c_str());
        EXPECT_EQ(loaded, sut.GetError().empty()) << sut.GetError();
        return loaded ? "" : sut.GetError().substr(path.size() + 2);
    }

    ZScopedLogCapture m_log;
    std::filesystem::path m_folder;
};

TEST_F(ZNodeManagerConfigTest, DocumentedExampleLoadsWithEveryKey) {
    const std::string path = std::string(Z_SOURCE_DIR) + "/docs/examples/node-manager.json";
    const std::string example = ReadFile(path);
    ASSERT_FALSE(example.empty()) << path;
    EXPECT_NE(ReadFile(std::string(Z_SOURCE_DIR) + "/docs/configuration.md").find(example), std::string::npos)
        << "docs/configuration.md must show the example file verbatim";
    ZNodeManagerConfig sut;

    ASSERT_TRUE(sut.Load(path.c_str())) << sut.GetError();

    EXPECT_EQ(sut.m_uid, ZNodeUID("Bridge-NM"));
    EXPECT_EQ(sut.m_group, "Bridge");
    EXPECT_EQ(sut.m_modules, (ZStringList{"libNodeDiscovery.so", "libRadar.so"}));
    EXPECT_TRUE(sut.m_transportURL.empty());
    EXPECT_EQ(sut.m_discoveryUID, ZNodeUID("ZNodeDiscovery1"));
    ASSERT_EQ(sut.m_nodes.size(), 3u);
    EXPECT_EQ(sut.m_nodes[0].m_className, "ZNodeDiscovery");
    EXPECT_EQ(sut.m_nodes[0].m_uid, ZNodeUID("ZNodeDiscovery1"));
    ASSERT_NE(sut.m_nodes[0].m_pConfig, nullptr);
    ASSERT_NE(sut.m_nodes[0].m_pConfig->GetConfig<ZSystemParams>(), nullptr);
    EXPECT_EQ(sut.m_nodes[1].m_name, "Radar1");
    EXPECT_EQ(sut.m_nodes[2].m_uid, ZNodeUID("Display1"));
    EXPECT_EQ(sut.m_nodes[2].m_pConfig, nullptr);
    ASSERT_EQ(sut.m_connections.size(), 2u);
    EXPECT_EQ(sut.m_connections[0].m_from.AsString(), "status/Radar1/scan");
    EXPECT_EQ(sut.m_connections[0].m_to.AsString(), "control/Display1/show");
    EXPECT_EQ(sut.m_connections[1].m_toGroup, "Bridge");
    ASSERT_NE(sut.m_pConfig, nullptr);
    EXPECT_EQ(sut.m_pConfig->m_versionTxt, "2.151.0");
    EXPECT_EQ(sut.GetDeadTimeSecs(), 10);
    EXPECT_TRUE(m_log->Records().empty());
}

TEST_F(ZNodeManagerConfigTest, UIDsWithControlCharactersAreRefusedToo) {
    EXPECT_EQ(ErrorOf("{\"UID\": \"a\\u0001b\"}"),
              "\"UID\" <a\x01"
              "b> contains a control character");
    EXPECT_EQ(ErrorOf(R"({"UID": "M", "Nodes": [{"class": "ZNode", "name": "r", "uid": "R\t1"}]})"),
              "node 1 (\"r\"): \"uid\" <R\t1> contains a control character");
}

TEST_F(ZNodeManagerConfigTest, DefaultsOfTheOptionalKeys) {
    ZNodeManagerConfig sut;

    ASSERT_TRUE(sut.Load(Write(R"({"UID": "M"})").c_str())) << sut.GetError();

    EXPECT_EQ(sut.m_discoveryUID, ZNodeUID("ZNodeDiscovery1"));
    EXPECT_TRUE(sut.m_group.empty());
    EXPECT_TRUE(sut.m_modules.empty());
    EXPECT_TRUE(sut.m_nodes.empty());
    EXPECT_TRUE(sut.m_connections.empty());
    EXPECT_EQ(sut.m_pConfig, nullptr);
    EXPECT_EQ(sut.GetDeadTimeSecs(), 10);
}

TEST_F(ZNodeManagerConfigTest, EachProblemIsOneMessageNamingTheFileAndTheProblem) {
    EXPECT_EQ(ErrorOf(R"({"Group": "G"})"), "missing \"UID\"");
    EXPECT_EQ(ErrorOf(R"({"UID": 7})"), "missing \"UID\"");
    EXPECT_EQ(ErrorOf(R"({"UID": "a/b"})"), "\"UID\" <a/b> may not contain '/', '+' or '#'");
    EXPECT_EQ(ErrorOf(R"({"UID": "a+b"})"), "\"UID\" <a+b> may not contain '/', '+' or '#'");
    EXPECT_EQ(ErrorOf(R"({"UID": "a#"})"), "\"UID\" <a#> may not contain '/', '+' or '#'");
    EXPECT_EQ(ErrorOf(R"({"UID": "M", "DiscoveryUID": ""})"),
              "\"DiscoveryUID\" <> must be a UID without '/', '+' or '#'");
    EXPECT_EQ(ErrorOf(R"({"UID": "M", "Nodes": [{"class": "ZNode"}, {"name": "Radar1"}]})"),
              "node 2 (\"Radar1\") has no \"class\"");
    EXPECT_EQ(ErrorOf(R"({"UID": "M", "Nodes": [{"class": "ZNode", "uid": "x/y"}]})"),
              "node 1: \"uid\" <x/y> may not contain '/', '+' or '#'");
    EXPECT_EQ(
        ErrorOf(
            R"({"UID": "M", "Nodes": [{"class": "ZNode", "name": "n", "config": {"class": "ZSystemParams"}}]})"),
        "node 1 (\"n\"): \"config\" holds a <ZSystemParams>, not a ZCoreConfigParams");
    EXPECT_EQ(ErrorOf(R"({"UID": "M", "Config": {"class": "ZLogParams"}})"),
              "\"Config\" holds a <ZLogParams>, not a ZCoreConfigParams");
    EXPECT_EQ(ErrorOf(R"({"UID": "M", "Connections": [{"from": "statusRadar1", "to": "control/D/show"}]})"),
              "connection 1: \"from\" <statusRadar1> is not an endpoint text (kind/UID/name)");
    EXPECT_EQ(ErrorOf(R"({"UID": "M", "Connections": [{"from": "status/R/scan", "to": "sideways/D/show"}]})"),
              "connection 1: \"to\" <sideways/D/show> is not an endpoint text (kind/UID/name)");
    EXPECT_EQ(ErrorOf(R"({"UID": "M", "Connections": [{"from": "status/R/scan"}]})"),
              "connection 1: \"to\" <> is not an endpoint text (kind/UID/name)");
    EXPECT_EQ(ErrorOf(R"({"class": "ZSystemParams", "UID": "M"})"),
              "holds a <ZSystemParams>, not a ZNodeManagerConfig");
    EXPECT_EQ(ErrorOf("{\"UID\": \"M\",\n  3}"),
              "not a valid JSON document: line 2, column 3: syntax error while parsing object key - unexpected "
              "number literal; expected string literal");
}

TEST_F(ZNodeManagerConfigTest, UnreadableFilesAreRefusedWithTheReason) {
    ZNodeManagerConfig sut;
    sut.m_logLevel = LOGLEVEL_NONE;
    const std::string missing = (m_folder / "absent.json").string();

    EXPECT_FALSE(sut.Load(missing.c_str()));
    EXPECT_EQ(sut.GetError(), missing + ": cannot read: No such file or directory");
    EXPECT_FALSE(sut.Load(m_folder.c_str()));
    EXPECT_EQ(sut.GetError(), m_folder.string() + ": cannot read: is a directory");
    EXPECT_TRUE(m_log->Records().empty());

    sut.m_logLevel = LOGLEVEL_WARNING;
    EXPECT_FALSE(sut.Load(missing.c_str()));
    EXPECT_TRUE(m_log->Contains(missing + ": cannot read", LOGLEVEL_ERROR));
}

TEST_F(ZNodeManagerConfigTest, ModulePathsResolveAgainstTheFilesFolderAndBareNamesAgainstTheLoader) {
    std::filesystem::create_directories(m_folder / "etc");
    ZNodeManagerConfig sut;
    const std::string path =
        Write(R"({"UID": "M", "Modules": ["./libA.so", "../lib/libB.so", "/opt/libC.so", "libD.so"]})",
              "etc/nm.json");

    ASSERT_TRUE(sut.Load(path.c_str()));

    EXPECT_EQ(sut.m_modules,
              (ZStringList{ToZString((m_folder / "etc/libA.so").string()),
                           ToZString((m_folder / "lib/libB.so").string()), "/opt/libC.so", "libD.so"}));
}

TEST_F(ZNodeManagerConfigTest, WritesWhatItReads) {
    ZNodeManagerConfig original;
    ASSERT_TRUE(original.Load(Z_SOURCE_DIR "/docs/examples/node-manager.json"));
    auto stream = ZMakeShared<ZJSONCommStream>();
    original.SerializeClass(stream);
    ZNodeManagerConfig copy;

    ASSERT_TRUE(copy.DeserializeClass(stream)) << copy.GetProblem();

    EXPECT_EQ(copy.m_uid, original.m_uid);
    EXPECT_EQ(copy.m_modules, original.m_modules);
    ASSERT_EQ(copy.m_nodes.size(), 3u);
    EXPECT_EQ(copy.m_nodes[2].m_className, "ZDisplayNode");
    ASSERT_NE(copy.m_nodes[0].m_pConfig, nullptr);
    EXPECT_EQ(copy.m_nodes[0].m_pConfig->GetConfig<ZSystemParams>()->m_nodeManagerTimeoutSecs, 10);
    ASSERT_EQ(copy.m_connections.size(), 2u);
    EXPECT_EQ(copy.m_connections[1].m_fromGroup, "Bridge");
    EXPECT_TRUE(copy.m_connections[0].m_fromGroup.empty());
    EXPECT_EQ(copy.GetDeadTimeSecs(), 10);
}

TEST(ZNodeManagerConfigNamesTest, PluginNamesAndUIDs) {
    EXPECT_EQ(ZNodeManagerConfig::PluginNameOf("/opt/z/libNodeDiscovery.so.2"), "NodeDiscovery");
    EXPECT_EQ(ZNodeManagerConfig::PluginNameOf("libRadar.so"), "Radar");
    EXPECT_EQ(ZNodeManagerConfig::PluginNameOf("plugins/Sonar"), "Sonar");
    EXPECT_EQ(ZNodeManagerConfig::PluginNameOf("lib"), "lib");
    EXPECT_TRUE(ZNodeManagerConfig::IsValidUID(ZNodeUID("Radar-NM_1.2")));
    EXPECT_FALSE(ZNodeManagerConfig::IsValidUID(ZNodeUID("Radar#1")));
    ZCommEndpoint endpoint;
    EXPECT_TRUE(ZNodeManagerConfig::ParseEndpoint("control/D/show/more", endpoint));
    EXPECT_EQ(endpoint.m_name, "show/more");
    EXPECT_TRUE(ZNodeManagerConfig::ParseEndpoint("status/D", endpoint));
    EXPECT_FALSE(ZNodeManagerConfig::ParseEndpoint("status/", endpoint));
    EXPECT_FALSE(ZNodeManagerConfig::ParseEndpoint("", endpoint));
}

}  // namespace
