#include "ZMessages/ZCommStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZTestKit/ZCapturingLogSink.h"

namespace {

using ZFrameworkErrorCodes::ERRCODE_BUSY;
using ZFrameworkErrorCodes::ERRCODE_SYSUPDATE_IN_SHUTDOWN;

// A value other than `value`, so that a read target visibly changes.
template <class T>
T OtherThan(const T& value) {
    if constexpr (std::is_same_v<T, bool>) {
        return !value;
    } else if constexpr (std::is_arithmetic_v<T>) {
        return value == T{1} ? T{2} : T{1};
    } else {
        return value.empty() ? T{"stale"} : T{};
    }
}

template <class T>
void ExpectRead(ZCommStream& stream, const char* key, const T& expected) {
    T value = OtherThan(expected);
    EXPECT_TRUE(stream.Deserialize(key, value)) << key;
    EXPECT_EQ(value, expected) << key;
}

void ExpectRead(ZCommStream& stream, const char* key, const char* expected) {
    ExpectRead(stream, key, ZString(expected));
}

// Reads a value, or a child object when the target is a stream.
template <class T>
bool Read(ZCommStream& stream, const char* key, T& target) {
    return stream.Deserialize(key, target);
}

bool Read(ZCommStream& stream, const char* key, std::shared_ptr<ZCommStream>& child) {
    return stream.DeserializeChild(key, child);
}

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
    using Stream = typename Case::StreamType;
    // The kind a stream of this case refuses as a child.
    using OtherStream =
        std::conditional_t<std::is_same_v<Stream, ZJSONCommStream>, ZBinaryCommStream, ZJSONCommStream>;

