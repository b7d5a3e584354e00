#include "ZMessages/ZBinaryCommStream.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ZTestKit/ZCapturingLogSink.h"

namespace {

const std::string kHeader("ZBIN\x01", 5);

std::shared_ptr<ZCommStream> ChildWith(const ZCommStream& parent, const char* key, std::int32_t value) {
    auto child = parent.CreateChild();
    child->Serialize(key, value, false);
    return child;
}

// A stream with every kind of entry, children and arrays among them.
std::string RichData() {
    auto stream = ZMakeShared<ZBinaryCommStream>();
    stream->Serialize("first", 1, false);
    stream->Serialize("u", 2u, false);
    stream->Serialize("wide", std::int64_t{-3}, false);
    stream->Serialize("f", 1.5f, false);
    stream->Serialize("d", 2.5, false);
    stream->Serialize("b", true, false);
    stream->Serialize("s", "text", false);
    stream->Serialize("list", ZStringList{"a", "bc"}, false);
    auto child = ChildWith(*stream, "n", 5);
    child->SerializeChild("g", ChildWith(*stream, "n", 6));
    stream->SerializeChild("child", child);
    stream->SerializeArrayElement("arr", ChildWith(*stream, "n", 7));
    stream->SerializeArrayElement("arr", ChildWith(*stream, "n", 8));
    stream->Serialize("last", 9, false);
    std::string data;
    stream->GetData(data);
    return data;
}

// Reads every key of RichData as every type, and its children and arrays, to show that whatever
// a stream accepted can be read without harm.
void ReadEverything(const std::shared_ptr<ZCommStream>& stream, int depth) {
    for (const char* key :
         {"first", "u", "wide", "f", "d", "b", "s", "list", "child", "g", "arr", "n", "last"}) {
        std::int32_t i32;
        std::uint32_t u32;
        std::int64_t i64;
        float f;
        double d;
        bool b;
        ZString s;
        ZStringList list;
        stream->Deserialize(key, i32);
        stream->Deserialize(key, u32);
        stream->Deserialize(key, i64);
        stream->Deserialize(key, f);
        stream->Deserialize(key, d);
        stream->Deserialize(key, b);
        stream->Deserialize(key, s);
        stream->Deserialize(key, list);
        stream->HasKey(key);
        if (depth > 3) {
            continue;
        }
        std::shared_ptr<ZCommStream> child;
        if (stream->DeserializeChild(key, child)) {
            ReadEverything(child, depth + 1);
        }
        std::shared_ptr<void> cursor;
        while (stream->DeserializeArrayElement(key, child, cursor)) {
            ReadEverything(child, depth + 1);
        }
    }
}

TEST(ZBinaryCommStreamTest, LaysOutEntriesAsTypeKeyAndLittleEndianValue) {
    ZBinaryCommStream sut;
    sut.Serialize("k", 0x01020304, false);
    sut.Serialize("s", "ab", false);
    std::string data;

    sut.GetData(data);

    EXPECT_EQ(data, kHeader + std::string("\x01\x01\x00k\x04\x03\x02\x01", 8) +
                        std::string("\x07\x01\x00s\x02\x00\x00\x00"
                                    "ab",
                                    10));
}

TEST(ZBinaryCommStreamTest, RefusesMalformedDataWithOneLineNamingTheProblem) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"hello world, not a stream", "not a binary stream"},
        {kHeader.substr(0, 4), "not a binary stream"},
        {std::string("ZBIN\x02", 5), "version 2 is not supported"},
        {kHeader + std::string("\x63\x01\x00k", 4), "byte 5: unknown entry type"},
        {kHeader + std::string("\x06\x01\x00k\x02", 5), "byte 5: bool that is neither 0 nor 1"},
        {kHeader + std::string("\x01\x05\x00k", 4), "byte 5: key runs past the end"},
        {kHeader + std::string("\x07\x01\x00s\xff\x00\x00\x00", 8), "byte 5: value runs past the end"},
        {kHeader + std::string("\x08\x01\x00l\x04\x00\x00\x00\x02\x00\x00\x00", 12),
         "string list count larger"},
        {kHeader + std::string("\x09\x01\x00"
                               "c\x04\x00\x00\x00\x63\x00\x00\x00",
                               12),
         "byte 13: unknown entry type"},
    };
    for (const auto& [data, problem] : cases) {
        ZBinaryCommStream sut;
        ZScopedLogCapture capture;

        EXPECT_FALSE(sut.SetData(data.data(), data.size())) << problem;

        EXPECT_EQ(capture->Count(problem, LOGLEVEL_ERROR), 1u) << problem;
        EXPECT_EQ(capture->Records().size(), 1u) << problem;
    }
}

