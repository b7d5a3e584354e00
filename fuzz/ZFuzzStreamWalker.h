#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "ZMessages/ZCommStream.h"
#include "ZMessages/ZGenericResponseMsg.h"
#include "ZShared/ZLog.h"
#include "ZShared/ZLogSink.h"

// Reads whatever a fuzzed stream holds through the public stream interface: each key a record or
// a seed uses, as every type, then children and arrays recursively and the objects they name.
// Every value read is written to an empty stream of the same kind and must read back the same;
// a difference aborts, which is how the fuzzer reports it.
class ZFuzzStreamWalker {
public:
    // Swallows log lines: they are still formatted, but a fuzzing run makes millions of them.
    class ZQuietSink : public ZLogSink {
    public:
        void Write(const ZLogRecord&) override {}
    };

    static void Silence() {
        static const bool silenced = [] {
            ZLog::GetLogger()->SetSink(std::make_shared<ZQuietSink>());
            return true;
        }();
        (void)silenced;
    }

    static void Walk(const std::shared_ptr<ZCommStream>& stream) {
        const auto copy = stream->CreateChild();
        Check(copy != nullptr);
        Walk(stream, *copy, 0);
    }

    // Writes a number under every key of the stream, whatever was there, and checks each reads back.
    static void Overwrite(const std::shared_ptr<ZCommStream>& stream) {
        std::int32_t number = 0;
        for (const char* key : kKeys) {
            Check(stream->Serialize(key, number++, false));
        }
        number = 0;
        for (const char* key : kKeys) {
            std::int32_t read = -1;
            Check(stream->Deserialize(key, read) && read == number++);
        }
    }

    static void Check(bool condition) {
        if (!condition) {
            std::abort();
        }
    }

private:
    static constexpr int kMaxDepth = 6;
    static constexpr int kMaxElements = 32;
    static constexpr const char* kKeys[] = {
        "class", "text",  "bSuccess", "ErrCode", "body",  "source", "a",       "b",   "n", "s",
        "list",  "child", "arr",      "items",   "nodes", "edges",  "plugins", "uid", "",  "priority"};

    static bool Same(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }
    static bool Same(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }
    template <class T>
    static bool Same(const T& a, const T& b) {
        return a == b;
    }

    // One scratch stream, emptied before each value, rather than a new stream per value read.
    template <class T>
    static void CheckCopy(ZCommStream& copy, const char* key, const T& value) {
        copy.Clear();
        Check(copy.Serialize(key, value, false));
        T read{};
        Check(copy.Deserialize(key, read) && Same(read, value));
    }

    template <class T>
    static bool ReadAndCopy(const std::shared_ptr<ZCommStream>& stream, ZCommStream& copy, const char* key) {
        T value{};
        if (!stream->Deserialize(key, value)) {
            return false;
        }
        if constexpr (std::is_floating_point_v<T>) {
            if (!std::isfinite(value)) {
                return true;  // JSON text has no way to write these
            }
        }
        CheckCopy(copy, key, value);
        return true;
    }

    static void Walk(const std::shared_ptr<ZCommStream>& stream, ZCommStream& copy, int depth) {
        for (const char* key : kKeys) {
            bool found = ReadAndCopy<std::int32_t>(stream, copy, key);
            found |= ReadAndCopy<std::uint32_t>(stream, copy, key);
            found |= ReadAndCopy<std::int64_t>(stream, copy, key);
            found |= ReadAndCopy<float>(stream, copy, key);
            found |= ReadAndCopy<double>(stream, copy, key);
            found |= ReadAndCopy<bool>(stream, copy, key);
            found |= ReadAndCopy<ZString>(stream, copy, key);
            found |= ReadAndCopy<ZStringList>(stream, copy, key);
            Check(!found || stream->HasKey(key));
            if (depth >= kMaxDepth) {
                continue;
            }
            std::shared_ptr<ZCommStream> child;
            if (stream->DeserializeChild(key, child)) {
                Check(child != nullptr);
                Walk(child, copy, depth + 1);
                stream->DeserializeChildClass<ZCommStreamObject>(child);
            }
            // A null element is made by the stream when there is one to fill, not for every key.
            std::shared_ptr<void> cursor;
            std::shared_ptr<ZCommStream> element;
            for (int i = 0; i < kMaxElements && stream->DeserializeArrayElement(key, element, cursor); ++i) {
                Check(element != nullptr);
                Walk(element, copy, depth + 1);
                element.reset();
            }
        }
        ZGenericResponseMsg message;
        message.Deserialize(stream);
        ZVector<std::shared_ptr<ZMessage>> objects;
        stream->DeserializeObjectArray("items", objects);
    }
};