    static std::shared_ptr<ZCommStream> MakeStream() { return ZMakeShared<Stream>(); }

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

TYPED_TEST(ZCommStreamTest, ValuesRoundTripAtTheirLimits) {
    ZScopedLogCapture capture;
    auto sut = this->MakeStream();
    const auto forEachValue = [](auto&& visit) {
        visit("i32min", std::numeric_limits<std::int32_t>::min());
        visit("i32max", std::numeric_limits<std::int32_t>::max());
        visit("u32max", std::numeric_limits<std::uint32_t>::max());
        visit("i64min", std::numeric_limits<std::int64_t>::min());
        visit("i64max", std::numeric_limits<std::int64_t>::max());
        visit("f", 1.2f);
        visit("fmax", std::numeric_limits<float>::max());
        visit("ftiny", std::numeric_limits<float>::denorm_min());
        visit("fneg0", -0.0f);
        visit("d", 0.1);
        visit("dlow", std::numeric_limits<double>::lowest());
        visit("dtiny", std::numeric_limits<double>::denorm_min());
        visit("yes", true);
        visit("no", false);
        visit("text", ZString("h\xc3\xa9llo \"quoted\"\n\ttab \\ end"));
        visit("empty", ZString());
        visit("list", ZStringList{"first", "", "with space", ZString(300, 'x')});
        visit("none", ZStringList());
    };
    forEachValue([&sut](const char* key, const auto& value) { sut->Serialize(key, value, false); });

    auto read = this->Reread(sut);

    forEachValue([&read](const char* key, const auto& value) { ExpectRead(*read, key, value); });
    float fneg0 = 1;
    EXPECT_TRUE(read->Deserialize("fneg0", fneg0) && std::signbit(fneg0));
    EXPECT_TRUE(capture->Records().empty());
}

TYPED_TEST(ZCommStreamTest, KeysReadBackInAnyOrderAndWritingOneAgainReplacesIt) {
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

    for (std::int32_t i = 39; i >= 0; --i) {
        if (i != 7 && i != 20 && i != 33) {
            ExpectRead(*read, ("k" + std::to_string(i)).c_str(), i == 0 ? 100 : i);
        }
    }
    ExpectRead(*read, "k38", 38);  // again, after keys written before it
    ExpectRead(*read, "k7", "seven");
    ExpectRead(*read, "k33", ZStringList{"thirty", "three"});
    ExpectRead(*read, "list", 5);
    EXPECT_TRUE(read->HasKey("k20"));
    EXPECT_EQ(read->CountArrayElements("k20"), 2u);
}

TYPED_TEST(ZCommStreamTest, ChildrenNestKeepTheirKeysAndReadBackEitherWay) {
    ZScopedLogCapture capture;
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
    ExpectRead(*child, "a", 1);
    ExpectRead(*child, "b", "bee");
    const auto deep = child->ReadChild("deep");
    ASSERT_NE(deep, nullptr);
    ExpectRead(*deep, "x", 42);
    EXPECT_FALSE(deep->HasKey("a"));
    EXPECT_FALSE(child->HasKey("before"));
    const auto empty = read->ReadChild("empty");
    ASSERT_NE(empty, nullptr);
    EXPECT_FALSE(empty->HasKey("a"));
    EXPECT_EQ(read->ReadChild("absent"), nullptr);
    EXPECT_EQ(read->ReadChild("before"), nullptr);
    ExpectRead(*read, "before", 1);
    ExpectRead(*read, "after", 2);
    EXPECT_EQ(capture->Count("Key <before>: expected object", LOGLEVEL_WARNING), 1u);
    EXPECT_EQ(capture->Records().size(), 1u);
}

TYPED_TEST(ZCommStreamTest, ArraysComeBackInOrderThroughTheirCursorsAndTellTheirSize) {
    ZScopedLogCapture capture;
    auto sut = this->MakeStream();
    sut->ReserveArrayElements("items", 3, this->ChildWith(sut, "n", 0));
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
    ExpectRead(*read, "between", true);
    EXPECT_EQ(read->CountArrayElements("items"), 3u);
    EXPECT_EQ(read->CountArrayElements("others"), 2u);
    EXPECT_EQ(read->CountArrayElements("between"), 0u);
    EXPECT_EQ(read->CountArrayElements("missing"), 0u);
    EXPECT_EQ(read->CountArrayElements(nullptr), 0u);
    EXPECT_TRUE(capture->Records().empty());
}

TYPED_TEST(ZCommStreamTest, AbsentKeysLeaveTargetsAloneSilently) {
    ZScopedLogCapture capture;
    auto sut = this->MakeStream();
    sut->Serialize("present", 1, false);
    auto read = this->Reread(sut);
    const auto expectKept = [&read](auto target) {
        const auto before = target;
        EXPECT_FALSE(Read(*read, "absent", target));
        EXPECT_EQ(target, before);
    };
    std::shared_ptr<ZCommStream> child;
    std::shared_ptr<void> cursor;

    expectKept(std::int32_t{7});
    expectKept(std::uint32_t{7});
    expectKept(std::int64_t{7});
    expectKept(7.0f);
    expectKept(7.0);
    expectKept(true);
    expectKept(ZString("keep"));
    expectKept(ZStringList{"keep"});
    expectKept(std::shared_ptr<ZCommStream>());
    EXPECT_FALSE(read->DeserializeArrayElement("absent", child, cursor));
    EXPECT_FALSE(read->HasKey("absent"));
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
    const auto expectRefused = [&read](const char* key, auto target) {
        ZScopedLogCapture capture;
        const auto before = target;
        EXPECT_FALSE(Read(*read, key, target)) << key;
        EXPECT_EQ(target, before) << key;
        EXPECT_EQ(capture->Records().size(), 1u) << key;
        EXPECT_EQ(capture->Count("Key <" + std::string(key) + ">", LOGLEVEL_WARNING), 1u) << key;
    };

    expectRefused("text", std::int32_t{3});
    expectRefused("big", std::int32_t{3});
    expectRefused("negative", std::uint32_t{3});
    expectRefused("fraction", std::int64_t{3});
    expectRefused("text", 3.0);
    expectRefused("flag", 3.0f);
    expectRefused("number", false);
    expectRefused("number", ZString("keep"));
    expectRefused("child", ZString("keep"));
    expectRefused("array", std::int32_t{3});
    expectRefused("text", ZStringList{"keep"});
    expectRefused("list", std::shared_ptr<ZCommStream>());
    expectRefused("array", std::shared_ptr<ZCommStream>());
    ZScopedLogCapture capture;
    std::shared_ptr<ZCommStream> element;
    std::shared_ptr<void> cursor;
    EXPECT_FALSE(read->DeserializeArrayElement("child", element, cursor));
    EXPECT_EQ(capture->Count("Key <child>", LOGLEVEL_WARNING), 1u);
    EXPECT_EQ(capture->Records().size(), 1u);
}

TYPED_TEST(ZCommStreamTest, NumbersConvertBetweenKindsWhenTheyFit) {
    auto sut = this->MakeStream();
    sut->Serialize("wide", std::int64_t{-5}, false);
    sut->Serialize("unsigned", std::uint32_t{4000000000u}, false);
    sut->Serialize("whole", 3.0, false);
    sut->Serialize("int", 9, false);

    auto read = this->Reread(sut);

    ExpectRead(*read, "wide", std::int32_t{-5});
    ExpectRead(*read, "unsigned", std::int64_t{4000000000});
    ExpectRead(*read, "whole", std::int32_t{3});
    ExpectRead(*read, "int", 9.0);
    ExpectRead(*read, "int", 9.0f);
}

// A JSON text has no infinity to write a float read as one, so neither stream kind makes one up.
TYPED_TEST(ZCommStreamTest, FloatTargetsRefuseFiniteNumbersBeyondTheirRange) {
    constexpr float kLargest = std::numeric_limits<float>::max();
    auto sut = this->MakeStream();
    sut->Serialize("largest", static_cast<double>(kLargest), false);
    sut->Serialize("over", 1e39, false);
    sut->Serialize("under", -1e39, false);
    auto read = this->Reread(sut);
    read->CountReadProblems();
    float value = 7;
    ZScopedLogCapture capture;

    ExpectRead(*read, "largest", kLargest);
    EXPECT_FALSE(read->Deserialize("over", value));
    EXPECT_FALSE(read->Deserialize("under", value));

    EXPECT_EQ(value, 7.0f);
    EXPECT_EQ(read->ReadProblemCount(), 2u);
    EXPECT_EQ(capture->Count("is out of float range", LOGLEVEL_WARNING), 2u);
    ExpectRead(*read, "under", -1e39);
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
    ExpectRead(*first, "n", 2);
    ExpectRead(*second, "n", 1);
    EXPECT_FALSE(second->HasKey("added"));
    EXPECT_FALSE(first->HasKey("parent"));
}

TYPED_TEST(ZCommStreamTest, ChildrenOfAnotherKindAreRefusedAndReplacedWhenRead) {
    using Other = typename TestFixture::OtherStream;
    auto sut = this->MakeStream();
    sut->SerializeChild("child", this->ChildWith(sut, "n", 4));
    auto read = this->Reread(sut);
    std::shared_ptr<ZCommStream> child = ZMakeShared<Other>();
    ZScopedLogCapture capture;

    EXPECT_FALSE(sut->SerializeChild("other", ZMakeShared<Other>()));
    EXPECT_FALSE(sut->SerializeArrayElement("others", ZMakeShared<Other>()));
    ASSERT_TRUE(read->DeserializeChild("child", child));

    EXPECT_FALSE(sut->HasKey("other"));
    EXPECT_FALSE(sut->HasKey("others"));
    EXPECT_EQ(capture->Count(std::string("<") + Other::StaticClassName() + ">", LOGLEVEL_ERROR), 2u);
    EXPECT_STREQ(child->ClassName(), sut->ClassName());
    ExpectRead(*child, "n", 4);
}

TYPED_TEST(ZCommStreamTest, ObjectsAreMadeByTheClassTheyName) {
    auto sut = this->MakeStream();
    sut->SerializeObject("response", ZMakeShared<ZGenericResponseMsg>("done", true, ERRCODE_BUSY));
    sut->SerializeChild("classless", this->ChildWith(sut, "n", 1));
    EXPECT_FALSE(sut->SerializeObject("none", std::shared_ptr<ZGenericResponseMsg>()));
    auto read = this->Reread(sut);
    const auto objectAt = [&read](const char* key) {
        return read->template DeserializeChildClass<ZMessage>(read->ReadChild(key));
    };
    ZScopedLogCapture capture;

    const auto response = std::dynamic_pointer_cast<ZGenericResponseMsg>(objectAt("response"));
    const auto classless = objectAt("classless");

    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->m_text, "done");
    EXPECT_TRUE(response->m_bSuccess);
    EXPECT_EQ(response->m_errCode, ERRCODE_BUSY);
    EXPECT_EQ(classless, nullptr);
    EXPECT_TRUE(capture->Records().empty());
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

