#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "ZMessages/ZCommStream.h"

// Stream over JSON text, for files, configuration and anything a person reads or writes: keys keep
// the order they were first written in (children and array elements too) and enums travel by name.
// Writing a key again replaces its value where it stands. Floats are written with the fewest digits
// that read back to the same float, so 1.2f shows as 1.2; non-finite numbers have no JSON form and
// are written as null.
// Not for hot paths: lookups are linear in the number of keys and children are copied when read.
class Z_EXPORT ZJSONCommStream : public ZCommStream {
    Z_FACTORY_CLASS(ZJSONCommStream)

public:
    ZJSONCommStream();
    ~ZJSONCommStream() override;
    ZJSONCommStream(const ZJSONCommStream&) = delete;
    ZJSONCommStream& operator=(const ZJSONCommStream&) = delete;

    std::shared_ptr<ZCommStream> CreateChild() const override;

    bool Serialize(const char* key, std::int32_t value, bool flag = false) override;
    bool Serialize(const char* key, std::uint32_t value, bool flag = false) override;
    bool Serialize(const char* key, std::int64_t value, bool flag = false) override;
    bool Serialize(const char* key, float value, bool flag = false) override;
    bool Serialize(const char* key, double value, bool flag = false) override;
    bool Serialize(const char* key, bool value, bool flag = false) override;
    bool Serialize(const char* key, const ZString& value, bool flag = false) override;
    bool Serialize(const char* key, const char* value, bool flag = false) override;
    bool Serialize(const char* key, const ZStringList& value, bool flag = false) override;

    bool Deserialize(const char* key, std::int32_t& value) override;
    bool Deserialize(const char* key, std::uint32_t& value) override;
    bool Deserialize(const char* key, std::int64_t& value) override;
    bool Deserialize(const char* key, float& value) override;
    bool Deserialize(const char* key, double& value) override;
    bool Deserialize(const char* key, bool& value) override;
    bool Deserialize(const char* key, ZString& value) override;
    bool Deserialize(const char* key, ZStringList& value) override;

    // Children must be JSON streams too; any other kind is refused with an error line.
    bool SerializeChild(const char* key, const std::shared_ptr<ZCommStream>& child) override;
    // A child that is not a JSON stream is replaced by a new one.
    bool DeserializeChild(const char* key, std::shared_ptr<ZCommStream>& child) override;
    bool SerializeArrayElement(const char* key, const std::shared_ptr<ZCommStream>& child) override;
    bool DeserializeArrayElement(const char* key, std::shared_ptr<ZCommStream>& child,
                                 std::shared_ptr<void>& cursor) override;

    bool HasKey(const char* key) const override;
    std::size_t CountArrayElements(const char* key) const override;
    // Indented by two spaces, or on one line when compact. Strings that are not UTF-8 are written
    // with replacement characters (and a warning), since JSON text cannot carry them.
    bool GetData(std::string& data) const override;
    // Documents nested deeper than kMaxNesting brackets are refused, which bounds the recursion
    // of copying and writing them.
    bool SetData(const void* data, std::size_t size) override;
    void Clear() override;
    // Why the last SetData refused its text, for people: "line 3, column 5: syntax error while
    // parsing object - ..." for malformed text; empty after a success.
    const std::string& GetError() const { return m_error; }

    void SetCompact(bool compact) { m_bCompact = compact; }
    bool IsCompact() const { return m_bCompact; }

    static constexpr int kMaxNesting = 200;

private:
    struct ZDocument;  // keeps nlohmann out of this header

    // The stream itself when it is a JSON stream, else null.
    static ZJSONCommStream* AsJSON(const std::shared_ptr<ZCommStream>& stream);
    // The child as a JSON stream, made here when it is null or of another kind.
    ZJSONCommStream& FillableChild(std::shared_ptr<ZCommStream>& child) const;

    std::unique_ptr<ZDocument> m_pDocument;
    bool m_bCompact = false;
    std::string m_error;
};
