#include "NodeDiscovery/ZDiscoveryConfig.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "ZCoreConfigs/ZCommsParams.h"
#include "ZCoreConfigs/ZCoreConfigParams.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/ZFactory.h"

namespace {

TEST(ZDiscoveryConfigTest, EveryCreationPathStartsAt180AndWritesIt) {
    std::unique_ptr<ZFactoryObject> plain(ZShared::ZFactory::Create("ZDiscoveryConfig"));
    auto unique = ZShared::ZFactory::CreateUnique("ZDiscoveryConfig");
    auto shared =
        std::dynamic_pointer_cast<ZDiscoveryConfig>(ZShared::ZFactory::CreateShared("ZDiscoveryConfig"));
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(dynamic_cast<ZDiscoveryConfig&>(*plain).m_topoMonitorIntervalSecs, 180);
    EXPECT_EQ(dynamic_cast<ZDiscoveryConfig&>(*unique).m_topoMonitorIntervalSecs, 180);
    auto stream = ZMakeShared<ZJSONCommStream>();

    shared->Serialize(stream);

    std::int32_t written = 0;
    EXPECT_TRUE(stream->Deserialize("TopoMonitorIntervalSecs", written));
    EXPECT_EQ(written, 180);
}

TEST(ZDiscoveryConfigTest, ReadsAnyValueAndKeepsItsOwnWhenAbsent) {
    ZDiscoveryConfig sut;
    sut.m_topoMonitorIntervalSecs = 30;
    auto empty = ZMakeShared<ZJSONCommStream>();
    auto negative = ZMakeShared<ZJSONCommStream>();
    negative->Serialize("TopoMonitorIntervalSecs", -5, false);

    sut.Deserialize(empty);
    EXPECT_EQ(sut.m_topoMonitorIntervalSecs, 30);
    sut.Deserialize(negative);
    EXPECT_EQ(sut.m_topoMonitorIntervalSecs, -5);
}

}  // namespace

namespace {

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

// The documented example is the discovery node's configuration set with every key at its default.
TEST(ZDiscoveryConfigTest, DocumentedConfigurationLoadsAndWritesBackTheSameDocument) {
    const std::string path = std::string(Z_SOURCE_DIR) + "/docs/examples/discovery-node-config.json";
    const std::string example = ReadFile(path);
    ASSERT_FALSE(example.empty()) << path;
    EXPECT_NE(ReadFile(std::string(Z_SOURCE_DIR) + "/docs/configuration.md").find(example), std::string::npos)
        << "docs/configuration.md must show the example file verbatim";
    auto stream = ZMakeShared<ZJSONCommStream>();
    ASSERT_TRUE(stream->SetDataFromFile(path.c_str()));
    ZCoreConfigParams sut;

    ASSERT_TRUE(sut.DeserializeClass(stream));

    EXPECT_EQ(sut.m_configParams.size(), 8u);
    ASSERT_NE(sut.GetConfig<ZSystemParams>(), nullptr);
    EXPECT_EQ(sut.GetConfig<ZSystemParams>()->m_nodeManagerTimeoutSecs, 10);
    ASSERT_NE(sut.GetConfig<ZDiscoveryConfig>(), nullptr);
    EXPECT_EQ(sut.GetConfig<ZDiscoveryConfig>()->m_topoMonitorIntervalSecs, 180);
    ASSERT_NE(sut.GetConfig<ZCommsParams>(), nullptr);
    EXPECT_FALSE(sut.GetConfig<ZCommsParams>()->bSyncTime);
    auto written = ZMakeShared<ZJSONCommStream>();
    sut.SerializeClass(written);
    std::string text;
    written->GetData(text);
    EXPECT_EQ(text + "\n", example);
}

}  // namespace