    std::shared_ptr<ZCommStream> child;
    ExpectRead(*sut, "value", 12);
    EXPECT_TRUE(sut->DeserializeChild("child", child));
    ZScopedLogCapture capture;
    EXPECT_FALSE(sut->SetDataFromFile((path + ".missing").c_str()));
    EXPECT_FALSE(sut->HasKey("value"));
    EXPECT_EQ(capture->Count("Cannot read", LOGLEVEL_ERROR), 1u);
    std::remove(path.c_str());
}

TYPED_TEST(ZCommStreamTest, TheFactoryMakesTheStreamAndChildrenShareItsKindAndSettings) {
    using Made = typename TestFixture::Stream;
    const auto sut =
        std::dynamic_pointer_cast<Made>(ZShared::ZFactory::CreateShared(Made::StaticClassName()));
    ASSERT_NE(sut, nullptr);
    sut->m_bEnumsAsText = !sut->m_bEnumsAsText;
    sut->m_logLevel = LOGLEVEL_DETAIL;
    sut->m_logSource = "Custom";

    auto child = sut->CreateChild();

    ASSERT_NE(child, nullptr);
    EXPECT_TRUE(ZShared::CID::IsKindOf(ZCommStream::m_cid, sut->GetCID()));
    EXPECT_STREQ(child->ClassName(), sut->ClassName());
    EXPECT_EQ(child->m_bEnumsAsText, sut->m_bEnumsAsText);
    EXPECT_EQ(child->m_logLevel, LOGLEVEL_DETAIL);
    EXPECT_STREQ(child->m_logSource, "Custom");
}

}  // namespace
