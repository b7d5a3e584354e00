#include "ZMessages/ZCommStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/CID.h"
#include "ZTestKit/ZCapturingLogSink.h"

namespace {
enum ZTestColour : std::int32_t { COLOUR_RED = 1, COLOUR_GREEN = 2, COLOUR_DEEP_BLUE = 30 };
}  // namespace

Z_ENUM_NAMES(ZTestColour, {COLOUR_RED, "Red"}, {COLOUR_GREEN, "Green"}, {COLOUR_DEEP_BLUE, "DeepBlue"});

namespace {

using ZFrameworkErrorCodes::ERRCODE_BUSY;
using ZFrameworkErrorCodes::ERRCODE_SYSUPDATE_IN_SHUTDOWN;

// One stream kind, read back either from the object written to or from a second object given the
// first one's data.
template <class Stream, bool kThroughData>
struct ZStreamCase {
    using StreamType = Stream;
    static constexpr bool kViaData = kThroughData;
};

template <class Case>
class ZCommStreamTest : public ::testing::Test {
protected:
    static std::shared_ptr<ZCommStream> MakeStream() { return ZMakeShared<typename Case::StreamType>(); }

    // The stream that reads back what was written to `written`.
    static std::shared_ptr<ZCommStream> Reread(const std::shared_ptr<ZCommStream>& written) {
        if (!Case::kViaData) {
            return written;
        }
        std::string data;
        EXPECT_TRUE(written->GetData(data));
        auto read = MakeStream();
        EXPECT_TRUE(read->SetData(data.data(), data.size()));
        return read;
    }

    static std::shared_ptr<ZCommStream> ChildWith(const std::shared_ptr<ZCommStream>& parent, const char* key,
                                                  std::int32_t value) {
        auto child = parent->CreateChild();
        child->Serialize(key, value, false);
        return child;
    }

