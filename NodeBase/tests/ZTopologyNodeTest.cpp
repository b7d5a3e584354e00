#include "NodeBase/ZTopologyNode.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "NodeBase/ZNodeToolsMetadata.h"
#include "NodeBase/ZTopologyEdge.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZTestKit/ZCapturingLogSink.h"
#include "ZTestKit/ZTestStreams.h"

namespace {

std::vector<std::string> Keys(const std::shared_ptr<ZCommStream>& stream,
                              std::initializer_list<const char*> candidates) {
    std::vector<std::string> keys;
    for (const char* key : candidates) {
        if (stream->HasKey(key)) {
            keys.emplace_back(key);
        }
    }
    return keys;
}

ZTopologyNode Radar() {
    return ZTopologyNode(ZNodeUID("Radar1"), "radar", {"r"}, "ZRadar", "front", ZNodeUID("NM1"));
}

TEST(ZTopologyNodeTest, CopiesShareConfigAndMetadataButNotTheLogChannel) {
    ZTopologyNode original = Radar();
    original.m_pConfig = ZMakeShared<ZSystemParams>();
    original.m_pToolsMetadata = ZMakeShared<ZNodeToolsMetadata>();
    original.m_logSource = "original";
    original.m_logLevel = 2;

    ZTopologyNode copy(original);
    ZTopologyNode assigned;
    assigned.m_logSource = "target";
    assigned.m_logLevel = 4;
    assigned = original;

    EXPECT_EQ(copy.m_pConfig, original.m_pConfig);
    EXPECT_EQ(copy.m_pToolsMetadata, original.m_pToolsMetadata);
    EXPECT_EQ(copy.AsString(), original.AsString());
    EXPECT_EQ(copy.m_logSource, nullptr);
    EXPECT_EQ(copy.m_logLevel, 0);
    EXPECT_EQ(assigned.m_pConfig, original.m_pConfig);
    EXPECT_STREQ(assigned.m_logSource, "target");
    EXPECT_EQ(assigned.m_logLevel, 4);
}

TEST(ZTopologyNodeTest, WritesItsEightKeysInOrderWithoutConfigOrMetadata) {
    auto stream = ZTestJsonStream();

    Radar().Serialize(stream);

    std::string text;
    stream->GetData(text);
    std::vector<std::size_t> positions;
    for (const char* key : {"\"name\"", "\"aliases\"", "\"group\"", "\"uid\"", "\"nodeManagerUID\"",
                            "\"class\"", "\"logLevel\"", "\"ConfigFileName\""}) {
        positions.push_back(text.find(key));
        EXPECT_NE(positions.back(), std::string::npos) << key;
    }
    EXPECT_TRUE(std::is_sorted(positions.begin(), positions.end())) << text;
    EXPECT_TRUE(Keys(stream, {"toolsmetadata", "config"}).empty());
    ZTopologyNode read;
    read.Deserialize(stream);
    EXPECT_EQ(read.AsString(), Radar().AsString());
}

// A stream without file access stands for a transport's payload: a record read from it must not
// make the node read or write files.
TEST(ZTopologyNodeTest, AConfigWithAFileNameGoesIntoThatFileOnlyWhereFilesMayBeTouched) {
    const std::string path = ::testing::TempDir() + "/radar-config.json";
    std::remove(path.c_str());
    ZTopologyNode original = Radar();
    auto system = ZMakeShared<ZSystemParams>();
    system->m_nodeManagerTimeoutSecs = 42;
    original.m_pConfig = system;
    original.m_configFileName = path.c_str();
    auto payload = ZTestJsonStream();
    payload->m_bFileAccess = false;
    auto stream = ZTestJsonStream();

    original.Serialize(payload);
    const bool writtenForPayload = std::ifstream(path).good();
    original.Serialize(stream);

    EXPECT_FALSE(writtenForPayload);
    EXPECT_TRUE(payload->HasKey("config"));
    EXPECT_FALSE(stream->HasKey("config"));
    auto file = ZTestJsonStream();
    ASSERT_TRUE(file->SetDataFromFile(path.c_str()));
    EXPECT_EQ(Keys(file, {"config", "name", "class"}), std::vector<std::string>{"config"});
    ZScopedLogCapture capture;
    for (const auto& read : {stream, payload}) {
        ZTopologyNode sut;
        sut.Deserialize(read);
        const auto config = std::dynamic_pointer_cast<ZSystemParams>(sut.m_pConfig);
        ASSERT_NE(config, nullptr);
        EXPECT_EQ(config->m_nodeManagerTimeoutSecs, 42);
        EXPECT_EQ(sut.m_configFileName.empty(), read == payload);
    }
    EXPECT_EQ(capture->Count("files are not read for this stream", LOGLEVEL_WARNING), 1u);
    std::remove(path.c_str());
}

TEST(ZTopologyNodeTest, AbsentKeysKeepValuesExceptTheUIDs) {
    ZTopologyNode sut = Radar();
    auto stream = ZTestJsonStream(R"({"group": ""})");

    sut.Deserialize(stream);

    EXPECT_EQ(sut.AsString(), ".ZRadar.radar()");  // an empty group keeps its dot
    EXPECT_TRUE(sut.m_nodeManagerUID.IsEmpty());
    EXPECT_EQ(sut.m_aliases, ZStringList{"r"});
    EXPECT_FALSE(sut.Deserialize(nullptr));
}

TEST(ZTopologyNodeTest, UnknownClassesUnderItsChildrenGiveNullWithOneLine) {
    ZScopedLogCapture capture;
    ZTopologyNode sut = Radar();
    sut.m_pToolsMetadata = ZMakeShared<ZNodeToolsMetadata>();
    auto stream = ZTestJsonStream(
        R"({"toolsmetadata": {"class": "ZNoSuchMetadata"}, "config": {"class": "ZNodeToolsMetadata"}})");
    stream->m_logLevel = LOGLEVEL_DETAIL;

    sut.Deserialize(stream);

    EXPECT_EQ(sut.m_pToolsMetadata, nullptr);
    EXPECT_EQ(sut.m_pConfig, nullptr);  // a metadata record is no configuration
    EXPECT_EQ(capture->Count("Failed to create <ZNoSuchMetadata>!", LOGLEVEL_ERROR), 1u);
    EXPECT_EQ(capture->Count("Failed to create <ZNodeToolsMetadata>!", LOGLEVEL_ERROR), 1u);
    EXPECT_EQ(capture->Count("Node <radar> has NO config...", LOGLEVEL_DETAIL), 1u);
}

TEST(ZTopologyNodeTest, MissingConfigFileIsReportedAndKeepsTheOldConfig) {
    ZScopedLogCapture capture;
    ZTopologyNode sut = Radar();
    auto kept = ZMakeShared<ZSystemParams>();
    sut.m_pConfig = kept;
    auto stream = ZTestJsonStream(R"({"ConfigFileName": "/nonexistent/dir/config.json"})");

    sut.Deserialize(stream);

    EXPECT_EQ(sut.m_pConfig, kept);
    EXPECT_EQ(capture->Count("/nonexistent/dir/config.json", LOGLEVEL_ERROR), 1u);
}

TEST(ZTopologyEdgeTest, WritesGroupsAndMetadataOnlyWhenSet) {
    ZTopologyEdge sut(ZCommEndpoint(ZNodeUID("A"), EP_STATUS, "x"),
                      ZCommEndpoint(ZNodeUID("B"), EP_CONTROL, "y"));
    auto bare = ZTestJsonStream();
    auto grouped = ZTestJsonStream();

    sut.Serialize(bare);
    sut.m_toGroup = "rear";
    sut.Serialize(grouped);

    const std::initializer_list<const char*> keys{"from", "to", "fromGroup", "toGroup", "toolsmetadata"};
    EXPECT_EQ(Keys(bare, keys), (std::vector<std::string>{"from", "to"}));
    EXPECT_EQ(Keys(grouped, keys), (std::vector<std::string>{"from", "to", "toGroup"}));
    EXPECT_EQ(sut.AsString(), "status/A/x --> control/B/y");
    ZTopologyEdge read;
    read.Deserialize(grouped);
    EXPECT_EQ(read.m_from, sut.m_from);
    EXPECT_EQ(read.m_to, sut.m_to);
    EXPECT_EQ(read.m_toGroup, "rear");
}

}  // namespace
