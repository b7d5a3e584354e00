#include "ZMessages/ZJSONCommStream.h"

#include <gtest/gtest.h>

#include <string>

#include "ZMessages/ZCommEndpoint.h"
#include "ZTestKit/ZCapturingLogSink.h"

namespace {

std::shared_ptr<ZJSONCommStream> Parsed(const std::string& text) {
    auto stream = ZMakeShared<ZJSONCommStream>();
    EXPECT_TRUE(stream->SetData(text.data(), text.size())) << text;
    return stream;
}

std::string TextOf(const ZJSONCommStream& stream) {
    std::string text;
    EXPECT_TRUE(stream.GetData(text));
    return text;
}

TEST(ZJSONCommStreamTest, WritesIndentedTextInTheOrderKeysWereWrittenAndEnumsByName) {
    auto sut = ZMakeShared<ZJSONCommStream>();
    auto element = sut->CreateChild();
    element->Serialize("z", true, false);
    element->Serialize("a", 1.5, false);
    sut->Serialize("zeta", 1, false);
    sut->Serialize("list", ZStringList{"x", "y"}, false);
    sut->SerializeArrayElement("items", element);
    sut->Serialize("alpha", "text", false);
    sut->SerializeEnum("type", EP_CONTROL);
    sut->Serialize("zeta", 2, false);

    const std::string pretty = TextOf(*sut);
    sut->SetCompact(true);
    const std::string compact = TextOf(*sut);

    EXPECT_EQ(pretty,
              "{\n"
              "  \"zeta\": 2,\n"
              "  \"list\": [\n"
              "    \"x\",\n"
              "    \"y\"\n"
              "  ],\n"
              "  \"items\": [\n"
              "    {\n"
              "      \"z\": true,\n"
              "      \"a\": 1.5\n"
              "    }\n"
              "  ],\n"
              "  \"alpha\": \"text\",\n"
              "  \"type\": \"control\"\n"
              "}");
    EXPECT_EQ(compact,
              R"({"zeta":2,"list":["x","y"],"items":[{"z":true,"a":1.5}],"alpha":"text","type":"control"})");
}

TEST(ZJSONCommStreamTest, FloatsAreWrittenWithTheFewestDigitsThatReadBack) {
    ZJSONCommStream sut;
    sut.SetCompact(true);
    sut.Serialize("a", 1.2f, false);
    sut.Serialize("b", 0.1f, false);
    sut.Serialize("c", 16777216.0f, false);
    sut.Serialize("d", 1.2, false);

    EXPECT_EQ(TextOf(sut), R"({"a":1.2,"b":0.1,"c":16777216.0,"d":1.2})");
}

TEST(ZJSONCommStreamTest, IntegersMustBeWholeAndInRange) {
    auto sut = Parsed(R"({"whole":3.0,"half":2.5,"big":1e20,"neg":-5,"huge":18446744073709551615})");
    std::int32_t whole = 0, half = 0;
    std::int64_t big = 0, huge = 0;
    std::uint32_t neg = 0;
    double hugeAsDouble = 0;
    float bigAsFloat = 0;
    ZScopedLogCapture capture;

    EXPECT_TRUE(sut->Deserialize("whole", whole));
    EXPECT_FALSE(sut->Deserialize("half", half));
    EXPECT_FALSE(sut->Deserialize("big", big));
    EXPECT_FALSE(sut->Deserialize("neg", neg));
    EXPECT_FALSE(sut->Deserialize("huge", huge));
    EXPECT_TRUE(sut->Deserialize("huge", hugeAsDouble));
    EXPECT_TRUE(sut->Deserialize("big", bigAsFloat));

    EXPECT_EQ(whole, 3);
    EXPECT_EQ(half, 0);
    EXPECT_EQ(big, 0);
    EXPECT_EQ(neg, 0u);
    EXPECT_EQ(huge, 0);
    EXPECT_EQ(hugeAsDouble, 18446744073709551615.0);
    EXPECT_EQ(bigAsFloat, 1e20f);
    EXPECT_EQ(capture->Count("Key <half>: 2.5 is not an integer", LOGLEVEL_WARNING), 1u);
    EXPECT_EQ(capture->Count("Key <big>: 1e+20 is out of int64 range", LOGLEVEL_WARNING), 1u);
    EXPECT_EQ(capture->Count("Key <neg>: -5 is out of uint32 range", LOGLEVEL_WARNING), 1u);
    EXPECT_EQ(capture->Count("Key <huge>: 18446744073709551615 is out of int64 range", LOGLEVEL_WARNING), 1u);
    EXPECT_EQ(capture->Records().size(), 4u);
}

TEST(ZJSONCommStreamTest, ListsAndArraysRefuseElementsOfTheWrongType) {
    auto sut = Parsed(R"({"list":["a",1],"arr":[{"n":1},5,{"n":3}]})");
    ZStringList list{"keep"};
    std::shared_ptr<void> cursor;
    std::shared_ptr<ZCommStream> child;
    std::int32_t n = 0;
    ZScopedLogCapture capture;

    EXPECT_FALSE(sut->Deserialize("list", list));
    EXPECT_TRUE(sut->DeserializeArrayElement("arr", child, cursor));
    EXPECT_FALSE(sut->DeserializeArrayElement("arr", child, cursor));
    ASSERT_TRUE(sut->DeserializeArrayElement("arr", child, cursor));  // a reader may go on past a bad element
    EXPECT_TRUE(child->Deserialize("n", n));

    EXPECT_EQ(list, ZStringList{"keep"});
    EXPECT_EQ(n, 3);
    EXPECT_EQ(capture->Count("Key <list>: element 1 of the list is a number", LOGLEVEL_WARNING), 1u);
    EXPECT_EQ(capture->Count("Key <arr>: element 1 of the array is a number", LOGLEVEL_WARNING), 1u);
    EXPECT_EQ(capture->Records().size(), 2u);
}

TEST(ZJSONCommStreamTest, RefusesTextThatIsNotOneObject) {
    for (const std::string text :
         {"[1,2]", "42", "\"text\"", "null", "{\"a\":", "{} {}", "{\"a\":1,}", "{'a':1}"}) {
        ZJSONCommStream sut;
        sut.Serialize("present", 1, false);
        ZScopedLogCapture capture;

        EXPECT_FALSE(sut.SetData(text.data(), text.size())) << text;

        EXPECT_FALSE(sut.HasKey("present"));
        EXPECT_EQ(TextOf(sut), "{}");
        EXPECT_EQ(capture->Records().size(), 1u) << text;
        EXPECT_EQ(capture->Records().at(0).level, LOGLEVEL_ERROR) << text;
    }
}

TEST(ZJSONCommStreamTest, RefusesNestingBeyondTheLimit) {
    const auto nested = [](int depth) {
        // The object itself is one level; the rest are arrays, with a bracket inside a string
        // that must not count.
        return "{\"a\":" + std::string(depth - 1, '[') + "\"[\"" + std::string(depth - 1, ']') + "}";
    };
    const std::string deepest = nested(ZJSONCommStream::kMaxNesting);
    const std::string tooDeep = nested(ZJSONCommStream::kMaxNesting + 1);
    ZJSONCommStream sut;
    ZScopedLogCapture capture;

    EXPECT_TRUE(sut.SetData(deepest.data(), deepest.size()));
    EXPECT_FALSE(sut.SetData(tooDeep.data(), tooDeep.size()));

    EXPECT_EQ(capture->Count("nests deeper than 200 levels", LOGLEVEL_ERROR), 1u);
}

TEST(ZJSONCommStreamTest, TextThatIsNotUTF8IsWrittenWithReplacements) {
    ZJSONCommStream sut;
    sut.SetCompact(true);
    sut.Serialize("bad",
                  ZString("a\xff"
                          "b"),
                  false);
    ZScopedLogCapture capture;

    const std::string text = TextOf(sut);

    EXPECT_EQ(text,
              "{\"bad\":\"a\xef\xbf\xbd"
              "b\"}");
    EXPECT_EQ(capture->Count("not UTF-8", LOGLEVEL_WARNING), 1u);
}

}  // namespace
