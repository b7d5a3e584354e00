#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "ZMessages/ZCommStreamObject.h"
#include "ZShared/CID.h"
#include "ZShared/ZAllocator.h"
#include "ZShared/ZEnumNames.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZLog.h"

// The framework's key/value serialization stream. A key holds a value, a list of strings, a child
// object or an array of child objects; what is written reads back unchanged and in order, on the
// same stream object or after a trip through GetData/SetData. Reading an absent key returns false
// and leaves the target untouched, which is how records keep their defaults.
//
// The trailing bool of the writes is reserved; every caller passes false.
class Z_EXPORT ZCommStream : public ZShared::ZFactoryObject {
    Z_FACTORY_CLASS(ZCommStream)

public:
    ZCommStream();
    ~ZCommStream() override;

    // A new, empty stream of the same kind (same enum mode, environment and log channel).
    virtual std::shared_ptr<ZCommStream> CreateChild() const = 0;

    virtual bool Serialize(const char* key, std::int32_t value, bool flag = false) = 0;
    virtual bool Serialize(const char* key, std::uint32_t value, bool flag = false) = 0;
    virtual bool Serialize(const char* key, std::int64_t value, bool flag = false) = 0;
    virtual bool Serialize(const char* key, float value, bool flag = false) = 0;
    virtual bool Serialize(const char* key, double value, bool flag = false) = 0;
    virtual bool Serialize(const char* key, bool value, bool flag = false) = 0;
    virtual bool Serialize(const char* key, const ZString& value, bool flag = false) = 0;
    virtual bool Serialize(const char* key, const char* value, bool flag = false) = 0;
    virtual bool Serialize(const char* key, const ZStringList& value, bool flag = false) = 0;

    virtual bool Deserialize(const char* key, std::int32_t& value) = 0;
    virtual bool Deserialize(const char* key, std::uint32_t& value) = 0;
    virtual bool Deserialize(const char* key, std::int64_t& value) = 0;
    virtual bool Deserialize(const char* key, float& value) = 0;
    virtual bool Deserialize(const char* key, double& value) = 0;
    virtual bool Deserialize(const char* key, bool& value) = 0;
    virtual bool Deserialize(const char* key, ZString& value) = 0;
    virtual bool Deserialize(const char* key, ZStringList& value) = 0;

    // Stores the child's whole content under the key.
    virtual bool SerializeChild(const char* key, const std::shared_ptr<ZCommStream>& child) = 0;
    // Fills the child (made by CreateChild; made here when null) from the key; false when absent.
    virtual bool DeserializeChild(const char* key, std::shared_ptr<ZCommStream>& child) = 0;
    // Appends the child to the array under the key.
    virtual bool SerializeArrayElement(const char* key, const std::shared_ptr<ZCommStream>& child) = 0;
    // A hint that `count` elements about the size of `sample` are about to be appended to the array
    // under the key, so that the stream can make room for them at once. Does nothing by default.
    virtual void ReserveArrayElements(const char* key, std::size_t count,
                                      const std::shared_ptr<ZCommStream>& sample);
    // Fills the child with the next element of the array under the key. The cursor is held by the
    // caller, empty at the start; the stream keeps its position in it. False when none is left.
    virtual bool DeserializeArrayElement(const char* key, std::shared_ptr<ZCommStream>& child,
                                         std::shared_ptr<void>& cursor) = 0;

    virtual bool HasKey(const char* key) const = 0;
    // How many elements the array under the key holds: a hint for making room before reading them,
    // 0 when the key is absent or the stream cannot tell cheaply.
    virtual std::size_t CountArrayElements(const char* key) const;
    // The whole content in the stream's own encoding (JSON text, or the binary form).
    virtual bool GetData(std::string& data) const = 0;
    // Replaces the whole content. Malformed data leaves the stream empty, logs one line and
    // returns false.
    virtual bool SetData(const void* data, std::size_t size) = 0;
    // Empties the stream.
    virtual void Clear() = 0;

    // The child stored under the key, or null when there is none. Absent keys are probed before a
    // child stream is made, which matters when thousands of records are read.
    virtual std::shared_ptr<ZCommStream> ReadChild(const char* key);

    bool GetDataToFile(const char* path) const;
    bool SetDataFromFile(const char* path);

    // Child object under the key: "class" and the object's own keys. A null object writes nothing.
    template <class T>
    bool SerializeObject(const char* key, const std::shared_ptr<T>& object);
    // The object a child describes, created by its "class" through the factory, given this stream's
    // environment and read from the child. Null when "class" is absent (silently) or names no
    // class of kind T (with one level-4 line).
    template <class T>
    std::shared_ptr<T> DeserializeChildClass(const std::shared_ptr<ZCommStream>& child);
    // Enums go by name on a text stream (m_bEnumsAsText), by number otherwise.
    template <class E>
    bool SerializeEnum(const char* key, E value);
    template <class E>
    bool DeserializeEnum(const char* key, E& value);
    // Arrays of objects: null elements are skipped when writing, elements that cannot be created
    // are dropped when reading; elements already in the vector stay.
    template <class T>
    bool SerializeObjectArray(const char* key, const ZVector<std::shared_ptr<T>>& objects);
    template <class T>
    bool DeserializeObjectArray(const char* key, ZVector<std::shared_ptr<T>>& objects);

