// Writes the generated part of the seed corpora: the same documents encoded by each stream kind,
// plus binary inputs that are damaged on purpose. Run with the corpus folder as its argument and
// commit what it writes; the hand-written seeds live beside these.
#include <cstdio>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZMessages/ZJSONCommStream.h"

namespace {

using ZDocumentWriter = std::function<void(const std::shared_ptr<ZCommStream>&)>;

std::shared_ptr<ZCommStream> ChildWith(const std::shared_ptr<ZCommStream>& parent, const char* key,
                                       std::int32_t value) {
    auto child = parent->CreateChild();
    child->Serialize(key, value, false);
    return child;
}

void GenericResponse(const std::shared_ptr<ZCommStream>& stream) {
    ZGenericResponseMsg("Could not find source node for connection", false,
                        ZFrameworkErrorCodes::ERRCODE_BUSY)
        .SerializeClass(stream);
}

void Envelope(const std::shared_ptr<ZCommStream>& stream) {
    ZGenericResponseMsg message("done", true);
    message.SetSource(ZCommEndpoint(ZNodeUID("NM1"), EP_RESPONSE, "addnode"));
    message.SetResponseRequested(true);
    message.SerializeMessage(stream);
}

void EveryType(const std::shared_ptr<ZCommStream>& stream) {
    stream->Serialize("n", std::numeric_limits<std::int32_t>::min(), false);
    stream->Serialize("a", std::numeric_limits<std::uint32_t>::max(), false);
    stream->Serialize("priority", std::numeric_limits<std::int64_t>::max(), false);
    stream->Serialize("b", 1.2f, false);
    stream->Serialize("ErrCode", -2.5e-300, false);
    stream->Serialize("bSuccess", true, false);
    stream->Serialize("text", "h\xc3\xa9llo \"quoted\"\n", false);
    stream->Serialize("s", ZString(), false);
    stream->Serialize("list", ZStringList{"first", "", "third"}, false);
    stream->Serialize("plugins", ZStringList(), false);
}

void NestedChildren(const std::shared_ptr<ZCommStream>& stream) {
    auto inner = ChildWith(stream, "n", 2);
    inner->SerializeChild("child", ChildWith(stream, "n", 3));
    auto outer = ChildWith(stream, "n", 1);
    outer->SerializeChild("child", inner);
    stream->Serialize("text", "outer", false);
    stream->SerializeChild("child", outer);
    stream->SerializeChild("body", stream->CreateChild());
}

void Arrays(const std::shared_ptr<ZCommStream>& stream) {
    const ZVector<std::shared_ptr<ZGenericResponseMsg>> responses{
        ZMakeShared<ZGenericResponseMsg>("one", true),
        ZMakeShared<ZGenericResponseMsg>("two", false, ZFrameworkErrorCodes::ERRCODE_SYSUPDATE_IN_SHUTDOWN)};
    stream->SerializeObjectArray("items", responses);
    auto unknown = stream->CreateChild();
    unknown->Serialize("class", "ZNoSuchMessage", false);
    stream->SerializeArrayElement("items", unknown);
    for (std::int32_t i = 0; i < 3; ++i) {
        auto element = ChildWith(stream, "n", i);
        element->SerializeArrayElement("arr", ChildWith(stream, "n", 10 * i));
        stream->SerializeArrayElement("arr", element);
        stream->SerializeArrayElement("edges", ChildWith(stream, "n", -i));
    }
}

void TopologyLike(const std::shared_ptr<ZCommStream>& stream) {
    stream->Serialize("plugins", ZStringList{"libNodeBase.so", "libNodeComm.so"}, false);
    for (std::int32_t i = 0; i < 20; ++i) {
        auto node = stream->CreateChild();
        node->Serialize("uid", ("Node" + std::to_string(i)).c_str(), false);
        node->Serialize("class", "ZGenericResponseMsg", false);
        node->Serialize("list", ZStringList{"alias" + ZString(std::to_string(i).c_str())}, false);
        stream->SerializeArrayElement("nodes", node);
    }
    for (std::int32_t i = 1; i < 10; ++i) {
        auto edge = stream->CreateChild();
        edge->Serialize("source", ("control/Node" + std::to_string(i - 1) + "/out").c_str(), false);
        edge->Serialize("uid", ("Node" + std::to_string(i)).c_str(), false);
        stream->SerializeArrayElement("edges", edge);
    }
}

void ManyKeys(const std::shared_ptr<ZCommStream>& stream) {
    for (std::int32_t i = 0; i < 40; ++i) {
        stream->Serialize(("k" + std::to_string(i)).c_str(), i, false);
    }
    stream->Serialize("text", "after many keys", false);
}

void Nested(const std::shared_ptr<ZCommStream>& stream, int levels) {
    std::shared_ptr<ZCommStream> level = ChildWith(stream, "n", levels);
    for (int i = 1; i < levels; ++i) {
        auto parent = stream->CreateChild();
        parent->SerializeChild("child", level);
        level = parent;
    }
    stream->SerializeChild("child", level);
}

bool WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file) {
        std::fprintf(stderr, "Cannot write %s\n", path.c_str());
        return false;
    }
    return true;
}

