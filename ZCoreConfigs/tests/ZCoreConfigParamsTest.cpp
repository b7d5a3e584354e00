#include "ZCoreConfigs/ZCoreConfigParams.h"

#include <gtest/gtest.h>

#include "ZCoreConfigs/ZAuditLogParams.h"
#include "ZCoreConfigs/ZCommsParams.h"
#include "ZCoreConfigs/ZLogParams.h"
#include "ZCoreConfigs/ZProcessEnvironment.h"
#include "ZCoreConfigs/ZSystemParams.h"
#include "ZCoreConfigs/ZTraceLogParams.h"
#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZTestKit/ZCapturingLogSink.h"
#include "ZTestKit/ZTestStreams.h"

namespace {

TEST(ZCoreConfigParamsTest, FreshSetWritesItsDefaultsAndNoRecords) {
    ZCoreConfigParams sut;
    auto stream = ZTestJsonStream("{}");

    sut.Serialize(stream);

    ZString type, model, version = "unset";
    bool watchdog = false;
    EXPECT_FALSE(stream->HasKey("ConfigParams"));
    EXPECT_TRUE(stream->Deserialize("DeviceType", type));
    EXPECT_TRUE(stream->Deserialize("DeviceModel", model));
    EXPECT_TRUE(stream->Deserialize("VersionTxt", version));
    EXPECT_TRUE(stream->Deserialize("ShutdownWatchdogEn", watchdog));
    EXPECT_EQ(type, "DEVICE_CART");
    EXPECT_EQ(model, "ModelA");
    EXPECT_EQ(version, "");
    EXPECT_TRUE(watchdog);
    EXPECT_FALSE(sut.Serialize(nullptr));
    EXPECT_FALSE(sut.Deserialize(nullptr));
}

TEST(ZCoreConfigParamsTest, RecordsRoundTripByClassThroughBothStreamKinds) {
    ZCoreConfigParams original;
    auto comms = ZMakeShared<ZCommsParams>();
    comms->bSyncTime = true;
    auto system = ZMakeShared<ZSystemParams>();
    system->m_nodeManagerTimeoutSecs = 3;
    auto trace = ZMakeShared<ZTraceLogParams>();
    trace->m_traceMask = 0x30;
    trace->m_logPath = "/var/log/trace.log";
    original.SetConfig(comms);
    original.SetConfig(system);
    original.SetConfig(trace);
    original.m_deviceType = DEVICE_PALM;
    original.m_deviceModel = ModelF;
    original.m_versionTxt = "2.151";
    original.m_shutdownWatchdogEn = false;
    for (std::shared_ptr<ZCommStream> stream :
         {std::shared_ptr<ZCommStream>(ZTestJsonStream("{}")),
          std::shared_ptr<ZCommStream>(ZTestJsonStream("{}", false)),
          std::shared_ptr<ZCommStream>(ZMakeShared<ZBinaryCommStream>())}) {
        original.Serialize(stream);
        ZCoreConfigParams sut;

        ASSERT_TRUE(sut.Deserialize(stream));

        EXPECT_EQ(sut.m_configParams.size(), 3u);
        ASSERT_NE(sut.GetConfig<ZCommsParams>(), nullptr);
        EXPECT_TRUE(sut.GetConfig<ZCommsParams>()->bSyncTime);
        ASSERT_NE(sut.GetConfig<ZSystemParams>(), nullptr);
        EXPECT_EQ(sut.GetConfig<ZSystemParams>()->m_nodeManagerTimeoutSecs, 3);
        ASSERT_NE(sut.GetConfig<ZTraceLogParams>(), nullptr);
        EXPECT_EQ(sut.GetConfig<ZTraceLogParams>()->m_traceMask, 0x30);
        EXPECT_EQ(sut.GetConfig<ZTraceLogParams>()->m_logPath, "/var/log/trace.log");
        EXPECT_EQ(sut.GetConfig<ZAuditLogParams>(), nullptr);
        EXPECT_EQ(sut.m_deviceType, DEVICE_PALM);
        EXPECT_EQ(sut.m_deviceModel, ModelF);
        EXPECT_EQ(sut.m_versionTxt, "2.151");
        EXPECT_FALSE(sut.m_shutdownWatchdogEn);
    }
}

TEST(ZCoreConfigParamsTest, ReadingMergesRecordsAndSkipsWhatCannotBeCreated) {
    ZScopedLogCapture capture;
    ZCoreConfigParams sut;
    sut.SetConfig(ZMakeShared<ZAuditLogParams>());

    sut.Deserialize(ZTestJsonStream(R"({"ConfigParams": [
        {"class": "ZSystemParams", "NodeManagerTimeoutSecs": 5},
        {"class": "ZNoSuchParams"},
        {"class": "ZSystemParams", "NodeManagerTimeoutSecs": 7}]})"));

