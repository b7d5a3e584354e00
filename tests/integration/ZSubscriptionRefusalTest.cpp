// A broker that refuses subscriptions (here ejabberd, its topic depth set below the framework's three
// levels): the refusal names the topic and the broker's reason, and a tool stops at once instead of
// waiting for answers that cannot come.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <string>

#include "ZChildProcess.h"
#include "ZScratchFolder.h"
#include "ZTestKit/ZTestEjabberd.h"

namespace {

std::string ReadAll(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

TEST(ZSubscriptionRefusalTest, ARefusedSubscriptionIsNamedWithItsReasonAndAToolStopsAtOnce) {
    if (!ZTestEjabberd::Available()) {
        GTEST_SKIP() << "ejabberd is not installed";
    }
    ZScratchFolder folder("zrefusal");
    std::string config = ReadAll(Z_EJABBERD_EXAMPLE_CONFIG);
    const std::string depth = "max_topic_depth: 8";
    ASSERT_NE(config.find(depth), std::string::npos);
    config.replace(config.find(depth), depth.size(), "max_topic_depth: 2");
    const std::string configPath = folder.Path() + "/ejabberd.yml";
    std::ofstream(configPath) << config;
    ZTestEjabberd broker(1, configPath);
    std::string error;
    ASSERT_TRUE(broker.Start(&error)) << error;

    const std::string logPath = folder.Path() + "/ztopo.log";
    const auto started = std::chrono::steady_clock::now();
    const int code = ZChildProcess::Run({Z_ZTOPO, "--broker", broker.URL(0), "--timeout", "20", "show"},
                                        logPath, std::chrono::seconds(60));
    const std::string output = ReadAll(logPath);

    EXPECT_EQ(code, 4) << output;
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20))
        << "waited out its time-out";
    EXPECT_NE(output.find("refused user <" + std::string(ZTestEjabberd::kUser) +
                          "> the subscription to <response/"),
              std::string::npos)
        << output;
    EXPECT_NE(output.find("(0x8F)"), std::string::npos) << output;
}
