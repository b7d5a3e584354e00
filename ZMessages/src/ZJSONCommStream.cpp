#include "ZMessages/ZJSONCommStream.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "ZShared/ZMakeShared.h"
#include "ZStreamNumber.h"

using ZJson = nlohmann::ordered_json;

struct ZJSONCommStream::ZDocument {
    ZJson m_root = ZJson::object();
};

namespace {

// Where an array read has got to, kept in the caller's cursor.
struct ZJSONArrayCursor {
    const ZJSONCommStream* m_pOwner = nullptr;
    std::size_t m_next = 0;
};

const ZJson* Find(const ZJson& root, const char* key) {
    if (key == nullptr) {
        return nullptr;
    }
    const auto found = root.find(key);
    return found == root.end() ? nullptr : &*found;
}

std::optional<ZStreamNumber> NumberOf(const ZJson& node) {
    if (node.is_number_unsigned()) {
        return ZStreamNumber::Unsigned(node.get<std::uint64_t>());
    }
    if (node.is_number_integer()) {
        return ZStreamNumber::Signed(node.get<std::int64_t>());
    }
    if (node.is_number_float()) {
        return ZStreamNumber::Float(node.get<double>());
    }
    return std::nullopt;
}

void LogWrongType(const ZCommStream& stream, const char* key, const char* expected, const ZJson& found) {
    stream.NoteReadProblem();
    ZLOG_WITH(stream.m_logLevel, stream.m_logSource, LOGLEVEL_WARNING, "Key <%s>: expected %s, found %s", key,
              expected, found.type_name());
}

template <class Int>
bool ReadInteger(const ZCommStream& stream, const ZJson& root, const char* key, Int& value) {
    const ZJson* node = Find(root, key);
    if (node == nullptr) {
        return false;
    }
    const auto number = NumberOf(*node);
    if (!number) {
        LogWrongType(stream, key, ZStreamIntegerName<Int>(), *node);
        return false;
    }
    return ZStreamReadInteger(stream, key, *number, value);
}

// The double with the fewest decimal digits that converts back to the same float, so that 1.2f is
// written as 1.2 rather than 1.2000000476837158 and still reads back exactly.
double ShortestDouble(float value) {
    if (!std::isfinite(value)) {
        return value;
    }
    char text[32];
    for (int digits = 1; digits <= 9; ++digits) {
        std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
        const double candidate = std::strtod(text, nullptr);
        if (ZStreamNumber::Float(candidate).ToFloat() == value) {
            return candidate;
        }
    }
    return value;
}

// Deepest bracket nesting of the text, counting brackets outside strings only; stops counting
// once past the limit.
int NestingDepth(const char* text, std::size_t size, int limit) {
    int depth = 0;
    int deepest = 0;
    bool inString = false;
    for (std::size_t i = 0; i < size && deepest <= limit; ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return deepest;
}

// nlohmann's "[json.exception.parse_error.101] parse error at line 1, column 13: syntax error ..."
// as a person reads it: "line 1, column 13: syntax error ...".
std::string ParseErrorText(const std::string& what) {
    const std::string marker = "parse error at ";
    const auto at = what.find(marker);
    if (at != std::string::npos) {
        return what.substr(at + marker.size());
    }
    const auto bracket = what.find("] ");
    return bracket == std::string::npos ? what : what.substr(bracket + 2);
}

}  // namespace

ZJSONCommStream::ZJSONCommStream() : m_pDocument(std::make_unique<ZDocument>()) {
    m_bEnumsAsText = true;
    m_logSource = "ZJSONCommStream";
}

ZJSONCommStream::~ZJSONCommStream() = default;

std::shared_ptr<ZCommStream> ZJSONCommStream::CreateChild() const {
    auto child = ZMakeShared<ZJSONCommStream>();
    InitChild(*child);
    child->m_bCompact = m_bCompact;
    return child;
}

ZJSONCommStream* ZJSONCommStream::AsJSON(const std::shared_ptr<ZCommStream>& stream) {
    return dynamic_cast<ZJSONCommStream*>(stream.get());
}

ZJSONCommStream& ZJSONCommStream::FillableChild(std::shared_ptr<ZCommStream>& child) const {
    if (ZJSONCommStream* json = AsJSON(child)) {
        return *json;
    }
    child = CreateChild();
    return static_cast<ZJSONCommStream&>(*child);
}

bool ZJSONCommStream::Serialize(const char* key, std::int32_t value, bool) {
    if (key == nullptr) {
        return false;
    }
    m_pDocument->m_root[key] = value;
    return true;
}

bool ZJSONCommStream::Serialize(const char* key, std::uint32_t value, bool) {
    if (key == nullptr) {
        return false;
    }
    m_pDocument->m_root[key] = value;
    return true;
}

bool ZJSONCommStream::Serialize(const char* key, std::int64_t value, bool) {
    if (key == nullptr) {
        return false;
    }
    m_pDocument->m_root[key] = value;
    return true;
}

bool ZJSONCommStream::Serialize(const char* key, float value, bool) {
    if (key == nullptr) {
        return false;
    }
    m_pDocument->m_root[key] = ShortestDouble(value);
    return true;
}

bool ZJSONCommStream::Serialize(const char* key, double value, bool) {
    if (key == nullptr) {
        return false;
    }
    m_pDocument->m_root[key] = value;
    return true;
}

bool ZJSONCommStream::Serialize(const char* key, bool value, bool) {
    if (key == nullptr) {
        return false;
    }
    m_pDocument->m_root[key] = value;
    return true;
}

bool ZJSONCommStream::Serialize(const char* key, const ZString& value, bool) {
    if (key == nullptr) {
        return false;
    }
    m_pDocument->m_root[key] = std::string(value.data(), value.size());
    return true;
}

bool ZJSONCommStream::Serialize(const char* key, const char* value, bool) {
    if (key == nullptr || value == nullptr) {
        return false;
    }
    m_pDocument->m_root[key] = value;
    return true;
}

bool ZJSONCommStream::Serialize(const char* key, const ZStringList& value, bool) {
    if (key == nullptr) {
        return false;
    }
    ZJson list = ZJson::array();
    for (const ZString& item : value) {
        list.push_back(std::string(item.data(), item.size()));
    }
    m_pDocument->m_root[key] = std::move(list);
    return true;
}

bool ZJSONCommStream::Deserialize(const char* key, std::int32_t& value) {
    return ReadInteger(*this, m_pDocument->m_root, key, value);
}

bool ZJSONCommStream::Deserialize(const char* key, std::uint32_t& value) {
    return ReadInteger(*this, m_pDocument->m_root, key, value);
}

bool ZJSONCommStream::Deserialize(const char* key, std::int64_t& value) {
    return ReadInteger(*this, m_pDocument->m_root, key, value);
}

bool ZJSONCommStream::Deserialize(const char* key, float& value) {
    const ZJson* node = Find(m_pDocument->m_root, key);
    if (node == nullptr) {
        return false;
    }
    const auto number = NumberOf(*node);
    if (!number) {
        LogWrongType(*this, key, "float", *node);
        return false;
    }
    return ZStreamReadFloat(*this, key, *number, value);
}

bool ZJSONCommStream::Deserialize(const char* key, double& value) {
    const ZJson* node = Find(m_pDocument->m_root, key);
    if (node == nullptr) {
        return false;
    }
    const auto number = NumberOf(*node);
    if (!number) {
        LogWrongType(*this, key, "double", *node);
        return false;
    }
    value = number->ToDouble();
    return true;
}

bool ZJSONCommStream::Deserialize(const char* key, bool& value) {
    const ZJson* node = Find(m_pDocument->m_root, key);
    if (node == nullptr) {
        return false;
    }
    if (!node->is_boolean()) {
        LogWrongType(*this, key, "boolean", *node);
        return false;
    }
    value = node->get<bool>();
    return true;
}

bool ZJSONCommStream::Deserialize(const char* key, ZString& value) {
    const ZJson* node = Find(m_pDocument->m_root, key);
    if (node == nullptr) {
        return false;
    }
    if (!node->is_string()) {
        LogWrongType(*this, key, "string", *node);
        return false;
    }
    const auto& text = node->get_ref<const std::string&>();
    value.assign(text.data(), text.size());
    return true;
}

bool ZJSONCommStream::Deserialize(const char* key, ZStringList& value) {
    const ZJson* node = Find(m_pDocument->m_root, key);
    if (node == nullptr) {
        return false;
    }
    if (!node->is_array()) {
        LogWrongType(*this, key, "array of strings", *node);
        return false;
    }
    ZStringList list;
    list.reserve(node->size());
    for (const ZJson& item : *node) {
        if (!item.is_string()) {
            NoteReadProblem();
            ZLOG(LOGLEVEL_WARNING, "Key <%s>: element %zu of the list is a %s, not a string", key,
                 list.size(), item.type_name());
            return false;
        }
        const auto& text = item.get_ref<const std::string&>();
        list.emplace_back(text.data(), text.size());
    }
    value = std::move(list);
    return true;
}

bool ZJSONCommStream::SerializeChild(const char* key, const std::shared_ptr<ZCommStream>& child) {
    const ZJSONCommStream* source = AsJSON(child);
    if (key == nullptr || source == nullptr) {
        if (key != nullptr && child) {
            ZLOG(LOGLEVEL_ERROR, "Key <%s>: a <%s> child cannot be stored in a JSON stream", key,
                 child->ClassName());
        }
        return false;
    }
    ZJson copy = source->m_pDocument->m_root;  // copied first: the child may be this stream
    m_pDocument->m_root[key] = std::move(copy);
    return true;
}

bool ZJSONCommStream::DeserializeChild(const char* key, std::shared_ptr<ZCommStream>& child) {
    const ZJson* node = Find(m_pDocument->m_root, key);
    if (node == nullptr) {
        return false;
    }
    if (!node->is_object()) {
        LogWrongType(*this, key, "object", *node);
        return false;
    }
    ZJson copy = *node;
    FillableChild(child).m_pDocument->m_root = std::move(copy);
    return true;
}

bool ZJSONCommStream::SerializeArrayElement(const char* key, const std::shared_ptr<ZCommStream>& child) {
    const ZJSONCommStream* source = AsJSON(child);
    if (key == nullptr || source == nullptr) {
        if (key != nullptr && child) {
            ZLOG(LOGLEVEL_ERROR, "Key <%s>: a <%s> element cannot be stored in a JSON stream", key,
                 child->ClassName());
        }
        return false;
    }
    ZJson element = source->m_pDocument->m_root;
    ZJson& array = m_pDocument->m_root[key];
    if (!array.is_array()) {
        array = ZJson::array();
    }
    array.push_back(std::move(element));
    return true;
}

bool ZJSONCommStream::DeserializeArrayElement(const char* key, std::shared_ptr<ZCommStream>& child,
                                              std::shared_ptr<void>& cursor) {
    const ZJson* node = Find(m_pDocument->m_root, key);
    if (node == nullptr) {
        return false;
    }
    if (!node->is_array()) {
        LogWrongType(*this, key, "array", *node);
        return false;
    }
    if (!cursor) {
        auto made = std::make_shared<ZJSONArrayCursor>();
        made->m_pOwner = this;
        cursor = std::move(made);
    }
    auto* position = static_cast<ZJSONArrayCursor*>(cursor.get());
    if (position->m_pOwner != this) {
        ZLOG(LOGLEVEL_ERROR, "Key <%s>: the array cursor belongs to another stream", key);
        return false;
    }
    if (position->m_next >= node->size()) {
        return false;
    }
    const std::size_t index = position->m_next++;
    const ZJson& element = (*node)[index];
    if (!element.is_object()) {
        ZLOG(LOGLEVEL_WARNING, "Key <%s>: element %zu of the array is a %s, not an object", key, index,
             element.type_name());
        return false;
    }
    ZJson copy = element;
    FillableChild(child).m_pDocument->m_root = std::move(copy);
    return true;
}

bool ZJSONCommStream::HasKey(const char* key) const {
    return Find(m_pDocument->m_root, key) != nullptr;
}

std::size_t ZJSONCommStream::CountArrayElements(const char* key) const {
    const ZJson* node = Find(m_pDocument->m_root, key);
    return node != nullptr && node->is_array() ? node->size() : 0;
}

bool ZJSONCommStream::GetData(std::string& data) const {
    const int indent = m_bCompact ? -1 : 2;
    try {
        data = m_pDocument->m_root.dump(indent);
    } catch (const ZJson::type_error&) {
        ZLOG(LOGLEVEL_WARNING, "Text that is not UTF-8 was written with replacement characters");
        data = m_pDocument->m_root.dump(indent, ' ', false, ZJson::error_handler_t::replace);
    }
    return true;
}

void ZJSONCommStream::Clear() {
    m_pDocument->m_root = ZJson::object();
}

bool ZJSONCommStream::SetData(const void* data, std::size_t size) {
    Clear();
    m_error.clear();
    const auto refuse = [this](std::string why) {
        ZLOG(LOGLEVEL_ERROR, "%s", why.c_str());
        m_error = std::move(why);
        return false;
    };
    if (data == nullptr || size == 0) {
        return refuse("No JSON text to read");
    }
    const char* text = static_cast<const char*>(data);
    if (NestingDepth(text, size, kMaxNesting) > kMaxNesting) {
        return refuse("JSON text nests deeper than " + std::to_string(kMaxNesting) + " levels");
    }
    ZJson parsed;
    try {
        parsed = ZJson::parse(text, text + size);
    } catch (const ZJson::parse_error& error) {
        ZLOG(LOGLEVEL_ERROR, "Malformed JSON text: %s", error.what());
        m_error = ParseErrorText(error.what());
        return false;
    } catch (const ZJson::exception& error) {
        return refuse(std::string("Malformed JSON text: ") + error.what());
    }
    if (!parsed.is_object()) {
        return refuse(std::string("JSON text holds a ") + parsed.type_name() + ", not an object");
    }
    m_pDocument->m_root = std::move(parsed);
    return true;
}