TEST(ZBinaryCommStreamTest, TruncatedOrCorruptedDataIsRefusedWithOneLineOrReadSafely) {
    const std::string original = RichData();
    const auto acceptedSafely = [](const std::string& data) {
        auto sut = ZMakeShared<ZBinaryCommStream>();
        ZScopedLogCapture capture;
        if (!sut->SetData(data.data(), data.size())) {
            EXPECT_EQ(capture->Records().size(), 1u) << data.size();
            EXPECT_FALSE(sut->HasKey("first")) << data.size();
            return false;
        }
        ReadEverything(sut, 0);
        std::string again;
        sut->GetData(again);
        EXPECT_EQ(again, data);
        return true;
    };
    std::size_t accepted = 0;

    for (std::size_t length = 0; length < original.size(); ++length) {
        accepted += acceptedSafely(original.substr(0, length)) ? 1 : 0;
    }
    for (std::size_t at = 0; at < original.size(); ++at) {
        for (const unsigned char flip : {0x01, 0x80, 0xff}) {
            std::string data = original;
            data[at] = static_cast<char>(static_cast<unsigned char>(data[at]) ^ flip);
            acceptedSafely(data);
        }
    }

    EXPECT_EQ(accepted, 12u);  // the header alone, then after each of the 12 entries but the last
}

TEST(ZBinaryCommStreamTest, ChildrenNestUpToTheLimit) {
    const auto nested = [](int levels) {
        std::shared_ptr<ZCommStream> stream = ZMakeShared<ZBinaryCommStream>();
        stream->Serialize("leaf", 1, false);
        for (int i = 0; i < levels; ++i) {
            auto parent = stream->CreateChild();
            parent->SerializeChild("c", stream);
            stream = parent;
        }
        std::string data;
        stream->GetData(data);
        return data;
    };
    const std::string deepest = nested(ZBinaryCommStream::kMaxNesting);
    const std::string tooDeep = nested(ZBinaryCommStream::kMaxNesting + 1);
    auto sut = ZMakeShared<ZBinaryCommStream>();
    ZScopedLogCapture capture;

    EXPECT_FALSE(sut->SetData(tooDeep.data(), tooDeep.size()));
    ASSERT_TRUE(sut->SetData(deepest.data(), deepest.size()));

    std::shared_ptr<ZCommStream> level = sut;
    for (int i = 0; i < ZBinaryCommStream::kMaxNesting; ++i) {
        std::shared_ptr<ZCommStream> child;
        ASSERT_TRUE(level->DeserializeChild("c", child)) << i;
        level = child;
    }
    std::int32_t leaf = 0;
    EXPECT_TRUE(level->Deserialize("leaf", leaf));
    EXPECT_EQ(leaf, 1);
    EXPECT_EQ(capture->Count("children nest too deep", LOGLEVEL_ERROR), 1u);
}

TEST(ZBinaryCommStreamTest, LargeStreamsReadAndReplaceEveryKey) {
    constexpr std::int32_t kCount = 10000;
    auto sut = ZMakeShared<ZBinaryCommStream>();
    for (std::int32_t i = 0; i < kCount; ++i) {
        sut->Serialize(("key" + std::to_string(i)).c_str(), i, false);
        sut->SerializeArrayElement("nodes", ChildWith(*sut, "n", i));
    }
    sut->Serialize("key5000", "replaced", false);

    std::int32_t wrong = 0;
    std::shared_ptr<void> cursor;
    std::shared_ptr<ZCommStream> node;
    for (std::int32_t i = 0; i < kCount; ++i) {
        std::int32_t value = -1, n = -1;
        if (i != 5000 && (!sut->Deserialize(("key" + std::to_string(i)).c_str(), value) || value != i)) {
            ++wrong;
        }
        if (!sut->DeserializeArrayElement("nodes", node, cursor) || !node->Deserialize("n", n) || n != i) {
            ++wrong;
        }
    }
    ZString replaced;
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(sut->Deserialize("key5000", replaced));
    EXPECT_EQ(replaced, "replaced");
    EXPECT_FALSE(sut->DeserializeArrayElement("nodes", node, cursor));
}

