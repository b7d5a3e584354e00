#include "NodeBase/ZEdgeToolsMetadata.h"

#include <gtest/gtest.h>

#include "NodeBase/ZNodeToolsMetadata.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZTestKit/ZTestStreams.h"

namespace {

std::string Text(const ZMessage& record, bool enumsAsText) {
    auto stream = ZTestJsonStream("{}", enumsAsText);
    stream->SetCompact(true);
    record.Serialize(stream);
    std::string text;
    stream->GetData(text);
    return text;
}

TEST(ZEdgeToolsMetadataTest, FreshRecordsWriteTheirDefaultsInKeyOrder) {
    EXPECT_EQ(Text(ZAnchorPointToolsMetadata(), true),
              R"({"Pos":"ZUNDEFINED","PosIdx":0,"Type":"ZDYNAMIC","Left":0,"Top":0})");
    EXPECT_EQ(Text(ZAnchorPointToolsMetadata(), false), R"({"Pos":0,"PosIdx":0,"Type":1,"Left":0,"Top":0})");
    EXPECT_EQ(Text(ZEdgeToolsMetadata(), true),
              R"({"SourcePos":"ZUNDEFINED","SourcePosIdx":0,"TargetPos":"ZUNDEFINED","TargetPosIdx":0})");
    EXPECT_EQ(
        Text(ZNodeToolsMetadata(), true),
        R"({"editorPositionLeft":0.0,"editorPositionTop":0.0,"editorSizeWidth":0.0,"editorSizeHeight":0.0})");
}

TEST(ZEdgeToolsMetadataTest, EnumsReadOnlyByExactName) {
    ZEdgeToolsMetadata sut;
    sut.m_targetPos = ZEdgeAnchorPosition::ZBOTTOM;

    sut.Deserialize(ZTestJsonStream(R"({"SourcePos": "ZTOP", "TargetPos": "ZDYNAMIC"})"));
    EXPECT_EQ(sut.m_sourcePos, ZEdgeAnchorPosition::ZTOP);
    EXPECT_EQ(sut.m_targetPos, ZEdgeAnchorPosition::ZBOTTOM);  // a type name is no position

    sut.Deserialize(ZTestJsonStream(R"({"SourcePos": "zleft"})"));
    EXPECT_EQ(sut.m_sourcePos, ZEdgeAnchorPosition::ZTOP);
}

TEST(ZEdgeToolsMetadataTest, NumbersAreStoredWithoutARangeCheckAndHaveNoName) {
    ZEdgeToolsMetadata sut;

    sut.Deserialize(ZTestJsonStream(R"({"TargetPos": 9})", false));

    EXPECT_EQ(static_cast<int>(sut.m_targetPos), 9);
    EXPECT_NE(Text(sut, true).find(R"("TargetPos":"")"), std::string::npos);
}

TEST(ZEdgeToolsMetadataTest, AnchorPointsThatCannotBeCreatedAreDroppedAndTheRestAppended) {
    ZEdgeToolsMetadata sut;
    sut.m_anchorPoints.push_back(ZMakeShared<ZAnchorPointToolsMetadata>());

    sut.Deserialize(ZTestJsonStream(R"({"AnchorPoints": [
        {"class": "ZAnchorPointToolsMetadata", "Left": 1, "Type": "ZFIXED"},
        {"class": "ZNoSuchAnchor", "Left": 2},
        {"class": "ZAnchorPointToolsMetadata", "Left": 3}]})"));

    ASSERT_EQ(sut.m_anchorPoints.size(), 3u);
    EXPECT_EQ(sut.m_anchorPoints[1]->m_left, 1);
    EXPECT_EQ(sut.m_anchorPoints[1]->m_type, ZEdgeAnchorType::ZFIXED);
    EXPECT_EQ(sut.m_anchorPoints[2]->m_left, 3);
}

TEST(ZEdgeToolsMetadataTest, NullAnchorPointsAreNotWritten) {
    ZEdgeToolsMetadata sut;
    sut.m_anchorPoints = {ZMakeShared<ZAnchorPointToolsMetadata>(), nullptr,
                          ZMakeShared<ZAnchorPointToolsMetadata>()};
    sut.m_anchorPoints[2]->m_top = 5;
    auto stream = ZTestJsonStream("{}");
    sut.Serialize(stream);
    ZEdgeToolsMetadata read;

    read.Deserialize(stream);

    ASSERT_EQ(read.m_anchorPoints.size(), 2u);
    EXPECT_EQ(read.m_anchorPoints[1]->m_top, 5);
}

TEST(ZEdgeToolsMetadataTest, NodeBoxKeepsWhatTheStreamDoesNotHold) {
    ZNodeToolsMetadata sut;
    sut.m_editorPositionLeft = 1;
    sut.m_editorPositionTop = 2;
    sut.m_editorSizeHeight = 4;

    sut.Deserialize(ZTestJsonStream(R"({"editorSizeWidth": 33.5})"));

    EXPECT_EQ(sut.m_editorPositionLeft, 1);
    EXPECT_EQ(sut.m_editorPositionTop, 2);
    EXPECT_EQ(sut.m_editorSizeWidth, 33.5);
    EXPECT_EQ(sut.m_editorSizeHeight, 4);
}

}  // namespace
