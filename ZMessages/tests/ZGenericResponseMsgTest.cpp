#include "ZMessages/ZGenericResponseMsg.h"

#include <gtest/gtest.h>

#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZJSONCommStream.h"

namespace {

using ZFrameworkErrorCodes::ZErrorCode;

std::shared_ptr<ZCommStream> TextStream() {
    auto stream = ZMakeShared<ZJSONCommStream>();
    stream->m_bEnumsAsText = true;
    return stream;
}

std::shared_ptr<ZCommStream> NumericStream() {
    auto stream = ZMakeShared<ZJSONCommStream>();
    stream->m_bEnumsAsText = false;
    return stream;
}

TEST(ZGenericResponseMsgTest, WritesTheCodeByNameOnTextStreamsAndByNumberOtherwise) {
    ZGenericResponseMsg sut("Lock", true, ZFrameworkErrorCodes::ERRCODE_BUSY);
    auto text = TextStream();
    auto numeric = NumericStream();

    sut.Serialize(text);
    sut.Serialize(numeric);

    ZString name;
    std::int32_t number = 0;
    EXPECT_TRUE(text->Deserialize("ErrCode", name));
    EXPECT_TRUE(numeric->Deserialize("ErrCode", number));
    EXPECT_EQ(name, "ERRCODE_BUSY");
    EXPECT_EQ(number, 1);
    std::string json;
    text->GetData(json);
    EXPECT_LT(json.find("\"text\""), json.find("\"bSuccess\""));
    EXPECT_LT(json.find("\"bSuccess\""), json.find("\"ErrCode\""));
}

TEST(ZGenericResponseMsgTest, ACodeWithoutANameIsWrittenAsEmptyText) {
    ZGenericResponseMsg sut("x", false, static_cast<ZErrorCode>(8));
    auto text = TextStream();

    sut.Serialize(text);

    ZString name = "unchanged";
    EXPECT_TRUE(text->Deserialize("ErrCode", name));
    EXPECT_EQ(name, "");
}

TEST(ZGenericResponseMsgTest, ReadsOnlyExactNamesAndKeepsWhatIsAbsent) {
    for (const auto& [stored, expected] : std::vector<std::pair<const char*, ZErrorCode>>{
             {"ERRCODE_BUSY", ZFrameworkErrorCodes::ERRCODE_BUSY},
             {"errcode_busy", ZFrameworkErrorCodes::ERRCODE_SYSUPDATE_VERSION_NOT_ALLOWED},
             {"", ZFrameworkErrorCodes::ERRCODE_SYSUPDATE_VERSION_NOT_ALLOWED}}) {
        auto stream = TextStream();
        stream->Serialize("ErrCode", stored, false);
        ZGenericResponseMsg sut("keep", true, ZFrameworkErrorCodes::ERRCODE_SYSUPDATE_VERSION_NOT_ALLOWED);

        EXPECT_TRUE(sut.Deserialize(stream));

        EXPECT_EQ(sut.m_errCode, expected) << stored;
        EXPECT_EQ(sut.m_text, "keep");
        EXPECT_TRUE(sut.m_bSuccess);
    }
}

TEST(ZGenericResponseMsgTest, NumbersAreStoredWithoutARangeCheck) {
    auto stream = NumericStream();
    stream->Serialize("ErrCode", 42, false);
    ZGenericResponseMsg sut;

    sut.Deserialize(stream);

    EXPECT_EQ(static_cast<int>(sut.m_errCode), 42);
}

TEST(ZGenericResponseMsgTest, RoundTripsThroughBothStreamKinds) {
    ZGenericResponseMsg original("Could not find source node for connection", false,
                                 ZFrameworkErrorCodes::ERRCODE_SYSUPDATE_INVALID_PACKAGE_FILE);
    std::vector<std::shared_ptr<ZCommStream>> streams{TextStream(), NumericStream(),
                                                      ZMakeShared<ZBinaryCommStream>()};
    for (const auto& written : streams) {
        original.Serialize(written);
        std::string data;
        ASSERT_TRUE(written->GetData(data));
        auto read = written->CreateChild();
        ASSERT_TRUE(read->SetData(data.data(), data.size()));
        ZGenericResponseMsg sut;

        sut.Deserialize(read);

        EXPECT_EQ(sut.m_text, original.m_text);
        EXPECT_EQ(sut.m_bSuccess, original.m_bSuccess);
        EXPECT_EQ(sut.m_errCode, original.m_errCode);
    }
}

}  // namespace