TEST(ZBinaryCommStreamTest, ACursorWorksOnlyWithItsStreamAndContent) {
    auto sut = ZMakeShared<ZBinaryCommStream>();
    sut->SerializeArrayElement("arr", ChildWith(*sut, "n", 1));
    sut->SerializeArrayElement("arr", ChildWith(*sut, "n", 2));
    auto other = ZMakeShared<ZBinaryCommStream>();
    other->SerializeArrayElement("arr", ChildWith(*sut, "n", 1));
    std::shared_ptr<void> cursor;
    std::shared_ptr<ZCommStream> child;
    ASSERT_TRUE(sut->DeserializeArrayElement("arr", child, cursor));
    ZScopedLogCapture capture;

    EXPECT_FALSE(other->DeserializeArrayElement("arr", child, cursor));
    sut->Serialize("arr", 5, false);
    EXPECT_FALSE(sut->DeserializeArrayElement("arr", child, cursor));

    EXPECT_EQ(capture->Count("array cursor", LOGLEVEL_ERROR), 2u);
}

TEST(ZBinaryCommStreamTest, AStreamCanStoreAndReadItself) {
    auto sut = ZMakeShared<ZBinaryCommStream>();
    sut->Serialize("n", 1, false);
    std::shared_ptr<ZCommStream> self = sut;

    EXPECT_TRUE(sut->SerializeChild("copy", self));
    EXPECT_TRUE(sut->SerializeArrayElement("copies", self));
    ASSERT_TRUE(sut->DeserializeChild("copy", self));

    std::int32_t n = 0;
    EXPECT_TRUE(sut->Deserialize("n", n));
    EXPECT_EQ(n, 1);
    EXPECT_FALSE(sut->HasKey("copy"));
}

// The record is read from an array, as the topology reads its nodes.
TEST(ZBinaryCommStreamTest, AbsentKeysStayAbsentAndPresentOnesFoundWhileTheStreamChanges) {
    auto parent = ZMakeShared<ZBinaryCommStream>();
    auto record = parent->CreateChild();
    record->Serialize("a", 1, false);
    record->Serialize("b", "two", false);
    record->Serialize("c", 3, false);
    parent->SerializeArrayElement("records", record);
    std::shared_ptr<void> cursor;
    std::shared_ptr<ZCommStream> sut;
    ASSERT_TRUE(parent->DeserializeArrayElement("records", sut, cursor));
    std::int32_t number = 0;
    ZString text;

    EXPECT_TRUE(sut->Deserialize("a", number));
    EXPECT_TRUE(sut->Deserialize("b", text));
    EXPECT_FALSE(sut->Deserialize("x", number));
    EXPECT_FALSE(sut->HasKey("y"));
    EXPECT_TRUE(sut->Deserialize("c", number));
    EXPECT_FALSE(sut->Deserialize("x", number));
    EXPECT_TRUE(sut->Deserialize("a", number));  // found again from the start
    EXPECT_EQ(number, 1);

    sut->Serialize("x", 24, false);  // the view takes a copy and grows
    EXPECT_TRUE(sut->Deserialize("x", number));
    EXPECT_EQ(number, 24);
    EXPECT_FALSE(sut->Deserialize("y", number));
    sut->Serialize("b", 22, false);  // replaced, so entries move
    EXPECT_TRUE(sut->Deserialize("b", number));
    EXPECT_EQ(number, 22);
    EXPECT_TRUE(sut->Deserialize("x", number));
    EXPECT_TRUE(sut->Deserialize("c", number));
    EXPECT_EQ(number, 3);
    EXPECT_FALSE(sut->HasKey("y"));
    sut->Clear();
    EXPECT_FALSE(sut->HasKey("a"));
    sut->Serialize("y", 25, false);
    EXPECT_TRUE(sut->HasKey("y"));
}

TEST(ZBinaryCommStreamTest, RoomMadeForArrayElementsChangesNoByte) {
    auto sut = ZMakeShared<ZBinaryCommStream>();
    auto plain = ZMakeShared<ZBinaryCommStream>();
    sut->Serialize("arr", "not an array", false);
    plain->Serialize("arr", "not an array", false);

    sut->ReserveArrayElements("list", 100, ChildWith(*sut, "n", 1));
    sut->ReserveArrayElements("list", 0, ChildWith(*sut, "n", 1));
    sut->ReserveArrayElements("list", 5, nullptr);
    for (const auto& stream : {sut, plain}) {
        for (std::int32_t i = 0; i < 3; ++i) {
            stream->SerializeArrayElement("list", ChildWith(*stream, "n", i));
            stream->Serialize("between", i, false);
        }
    }

    std::string data, plainData;
    sut->GetData(data);
    plain->GetData(plainData);
    EXPECT_EQ(data, plainData);
    EXPECT_EQ(sut->CountArrayElements("list"), 3u);
}

