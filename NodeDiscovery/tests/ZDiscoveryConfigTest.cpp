#include "NodeDiscovery/ZDiscoveryConfig.h"

#include <gtest/gtest.h>

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
