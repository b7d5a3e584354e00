#include "ZShared/ZLog.h"

#include <gtest/gtest.h>

#include "ZShared/ZStderrLogSink.h"
#include "ZTestKit/ZCapturingLogSink.h"

namespace {

// An object with its own threshold and source tag, as every framework object has.
struct ZChatty {
    const char* m_logSource = "ZChatty";
    std::int32_t m_logLevel = 0;
    void SayAll() {
        ZLOG(LOGLEVEL_DETAIL, "detail %d", 1);
        ZLOG(LOGLEVEL_PROGRESS, "progress %s", "two");
        ZLOG(LOGLEVEL_WARNING, "warning");
        ZLOG(LOGLEVEL_ERROR, "error");
    }
    void Check(bool ok) { ZASSERT(ok); }
};

TEST(ZLogTest, ThresholdWritesLevelsAtOrAboveItAndZeroWritesNothing) {
    const std::vector<std::pair<int, std::size_t>> cases{{0, 0}, {1, 4}, {2, 3}, {3, 2}, {4, 1}, {5, 0}};
    for (const auto& [threshold, expected] : cases) {
        ZScopedLogCapture capture;
        ZChatty sut;
        sut.m_logLevel = threshold;

        sut.SayAll();

        EXPECT_EQ(capture->Records().size(), expected) << "threshold " << threshold;
    }
}

TEST(ZLogTest, LinesCarryLevelSourceFileFunctionLineAndFormattedText) {
    ZScopedLogCapture capture;
    ZChatty sut;
    sut.m_logLevel = LOGLEVEL_PROGRESS;

    sut.SayAll();

    const auto records = capture->Records();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].level, LOGLEVEL_PROGRESS);
    EXPECT_EQ(records[0].source, "ZChatty");
    EXPECT_EQ(records[0].file, "ZShared/ZLogTest");  // library folder on, no extension
    EXPECT_EQ(records[0].function, "SayAll");
    EXPECT_GT(records[0].line, 0);
    EXPECT_EQ(records[0].text, "progress two");
    const std::string line = ZStderrLogSink::Format(records[0]);
    EXPECT_NE(line.find("[2] ZChatty ZShared/ZLogTest:SayAll:"), std::string::npos) << line;
}

TEST(ZLogTest, FailedCheckLogsOneErrorNamingFileAndLineAndGoesOn) {
    ZScopedLogCapture capture;
    ZChatty sut;
    sut.m_logLevel = LOGLEVEL_ERROR;

    sut.Check(true);
    sut.Check(false);

    ASSERT_EQ(capture->Records().size(), 1u);
    const auto record = capture->Records()[0];
    EXPECT_EQ(record.level, LOGLEVEL_ERROR);
    EXPECT_EQ(record.text.rfind("Assertion failed in <ZShared/ZLogTest> at <", 0), 0u) << record.text;
}

TEST(ZLogTest, LongLinesAreNotCut) {
    ZScopedLogCapture capture;
    const std::string longText(2000, 'y');

    ZLOG_WITH(LOGLEVEL_DETAIL, "ZTest", LOGLEVEL_ERROR, "%s!", longText.c_str());

    EXPECT_EQ(capture->Records().at(0).text, longText + "!");
}

TEST(ZLogTest, LevelNamesConvertBothWays) {
    for (int level = LOGLEVEL_NONE; level <= LOGLEVEL_ERROR; ++level) {
        const auto value = static_cast<ZLogLevel>(level);
        EXPECT_EQ(ZLog::StringToLogLevel(ZLog::LogLevelToString(value)), value);
    }
    EXPECT_STREQ(ZLog::LogLevelToString(LOGLEVEL_PROGRESS), "progress");
    EXPECT_STREQ(ZLog::LogLevelToString(static_cast<ZLogLevel>(9)), "");
    EXPECT_EQ(ZLog::StringToLogLevel("WARNING"), LOGLEVEL_WARNING);
    EXPECT_EQ(ZLog::StringToLogLevel("3"), LOGLEVEL_WARNING);
    EXPECT_EQ(ZLog::StringToLogLevel(""), LOGLEVEL_NONE);
    EXPECT_EQ(ZLog::StringToLogLevel("loud"), LOGLEVEL_NONE);
}

}  // namespace