    // Counting of values that were present but could not be read (wrong type, out of range): off
    // until armed; children made afterwards count into the same total. A reader of data from
    // outside arms it to tell a well-formed record from one that only kept its defaults.
    void CountReadProblems();
    std::size_t ReadProblemCount() const { return m_pReadProblems ? *m_pReadProblems : 0; }
    void NoteReadProblem() const {
        if (m_pReadProblems) {
            ++*m_pReadProblems;
        }
    }

    bool m_bEnumsAsText = false;
    // Whether records may read or write the files that they name (a node's ConfigFileName). Off for
    // data that came from outside the process, so that a sender cannot choose paths on this host.
    bool m_bFileAccess = true;
    std::shared_ptr<ZEnvironment> m_pEnvironment;
    const char* m_logSource = nullptr;
    std::int32_t m_logLevel = LOGLEVEL_WARNING;

protected:
    // Copies enum mode, file access, environment and log channel into a child.
    void InitChild(ZCommStream& child) const;

private:
    std::shared_ptr<std::size_t> m_pReadProblems;
};

template <class T>
bool ZCommStream::SerializeObject(const char* key, const std::shared_ptr<T>& object) {
    if (!object) {
        return false;
    }
    std::shared_ptr<ZCommStream> child = CreateChild();
    if (!child) {
        return false;
    }
    child->Serialize("class", object->ClassName(), false);
    object->Serialize(child);
    return SerializeChild(key, child);
}

template <class T>
std::shared_ptr<T> ZCommStream::DeserializeChildClass(const std::shared_ptr<ZCommStream>& child) {
    ZString className;
    if (!child || !child->Deserialize("class", className)) {
        return nullptr;
    }
    std::shared_ptr<ZShared::ZFactoryObject> made = ZShared::ZFactory::TryCreateShared(className.c_str());
    std::shared_ptr<T> object;
    if (made && ZShared::CID::IsKindOf(T::m_cid, made->GetCID())) {
        object = std::dynamic_pointer_cast<T>(made);
    }
    ZShared::ZFactory::Track(object.get(), className.c_str(), ZLOG_FILE, __LINE__, sizeof(T));
    if (!object) {
        NoteReadProblem();
        if (m_logLevel >= LOGLEVEL_DETAIL && m_logLevel <= LOGLEVEL_ERROR) {
            ZLog::GetLogger()->Log(LOGLEVEL_ERROR, m_logSource, "ZMessages/ZCommStream",
                                   "DeserializeChildClass", __LINE__, "Failed to create <%s>!",
                                   className.c_str());
        }
        return nullptr;
    }
    object->SetEnvironment(m_pEnvironment);
    object->Deserialize(child);
    return object;
}

template <class E>
bool ZCommStream::SerializeEnum(const char* key, E value) {
    if (m_bEnumsAsText) {
        return Serialize(key, ZEnum::Name(value), false);
    }
    return Serialize(key, static_cast<std::int32_t>(value), false);
}

template <class E>
bool ZCommStream::DeserializeEnum(const char* key, E& value) {
    if (m_bEnumsAsText) {
        ZString text;
        if (!Deserialize(key, text)) {
            return false;
        }
        const auto named = ZEnum::Cast<E>(std::string_view(text.data(), text.size()));
        if (!named) {
            NoteReadProblem();
            return false;
        }
        value = *named;
        return true;
    }
    std::int32_t number = 0;
    if (!Deserialize(key, number)) {
        return false;
    }
    value = static_cast<E>(number);
    return true;
}

template <class T>
bool ZCommStream::SerializeObjectArray(const char* key, const ZVector<std::shared_ptr<T>>& objects) {
    for (const auto& object : objects) {
        if (!object) {
            continue;
        }
        std::shared_ptr<ZCommStream> child = CreateChild();
        if (!child) {
            continue;
        }
        child->Serialize("class", object->ClassName(), false);
        object->Serialize(child);
        SerializeArrayElement(key, child);
    }
    return true;
}

template <class T>
bool ZCommStream::DeserializeObjectArray(const char* key, ZVector<std::shared_ptr<T>>& objects) {
    std::shared_ptr<void> cursor;
    std::shared_ptr<ZCommStream> child = CreateChild();
    bool found = false;
    while (child && DeserializeArrayElement(key, child, cursor)) {
        found = true;
        if (auto object = DeserializeChildClass<T>(child)) {
            objects.push_back(std::move(object));
        }
        child = CreateChild();
    }
    return found;
}