std::string Encoded(const std::shared_ptr<ZCommStream>& stream, const ZDocumentWriter& write) {
    write(stream);
    std::string data;
    stream->GetData(data);
    return data;
}

std::string Binary(const ZDocumentWriter& write) {
    return Encoded(ZMakeShared<ZBinaryCommStream>(), write);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus folder>\n", argv[0]);
        return 2;
    }
    const std::string binary = std::string(argv[1]) + "/ZBinaryCommStreamFuzz/";
    const std::string json = std::string(argv[1]) + "/ZJSONCommStreamFuzz/";
    const std::vector<std::pair<const char*, ZDocumentWriter>> documents{
        {"generic_response", GenericResponse},
        {"envelope", Envelope},
        {"every_type", EveryType},
        {"nested_children", NestedChildren},
        {"arrays", Arrays},
        {"topology_like", TopologyLike},
        {"many_keys", ManyKeys},
    };
    bool ok = true;
    for (const auto& [name, write] : documents) {
        ok &= WriteFile(binary + name + ".bin", Binary(write));
        ok &= WriteFile(json + name + ".json", Encoded(ZMakeShared<ZJSONCommStream>(), write));
    }
    const std::string header = Binary([](const std::shared_ptr<ZCommStream>&) {});
    const std::string everyType = Binary(EveryType);
    ok &= WriteFile(binary + "deepest.bin", Binary([](const std::shared_ptr<ZCommStream>& s) {
                        Nested(s, ZBinaryCommStream::kMaxNesting);
                    }));
    ok &= WriteFile(binary + "too_deep.bin", Binary([](const std::shared_ptr<ZCommStream>& s) {
                        Nested(s, ZBinaryCommStream::kMaxNesting + 1);
                    }));
    ok &= WriteFile(binary + "empty.bin", header);
    ok &= WriteFile(binary + "truncated.bin", everyType.substr(0, everyType.size() / 2));
    ok &= WriteFile(binary + "unknown_type.bin", header + std::string("\x63\x01\x00k\x00", 5));
    // The same key held twice, as different types: valid bytes that a writer never produces.
    ok &= WriteFile(binary + "duplicate_keys.bin", header + std::string("\x01\x01\x00"
                                                                        "a\x05\x00\x00\x00"
                                                                        "\x07\x01\x00"
                                                                        "a\x01\x00\x00\x00x"
                                                                        "\x0a\x03\x00"
                                                                        "arr\x00\x00\x00\x00"
                                                                        "\x01\x03\x00"
                                                                        "arr\x07\x00\x00\x00",
                                                                        37));
    return ok ? 0 : 1;
}