// One record's keys, as a record's Serialize writes them: many of them when `wide` (past the size
// at which a stream indexes its keys), and "n" twice, so that the second replaces the first.
void WriteRecord(ZCommStream& stream, std::int32_t n, bool wide) {
    stream.Serialize("n", 0, false);
    stream.Serialize("name", ZString("record ") + std::to_string(n).c_str(), false);
    for (std::int32_t k = 0; wide && k < 20; ++k) {
        stream.Serialize(("k" + std::to_string(k)).c_str(), k, false);
    }
    stream.Serialize("n", n, false);
}

// Writes "before", three elements of "items", then "after" and "before" again, with each element
// written in place when `inPlace`, else through a child.
std::string WriteItems(bool inPlace, std::vector<bool>& taken) {
    auto sut = ZMakeShared<ZBinaryCommStream>();
    sut->Serialize("before", 1, false);
    for (std::int32_t n = 0; n < 3; ++n) {
        ZBinaryCommStream::ZElementMark mark;
        if (inPlace && sut->OpenArrayElement("items", mark)) {
            taken.push_back(true);
            WriteRecord(*sut, n, n == 1);
            sut->CloseArrayElement(mark, n == 0 ? 2 : 0);
            continue;
        }
        taken.push_back(false);
        auto child = sut->CreateChild();
        WriteRecord(*child, n, n == 1);
        sut->SerializeArrayElement("items", child);
    }
    sut->Serialize("after", 2, false);
    sut->Serialize("before", 3, false);
    std::string data;
    sut->GetData(data);
    return data;
}

}  // namespace

TEST(ZBinaryCommStreamTest, ElementsWrittenInPlaceMatchElementsWrittenThroughAChild) {
    std::vector<bool> throughChild, inPlace;
    const std::string expected = WriteItems(false, throughChild);

    const std::string data = WriteItems(true, inPlace);

    EXPECT_EQ(inPlace, (std::vector<bool>{true, true, true}));
    EXPECT_EQ(data, expected);
    auto read = ZMakeShared<ZBinaryCommStream>();
    ASSERT_TRUE(read->SetData(data.data(), data.size()));
    EXPECT_EQ(read->CountArrayElements("items"), 3u);
    std::int32_t before = 0;
    EXPECT_TRUE(read->Deserialize("before", before));
    EXPECT_EQ(before, 3);
}

// Elements of an earlier array go through a child, which appends them where a plain write would.
TEST(ZBinaryCommStreamTest, AnElementIsWrittenInPlaceOnlyAsANewArrayOrTheOneBeingWritten) {
    auto sut = ZMakeShared<ZBinaryCommStream>();
    sut->Serialize("items", 5, false);
    sut->SerializeArrayElement("earlier", ChildWith(*sut, "n", 1));
    sut->SerializeArrayElement("latest", ChildWith(*sut, "n", 2));
    sut->Serialize("between", 0, false);
    ZBinaryCommStream::ZElementMark mark;

    const bool overPlainValue = sut->OpenArrayElement("items", mark);
    const bool intoEarlierArray = sut->OpenArrayElement("earlier", mark);
    const bool intoLatestArray = sut->OpenArrayElement("latest", mark);
    sut->Serialize("n", 3, false);
    sut->CloseArrayElement(mark);
    const bool newArray = sut->OpenArrayElement("fresh", mark);
    sut->Serialize("n", 4, false);
    sut->CloseArrayElement(mark);

    EXPECT_FALSE(overPlainValue);
    EXPECT_FALSE(intoEarlierArray);
    EXPECT_TRUE(intoLatestArray);
    EXPECT_TRUE(newArray);
    EXPECT_EQ(sut->CountArrayElements("earlier"), 1u);
    EXPECT_EQ(sut->CountArrayElements("latest"), 2u);
    EXPECT_EQ(sut->CountArrayElements("fresh"), 1u);
    std::int32_t items = 0;
    EXPECT_TRUE(sut->Deserialize("items", items));
    EXPECT_EQ(items, 5);
}