    EXPECT_EQ(sut.m_configParams.size(), 2u);  // the audit record stays
    ASSERT_NE(sut.GetConfig<ZSystemParams>(), nullptr);
    EXPECT_EQ(sut.GetConfig<ZSystemParams>()->m_nodeManagerTimeoutSecs, 7);  // the later one
    EXPECT_NE(sut.GetConfig<ZAuditLogParams>(), nullptr);
    EXPECT_EQ(capture->Count("Failed to create <ZNoSuchParams>!", LOGLEVEL_ERROR), 1u);
}

TEST(ZCoreConfigParamsTest, DeviceEnumsReadByExactNameOrByNumber) {
    ZCoreConfigParams sut;

    sut.Deserialize(ZTestJsonStream(R"({"DeviceModel": "ModelD", "DeviceType": "DEVICE_PALM"})"));
    EXPECT_EQ(sut.m_deviceModel, ModelD);
    EXPECT_EQ(sut.m_deviceType, DEVICE_PALM);

    sut.Deserialize(ZTestJsonStream(R"({"DeviceModel": "modelb", "DeviceType": 0})"));
    EXPECT_EQ(sut.m_deviceModel, ModelD);
    EXPECT_EQ(sut.m_deviceType, DEVICE_PALM);  // a number on a text stream is no name

    sut.Deserialize(ZTestJsonStream(R"({"DeviceModel": 3, "DeviceType": 0})", false));
    EXPECT_EQ(sut.m_deviceModel, ModelD);
    EXPECT_EQ(sut.m_deviceType, DEVICE_CART);
}

TEST(ZCoreConfigParamsTest, EnvironmentReachesEveryRecordAndResolvesLogPaths) {
    ZCoreConfigParams sut;
    auto log = ZMakeShared<ZLogParams>();
    log->m_logPath = "${ZTEST_LOG_DIR}/node.log";
    auto trace = ZMakeShared<ZTraceLogParams>();
    trace->m_logPath = "$ZTEST_UNSET_VARIABLE/trace.log";
    trace->m_resolvedLogPath = "before";
    sut.SetConfig(log);
    sut.SetConfig(trace);
    auto environment = std::make_shared<ZProcessEnvironment>();
    environment->SetVariable("ZTEST_LOG_DIR", "/data/logs");

    sut.SetEnvironment(environment);
    EXPECT_TRUE(sut.ResolvePaths({}));

    EXPECT_EQ(sut.GetEnvironment(), environment);
    EXPECT_EQ(log->GetEnvironment(), environment);
    EXPECT_EQ(trace->GetEnvironment(), environment);
    EXPECT_EQ(log->m_resolvedLogPath, "/data/logs/node.log");
    EXPECT_EQ(trace->m_resolvedLogPath, "before");  // an unset variable resolves nothing
}

TEST(ZCoreConfigParamsTest, BaseEnvironmentAndMissingEnvironmentResolveNothing) {
    ZLogParams sut;
    sut.m_logPath = "/tmp/x.log";
    sut.m_resolvedLogPath = "kept";

    EXPECT_TRUE(sut.ResolvePaths({}));
    EXPECT_EQ(sut.m_resolvedLogPath, "kept");

    sut.SetEnvironment(std::make_shared<ZEnvironment>());
    EXPECT_TRUE(sut.ResolvePaths({}));
    EXPECT_EQ(sut.m_resolvedLogPath, "kept");
}

TEST(ZProcessEnvironmentTest, ExpandsBothFormsAndPrefersItsOwnValues) {
    ZProcessEnvironment sut;
    sut.SetVariable("HOME", "/override");
    sut.SetVariable("A_B", "x");
    ZString out = "untouched";

    EXPECT_TRUE(sut.ResolveEnvVarsInPath("$HOME/${A_B}/$A_B.log", out));
    EXPECT_EQ(out, "/override/x/x.log");
    EXPECT_TRUE(sut.ResolveEnvVarsInPath("cost$ and $/path", out));
    EXPECT_EQ(out, "cost$ and $/path");

    out = "untouched";
    EXPECT_FALSE(sut.ResolveEnvVarsInPath("${A_B", out));
    EXPECT_FALSE(sut.ResolveEnvVarsInPath("$ZTEST_SURELY_UNSET_42/x", out));
    EXPECT_EQ(out, "untouched");
}

}  // namespace