    static std::string TempPath(const char* suffix) {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string(test->test_suite_name()) + "-" + test->name() + suffix;
        std::replace(name.begin(), name.end(), '/', '-');
        return ::testing::TempDir() + "/" + name;
    }
};

struct ZStreamCaseNames {
    template <class Case>
    static std::string GetName(int) {
        return std::string(Case::StreamType::StaticClassName()) +
               (Case::kViaData ? "ThroughData" : "SameObject");
    }
};

using ZStreamCases =
    ::testing::Types<ZStreamCase<ZJSONCommStream, false>, ZStreamCase<ZJSONCommStream, true>,
                     ZStreamCase<ZBinaryCommStream, false>, ZStreamCase<ZBinaryCommStream, true>>;
TYPED_TEST_SUITE(ZCommStreamTest, ZStreamCases, ZStreamCaseNames);

TYPED_TEST(ZCommStreamTest, ScalarsRoundTripAtTheirLimits) {
    ZScopedLogCapture capture;
    auto sut = this->MakeStream();
    const ZString text("h\xc3\xa9llo \"quoted\"\n\ttab \\ end");
    sut->Serialize("i32min", std::numeric_limits<std::int32_t>::min(), false);
    sut->Serialize("i32max", std::numeric_limits<std::int32_t>::max(), false);
    sut->Serialize("u32max", std::numeric_limits<std::uint32_t>::max(), false);
    sut->Serialize("i64min", std::numeric_limits<std::int64_t>::min(), false);
    sut->Serialize("i64max", std::numeric_limits<std::int64_t>::max(), false);
    sut->Serialize("f", 1.2f, false);
    sut->Serialize("fmax", std::numeric_limits<float>::max(), false);
    sut->Serialize("ftiny", std::numeric_limits<float>::denorm_min(), false);
    sut->Serialize("fneg0", -0.0f, false);
    sut->Serialize("d", 0.1, false);
    sut->Serialize("dlow", std::numeric_limits<double>::lowest(), false);
    sut->Serialize("dtiny", std::numeric_limits<double>::denorm_min(), false);
    sut->Serialize("yes", true, false);
    sut->Serialize("no", false, false);
    sut->Serialize("text", text, false);
    sut->Serialize("empty", ZString(), false);
    sut->Serialize("cstr", "plain", false);

    auto read = this->Reread(sut);

    std::int32_t i32min = 0, i32max = 0;
    std::uint32_t u32max = 0;
    std::int64_t i64min = 0, i64max = 0;
    float f = 0, fmax = 0, ftiny = 0, fneg0 = 1;
    double d = 0, dlow = 0, dtiny = 0;
    bool yes = false, no = true;
    ZString readText, empty = "not empty", cstr;
    EXPECT_TRUE(read->Deserialize("i32min", i32min));
    EXPECT_TRUE(read->Deserialize("i32max", i32max));
    EXPECT_TRUE(read->Deserialize("u32max", u32max));
    EXPECT_TRUE(read->Deserialize("i64min", i64min));
    EXPECT_TRUE(read->Deserialize("i64max", i64max));
    EXPECT_TRUE(read->Deserialize("f", f));
    EXPECT_TRUE(read->Deserialize("fmax", fmax));
    EXPECT_TRUE(read->Deserialize("ftiny", ftiny));
    EXPECT_TRUE(read->Deserialize("fneg0", fneg0));
    EXPECT_TRUE(read->Deserialize("d", d));
    EXPECT_TRUE(read->Deserialize("dlow", dlow));
    EXPECT_TRUE(read->Deserialize("dtiny", dtiny));
    EXPECT_TRUE(read->Deserialize("yes", yes));
    EXPECT_TRUE(read->Deserialize("no", no));
    EXPECT_TRUE(read->Deserialize("text", readText));
    EXPECT_TRUE(read->Deserialize("empty", empty));
    EXPECT_TRUE(read->Deserialize("cstr", cstr));
    EXPECT_EQ(i32min, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(i32max, std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(u32max, std::numeric_limits<std::uint32_t>::max());
    EXPECT_EQ(i64min, std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(i64max, std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(f, 1.2f);
    EXPECT_EQ(fmax, std::numeric_limits<float>::max());
    EXPECT_EQ(ftiny, std::numeric_limits<float>::denorm_min());
    EXPECT_EQ(fneg0, 0.0f);
    EXPECT_TRUE(std::signbit(fneg0));
    EXPECT_EQ(d, 0.1);
    EXPECT_EQ(dlow, std::numeric_limits<double>::lowest());
    EXPECT_EQ(dtiny, std::numeric_limits<double>::denorm_min());
    EXPECT_TRUE(yes);
    EXPECT_FALSE(no);
    EXPECT_EQ(readText, text);
    EXPECT_EQ(empty, "");
    EXPECT_EQ(cstr, "plain");
    EXPECT_TRUE(capture->Records().empty());
}

TYPED_TEST(ZCommStreamTest, KeysReadBackInAnyOrder) {
    auto sut = this->MakeStream();
    for (std::int32_t i = 0; i < 5; ++i) {
        sut->Serialize(("k" + std::to_string(i)).c_str(), i * 10, false);
    }

    auto read = this->Reread(sut);

    for (std::int32_t i : {4, 0, 2, 1, 3, 3, 0}) {
        std::int32_t value = -1;
        EXPECT_TRUE(read->Deserialize(("k" + std::to_string(i)).c_str(), value));
        EXPECT_EQ(value, i * 10);
    }
    EXPECT_TRUE(read->HasKey("k2"));
    EXPECT_FALSE(read->HasKey("k5"));
}

TYPED_TEST(ZCommStreamTest, StringListsRoundTripEmptyOrFull) {
    auto sut = this->MakeStream();
    const ZStringList full{"first", "", "with space", ZString(300, 'x')};
    sut->Serialize("full", full, false);
    sut->Serialize("none", ZStringList(), false);

    auto read = this->Reread(sut);

    ZStringList readFull, readNone{"stale"};
    EXPECT_TRUE(read->Deserialize("full", readFull));
    EXPECT_TRUE(read->Deserialize("none", readNone));
    EXPECT_EQ(readFull, full);
    EXPECT_TRUE(readNone.empty());
}

TYPED_TEST(ZCommStreamTest, ChildrenNestAndKeepTheirKeys) {
    auto sut = this->MakeStream();
    auto inner = this->ChildWith(sut, "a", 1);
    inner->Serialize("b", "bee", false);
    inner->SerializeChild("deep", this->ChildWith(sut, "x", 42));
    sut->Serialize("before", 1, false);
    sut->SerializeChild("inner", inner);
    sut->SerializeChild("empty", sut->CreateChild());
    sut->Serialize("after", 2, false);

    auto read = this->Reread(sut);

    std::shared_ptr<ZCommStream> child;  // made by the stream
    ASSERT_TRUE(read->DeserializeChild("inner", child));
    ASSERT_NE(child, nullptr);
    std::int32_t a = 0, x = 0, before = 0, after = 0;
    ZString b;
    EXPECT_TRUE(child->Deserialize("a", a));
    EXPECT_TRUE(child->Deserialize("b", b));
    auto deep = child->CreateChild();
    ASSERT_TRUE(child->DeserializeChild("deep", deep));
    EXPECT_TRUE(deep->Deserialize("x", x));
    EXPECT_FALSE(deep->HasKey("a"));
    EXPECT_FALSE(child->HasKey("before"));
    auto empty = read->CreateChild();
    EXPECT_TRUE(read->DeserializeChild("empty", empty));
    EXPECT_FALSE(empty->HasKey("a"));
    EXPECT_TRUE(read->Deserialize("before", before));
    EXPECT_TRUE(read->Deserialize("after", after));
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, "bee");
    EXPECT_EQ(x, 42);
    EXPECT_EQ(before, 1);
    EXPECT_EQ(after, 2);
}

TYPED_TEST(ZCommStreamTest, ArraysComeBackInOrderThroughTheirCursors) {
    ZScopedLogCapture capture;
    auto sut = this->MakeStream();
    sut->SerializeArrayElement("items", this->ChildWith(sut, "n", 1));
    sut->SerializeArrayElement("others", this->ChildWith(sut, "n", 10));
    sut->SerializeArrayElement("items", this->ChildWith(sut, "n", 2));
    sut->Serialize("between", true, false);
    sut->SerializeArrayElement("others", this->ChildWith(sut, "n", 20));
    sut->SerializeArrayElement("items", this->ChildWith(sut, "n", 3));
    auto read = this->Reread(sut);
    std::shared_ptr<void> items, others;
    const auto next = [&read](const char* key, std::shared_ptr<void>& cursor) {
        auto child = read->CreateChild();
        std::int32_t n = -1;
        if (!read->DeserializeArrayElement(key, child, cursor) || !child->Deserialize("n", n)) {
            return -1;
        }
        return n;
    };

    const std::vector<std::int32_t> order{
        next("items", items), next("others", others), next("items", items), next("others", others),
        next("items", items), next("others", others), next("items", items), next("items", items)};

    EXPECT_EQ(order, (std::vector<std::int32_t>{1, 10, 2, 20, 3, -1, -1, -1}));
    std::shared_ptr<void> missing;
    auto child = read->CreateChild();
    EXPECT_FALSE(read->DeserializeArrayElement("missing", child, missing));
    EXPECT_EQ(missing, nullptr);
    bool between = false;
    EXPECT_TRUE(read->Deserialize("between", between));
    EXPECT_TRUE(capture->Records().empty());
}

TYPED_TEST(ZCommStreamTest, ArraysTellHowManyElementsTheyHold) {
    auto sut = this->MakeStream();
    sut->ReserveArrayElements("items", 3, this->ChildWith(sut, "n", 0));
    sut->SerializeArrayElement("items", this->ChildWith(sut, "n", 1));
    sut->SerializeArrayElement("others", this->ChildWith(sut, "n", 10));
    sut->SerializeArrayElement("items", this->ChildWith(sut, "n", 2));
    sut->Serialize("plain", 5, false);
    auto read = this->Reread(sut);

    EXPECT_EQ(read->CountArrayElements("items"), 2u);
    EXPECT_EQ(read->CountArrayElements("others"), 1u);
    EXPECT_EQ(read->CountArrayElements("plain"), 0u);
    EXPECT_EQ(read->CountArrayElements("missing"), 0u);
}

TYPED_TEST(ZCommStreamTest, AbsentKeysLeaveTargetsAloneSilently) {
    ZScopedLogCapture capture;
    auto sut = this->MakeStream();
    sut->Serialize("present", 1, false);
    auto read = this->Reread(sut);
    std::int32_t i32 = 7;
    std::uint32_t u32 = 7;
    std::int64_t i64 = 7;
    float f = 7;
    double d = 7;
    bool b = true;
    ZString s = "keep";
    ZStringList list{"keep"};
    std::shared_ptr<ZCommStream> child;
    std::shared_ptr<void> cursor;

    EXPECT_FALSE(read->Deserialize("absent", i32));
    EXPECT_FALSE(read->Deserialize("absent", u32));
    EXPECT_FALSE(read->Deserialize("absent", i64));
    EXPECT_FALSE(read->Deserialize("absent", f));
    EXPECT_FALSE(read->Deserialize("absent", d));
    EXPECT_FALSE(read->Deserialize("absent", b));
    EXPECT_FALSE(read->Deserialize("absent", s));
    EXPECT_FALSE(read->Deserialize("absent", list));
    EXPECT_FALSE(read->DeserializeChild("absent", child));
    EXPECT_FALSE(read->DeserializeArrayElement("absent", child, cursor));
    EXPECT_FALSE(read->HasKey("absent"));

    EXPECT_EQ(i32, 7);
    EXPECT_EQ(u32, 7u);
    EXPECT_EQ(i64, 7);
    EXPECT_EQ(f, 7.0f);
    EXPECT_EQ(d, 7.0);
    EXPECT_TRUE(b);
    EXPECT_EQ(s, "keep");
    EXPECT_EQ(list, ZStringList{"keep"});
    EXPECT_TRUE(capture->Records().empty());
}

TYPED_TEST(ZCommStreamTest, WrongTypesAreRefusedWithOneWarningNamingTheKey) {
    auto sut = this->MakeStream();
    sut->Serialize("text", "seven", false);
    sut->Serialize("big", std::int64_t{5000000000}, false);
    sut->Serialize("negative", -1, false);
    sut->Serialize("fraction", 2.5, false);
    sut->Serialize("number", 7, false);
    sut->Serialize("flag", true, false);
    sut->Serialize("list", ZStringList{"a"}, false);
    sut->SerializeChild("child", this->ChildWith(sut, "n", 1));
    sut->SerializeArrayElement("array", this->ChildWith(sut, "n", 1));
    auto read = this->Reread(sut);
    std::int32_t i32 = 3;
    std::uint32_t u32 = 3;
    std::int64_t i64 = 3;
    float f = 3;
    double d = 3;
    bool b = false;
    ZString s = "keep";
    ZStringList list{"keep"};
    std::shared_ptr<ZCommStream> child;
    const std::vector<std::pair<const char*, std::function<bool()>>> attempts{
        {"text", [&] { return read->Deserialize("text", i32); }},
        {"big", [&] { return read->Deserialize("big", i32); }},
        {"negative", [&] { return read->Deserialize("negative", u32); }},
        {"fraction", [&] { return read->Deserialize("fraction", i64); }},
        {"text", [&] { return read->Deserialize("text", d); }},
        {"flag", [&] { return read->Deserialize("flag", f); }},
        {"number", [&] { return read->Deserialize("number", b); }},
        {"number", [&] { return read->Deserialize("number", s); }},
        {"child", [&] { return read->Deserialize("child", s); }},
        {"array", [&] { return read->Deserialize("array", i32); }},
        {"text", [&] { return read->Deserialize("text", list); }},
        {"list", [&] { return read->DeserializeChild("list", child); }},
        {"array", [&] { return read->DeserializeChild("array", child); }},
        {"child",
         [&] {
             std::shared_ptr<void> cursor;
             return read->DeserializeArrayElement("child", child, cursor);
         }},
    };

    for (const auto& [key, attempt] : attempts) {
        ZScopedLogCapture capture;
        EXPECT_FALSE(attempt()) << key;
        EXPECT_EQ(capture->Records().size(), 1u) << key;
        EXPECT_EQ(capture->Count("Key <" + std::string(key) + ">", LOGLEVEL_WARNING), 1u) << key;
    }

    EXPECT_EQ(i32, 3);
    EXPECT_EQ(u32, 3u);
    EXPECT_EQ(i64, 3);
    EXPECT_EQ(f, 3.0f);
    EXPECT_EQ(d, 3.0);
    EXPECT_FALSE(b);
    EXPECT_EQ(s, "keep");
    EXPECT_EQ(list, ZStringList{"keep"});
    EXPECT_EQ(child, nullptr);
}

TYPED_TEST(ZCommStreamTest, NumbersConvertBetweenKindsWhenTheyFit) {
    auto sut = this->MakeStream();
    sut->Serialize("wide", std::int64_t{-5}, false);
    sut->Serialize("unsigned", std::uint32_t{4000000000u}, false);
    sut->Serialize("whole", 3.0, false);
    sut->Serialize("int", 9, false);
    auto read = this->Reread(sut);
    std::int32_t narrow = 0, whole = 0;
    std::int64_t wide = 0;
    double fromInt = 0;
    float floatFromInt = 0;

    EXPECT_TRUE(read->Deserialize("wide", narrow));
    EXPECT_TRUE(read->Deserialize("unsigned", wide));
    EXPECT_TRUE(read->Deserialize("whole", whole));
    EXPECT_TRUE(read->Deserialize("int", fromInt));
    EXPECT_TRUE(read->Deserialize("int", floatFromInt));

    EXPECT_EQ(narrow, -5);
    EXPECT_EQ(wide, 4000000000);
    EXPECT_EQ(whole, 3);
    EXPECT_EQ(fromInt, 9.0);
    EXPECT_EQ(floatFromInt, 9.0f);
}

TYPED_TEST(ZCommStreamTest, WritingAKeyAgainReplacesItsValue) {
    auto sut = this->MakeStream();
    for (std::int32_t i = 0; i < 40; ++i) {  // enough keys for a stream to index them
        sut->Serialize(("k" + std::to_string(i)).c_str(), i, false);
    }
    sut->Serialize("k7", "seven", false);
    sut->Serialize("k33", ZStringList{"thirty", "three"}, false);
    sut->SerializeArrayElement("k20", this->ChildWith(sut, "n", 1));
    sut->SerializeArrayElement("k20", this->ChildWith(sut, "n", 2));
    sut->SerializeArrayElement("list", this->ChildWith(sut, "n", 1));
    sut->Serialize("list", 5, false);
    sut->Serialize("k0", 100, false);

    auto read = this->Reread(sut);

    for (std::int32_t i = 0; i < 40; ++i) {
        if (i == 7 || i == 20 || i == 33) {
            continue;
        }
        std::int32_t value = -1;
        EXPECT_TRUE(read->Deserialize(("k" + std::to_string(i)).c_str(), value)) << i;
        EXPECT_EQ(value, i == 0 ? 100 : i);
    }
    ZString seven;
    ZStringList thirtyThree;
    std::int32_t list = 0;
    EXPECT_TRUE(read->Deserialize("k7", seven));
    EXPECT_TRUE(read->Deserialize("k33", thirtyThree));
    EXPECT_TRUE(read->Deserialize("list", list));
    EXPECT_EQ(seven, "seven");
    EXPECT_EQ(thirtyThree, (ZStringList{"thirty", "three"}));
    EXPECT_EQ(list, 5);
    std::shared_ptr<void> cursor;
    std::shared_ptr<ZCommStream> element;
    std::int32_t elements = 0;
    while (read->DeserializeArrayElement("k20", element, cursor)) {
        ++elements;
    }
    EXPECT_EQ(elements, 2);
}

TYPED_TEST(ZCommStreamTest, ChildrenReadAreIndependentOfTheirParent) {
    auto sut = this->MakeStream();
    sut->SerializeChild("child", this->ChildWith(sut, "n", 1));
    auto read = this->Reread(sut);
    std::shared_ptr<ZCommStream> first, second;
    ASSERT_TRUE(read->DeserializeChild("child", first));

    first->Serialize("n", 2, false);
    first->Serialize("added", true, false);
    read->Serialize("parent", true, false);

    ASSERT_TRUE(read->DeserializeChild("child", second));
    std::int32_t firstN = 0, secondN = 0;
    EXPECT_TRUE(first->Deserialize("n", firstN));
    EXPECT_TRUE(second->Deserialize("n", secondN));
    EXPECT_EQ(firstN, 2);
    EXPECT_EQ(secondN, 1);
    EXPECT_FALSE(second->HasKey("added"));
    EXPECT_FALSE(first->HasKey("parent"));
}

TYPED_TEST(ZCommStreamTest, EnumsTravelByNumberOrByExactName) {
    for (const bool asText : {false, true}) {
        auto sut = this->MakeStream();
        sut->m_bEnumsAsText = asText;
        sut->SerializeEnum("colour", COLOUR_DEEP_BLUE);
        sut->Serialize("unknown", asText ? "Purple" : "", false);
        sut->Serialize("wrongCase", "deepblue", false);
        auto read = this->Reread(sut);
        read->m_bEnumsAsText = asText;
        ZTestColour colour = COLOUR_RED, unknown = COLOUR_GREEN, wrongCase = COLOUR_GREEN;

        EXPECT_TRUE(read->DeserializeEnum("colour", colour));
        EXPECT_EQ(colour, COLOUR_DEEP_BLUE);
        if (asText) {
            ZString name;
            EXPECT_TRUE(read->Deserialize("colour", name));
            EXPECT_EQ(name, "DeepBlue");
            EXPECT_FALSE(read->DeserializeEnum("unknown", unknown));
            EXPECT_FALSE(read->DeserializeEnum("wrongCase", wrongCase));
        } else {
            std::int32_t number = 0;
            EXPECT_TRUE(read->Deserialize("colour", number));
            EXPECT_EQ(number, 30);
        }
        EXPECT_EQ(unknown, COLOUR_GREEN);
        EXPECT_EQ(wrongCase, COLOUR_GREEN);
    }
}

TYPED_TEST(ZCommStreamTest, ObjectsAreMadeByTheClassTheyName) {
    auto sut = this->MakeStream();
    sut->SerializeObject("response", ZMakeShared<ZGenericResponseMsg>("done", true, ERRCODE_BUSY));
    auto unknown = sut->CreateChild();
    unknown->Serialize("class", "ZNoSuchMessage", false);
    sut->SerializeChild("unknown", unknown);
    auto wrongKind = sut->CreateChild();
    wrongKind->Serialize("class", "ZJSONCommStream", false);
    sut->SerializeChild("wrongKind", wrongKind);
    sut->SerializeChild("classless", this->ChildWith(sut, "n", 1));
    EXPECT_FALSE(sut->SerializeObject("none", std::shared_ptr<ZGenericResponseMsg>()));
    auto read = this->Reread(sut);
    const auto objectAt = [&read](const char* key) {
        std::shared_ptr<ZCommStream> child;
        EXPECT_TRUE(read->DeserializeChild(key, child));
        return read->template DeserializeChildClass<ZMessage>(child);
    };
    ZScopedLogCapture capture;

    const auto response = std::dynamic_pointer_cast<ZGenericResponseMsg>(objectAt("response"));
    EXPECT_EQ(objectAt("classless"), nullptr);
    EXPECT_EQ(capture->Records().size(), 0u);
    EXPECT_EQ(objectAt("unknown"), nullptr);
    EXPECT_EQ(objectAt("wrongKind"), nullptr);

    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->m_text, "done");
    EXPECT_TRUE(response->m_bSuccess);
    EXPECT_EQ(response->m_errCode, ERRCODE_BUSY);
    EXPECT_EQ(capture->Count("Failed to create <ZNoSuchMessage>!", LOGLEVEL_ERROR), 1u);
    EXPECT_EQ(capture->Count("Failed to create <ZJSONCommStream>!", LOGLEVEL_ERROR), 1u);
    EXPECT_FALSE(read->HasKey("none"));
}

TYPED_TEST(ZCommStreamTest, ObjectArraysSkipNullsAndDropWhatCannotBeMade) {
    auto sut = this->MakeStream();
    const ZVector<std::shared_ptr<ZGenericResponseMsg>> written{
        ZMakeShared<ZGenericResponseMsg>("one", true), nullptr,
        ZMakeShared<ZGenericResponseMsg>("two", false, ERRCODE_SYSUPDATE_IN_SHUTDOWN)};
    sut->SerializeObjectArray("responses", written);
    auto unknown = sut->CreateChild();
    unknown->Serialize("class", "ZNoSuchMessage", false);
    sut->SerializeArrayElement("responses", unknown);
    auto read = this->Reread(sut);
    ZVector<std::shared_ptr<ZGenericResponseMsg>> objects{ZMakeShared<ZGenericResponseMsg>("kept", true)};
    ZVector<std::shared_ptr<ZGenericResponseMsg>> none;
    ZScopedLogCapture capture;

    EXPECT_TRUE(read->DeserializeObjectArray("responses", objects));
    EXPECT_FALSE(read->DeserializeObjectArray("absent", none));

    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[0]->m_text, "kept");
    EXPECT_EQ(objects[1]->m_text, "one");
    EXPECT_TRUE(objects[1]->m_bSuccess);
    EXPECT_EQ(objects[2]->m_text, "two");
    EXPECT_EQ(objects[2]->m_errCode, ERRCODE_SYSUPDATE_IN_SHUTDOWN);
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(capture->Count("Failed to create <ZNoSuchMessage>!", LOGLEVEL_ERROR), 1u);
}

TYPED_TEST(ZCommStreamTest, MalformedDataEmptiesTheStreamWithOneError) {
    for (const std::string& data : {std::string("garbage that is neither kind"), std::string()}) {
        auto sut = this->MakeStream();
        sut->Serialize("present", 1, false);
        ZScopedLogCapture capture;

        EXPECT_FALSE(sut->SetData(data.data(), data.size()));

        EXPECT_FALSE(sut->HasKey("present"));
        ASSERT_EQ(capture->Records().size(), 1u);
        EXPECT_EQ(capture->Records()[0].level, LOGLEVEL_ERROR);
    }
}

TYPED_TEST(ZCommStreamTest, FilesHoldTheDataAndAMissingFileEmptiesTheStream) {
    const std::string path = this->TempPath(".stream");
    auto written = this->MakeStream();
    written->Serialize("value", 12, false);
    written->SerializeChild("child", this->ChildWith(written, "n", 3));
    ASSERT_TRUE(written->GetDataToFile(path.c_str()));
    auto sut = this->MakeStream();

    EXPECT_TRUE(sut->SetDataFromFile(path.c_str()));

    std::int32_t value = 0;
    std::shared_ptr<ZCommStream> child;
    EXPECT_TRUE(sut->Deserialize("value", value));
    EXPECT_TRUE(sut->DeserializeChild("child", child));
    EXPECT_EQ(value, 12);
    ZScopedLogCapture capture;
    EXPECT_FALSE(sut->SetDataFromFile((path + ".missing").c_str()));
    EXPECT_FALSE(sut->HasKey("value"));
    EXPECT_EQ(capture->Count("Cannot read", LOGLEVEL_ERROR), 1u);
    std::remove(path.c_str());
}

TYPED_TEST(ZCommStreamTest, ChildrenShareTheStreamSettingsAndKind) {
    auto sut = this->MakeStream();
    sut->m_bEnumsAsText = !sut->m_bEnumsAsText;
    sut->m_logLevel = LOGLEVEL_DETAIL;
    sut->m_logSource = "Custom";

    auto child = sut->CreateChild();

    ASSERT_NE(child, nullptr);
    EXPECT_STREQ(child->ClassName(), sut->ClassName());
    EXPECT_EQ(child->m_bEnumsAsText, sut->m_bEnumsAsText);
    EXPECT_EQ(child->m_logLevel, LOGLEVEL_DETAIL);
    EXPECT_STREQ(child->m_logSource, "Custom");
}

TYPED_TEST(ZCommStreamTest, TheFactoryMakesTheStreamByName) {
    using Stream = typename TypeParam::StreamType;

    auto made = ZShared::ZFactory::CreateShared(Stream::StaticClassName());

    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(ZShared::CID::IsKindOf(ZCommStream::m_cid, made->GetCID()));
    EXPECT_NE(std::dynamic_pointer_cast<Stream>(made), nullptr);
}

}  // namespace
