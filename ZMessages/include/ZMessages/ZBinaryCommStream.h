#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "ZMessages/ZByteBuffer.h"
#include "ZMessages/ZCommStream.h"

struct ZBinaryEntry;

// Compact binary stream: the form CloneMessage copies messages through, so it is built for speed.
// The content is one byte buffer of entries (type, key, value; numbers little-endian, children as
// nested entries, each array element an entry of its own under the array's key). A child read
// from a stream looks at its range of the parent's buffer instead of copying it; a stream copies
// its content only when it is written to while it shares it. Lookups start after the last key
// found, so reading keys in the order they were written costs the same however many there are.
// Writing a key again puts the new entry in place of the old one (of all of them, for an array).
//
// GetData prefixes a small header (magic and version). SetData checks the whole buffer before
// taking it: lengths in bounds, known entry types and at most kMaxNesting levels of children.
class Z_EXPORT ZBinaryCommStream : public ZCommStream {
    Z_FACTORY_CLASS(ZBinaryCommStream)

public:
    ZBinaryCommStream();
    ~ZBinaryCommStream() override;
    ZBinaryCommStream(const ZBinaryCommStream&) = delete;
    ZBinaryCommStream& operator=(const ZBinaryCommStream&) = delete;

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

    // Children must be binary streams too; any other kind is refused with an error line.
    bool SerializeChild(const char* key, const std::shared_ptr<ZCommStream>& child) override;
    // A child that is not a binary stream is replaced by a new one.
    bool DeserializeChild(const char* key, std::shared_ptr<ZCommStream>& child) override;
    std::shared_ptr<ZCommStream> ReadChild(const char* key) override;
    bool SerializeArrayElement(const char* key, const std::shared_ptr<ZCommStream>& child) override;
    void ReserveArrayElements(const char* key, std::size_t count,
                              const std::shared_ptr<ZCommStream>& sample) override;
    bool DeserializeArrayElement(const char* key, std::shared_ptr<ZCommStream>& child,
                                 std::shared_ptr<void>& cursor) override;

    // A string as a view of the stream's bytes, valid until the stream next changes: Deserialize
    // without the copy.
    bool DeserializeView(const char* key, std::string_view& value);
    // Serialize of a string given as a view.
    bool SerializeView(const char* key, std::string_view value);

    // A record written straight into this stream as the next element of an array, instead of into
    // a child that is then copied in: between OpenArrayElement and CloseArrayElement the stream
    // takes the record's keys as a fresh child would. Open refuses (false) when the key already
    // holds something other than the array being written; the element then goes through a child.
    // `moreToCome` on closing asks for room for that many more elements of the same size.
    struct ZElementMark {
        std::size_t m_entry = 0;     // where the element's entry starts
        std::size_t m_valuePos = 0;  // where its content starts
        std::size_t m_outerBegin = 0;
        std::size_t m_outerEntryCount = 0;
        std::uint64_t m_outerKeyBits = 0;
        std::uint64_t m_keyBit = 0;
        std::uint64_t m_keyHash = 0;
        std::uint64_t m_indexEpoch = 0;
        bool m_bOuterIndexReady = false;
        bool m_bNewKey = false;
    };
    bool OpenArrayElement(const char* key, ZElementMark& mark);
    void CloseArrayElement(const ZElementMark& mark, std::size_t moreToCome = 0);
    // The stream as a binary one, or null.
    static ZBinaryCommStream* Cast(ZCommStream* stream) { return AsBinary(stream); }

    bool HasKey(const char* key) const override;
    std::size_t CountArrayElements(const char* key) const override;
    bool GetData(std::string& data) const override;
    bool SetData(const void* data, std::size_t size) override;
    void Clear() override;

    static constexpr int kMaxNesting = 64;
    static constexpr std::size_t kHeaderSize = 5;

private:
    const char* Bytes() const { return m_pShared ? m_pShared->data() : m_ownData.data(); }
    // Where the next lookup starts: after the last match.
    std::size_t ScanStart() const { return m_scanPos >= m_begin && m_scanPos <= m_end ? m_scanPos : m_begin; }
    // The entry of the key, looking from the last match to the end and then from the start.
    bool FindWrapped(const char* key, std::size_t keyLength, ZBinaryEntry& entry) const;
    // As FindWrapped, taking the key fingerprints on a miss when they are not up to date.
    bool FindReading(const char* key, ZBinaryEntry& entry);
    // The first entry of the key at or after `from`, without wrapping.
    bool FindForward(const char* key, std::size_t keyLength, std::size_t from, ZBinaryEntry& entry) const;
    // Finds the key, moves the scan position past it and checks the entry's type (a wrong one is
    // logged).
    bool Lookup(const char* key, std::uint8_t type, ZBinaryEntry& entry);
    template <class Int>
    bool ReadInteger(const char* key, Int& value);
    bool ReadNumber(const char* key, const char* typeName, double& value);
    void LogWrongType(const char* key, const char* expected, std::uint8_t found) const;

    // The buffer to change: the stream's own, unshared, taken back or copied when needed.
    ZByteBuffer& MakeWritable();
    // The content as a buffer that children can look at.
    const std::shared_ptr<ZByteBuffer>& Share();
    // Writes an entry for the key: appended when the key is new (or an array gets an element),
    // otherwise put in place of the key's entries. `fill` writes the value's bytes.
    template <class Fill>
    bool WriteEntry(const char* key, std::uint8_t type, std::size_t valueSize, Fill&& fill);
    bool WriteChild(const char* key, std::uint8_t type, const std::shared_ptr<ZCommStream>& child);
    // Whether the key has an entry, and whether that is an array element; `hash` is set to the
    // key's index hash when the index was asked, else to 0. Callers ask only when the key's
    // fingerprint bit is set: a clear bit settles a new key without the call.
    bool FindKeyForWriting(const char* key, std::size_t keyLength, std::uint64_t& hash, bool& isArray);
    // Puts the entry in place of the first entry of the key and drops the key's other entries.
    void ReplaceEntries(const char* key, std::size_t keyLength, const ZByteBuffer& entry);
    void PrepareWriteState();
    void RebuildIndex();
    void SetView(const std::shared_ptr<ZByteBuffer>& data, std::size_t begin, std::size_t end);
    // Drops what is remembered about entry positions, after they change.
    void ForgetPositions();
    // Whether the last array element appended is under the key.
    bool IsLastArrayKey(const char* key, std::size_t keyLength) const;
    static ZBinaryCommStream* AsBinary(ZCommStream* stream);
    // The child as a binary stream, made here when it is null or of another kind.
    ZBinaryCommStream& FillableChild(std::shared_ptr<ZCommStream>& child) const;

    // The content is in m_ownData while the stream keeps it to itself, and in m_pShared while it is
    // shared: borrowed from a parent (a view of part of its buffer) or lent to children.
    ZByteBuffer m_ownData;
    std::shared_ptr<ZByteBuffer> m_pShared;
    std::size_t m_begin = 0;  // this stream's range of the buffer
    std::size_t m_end = 0;
    std::size_t m_scanPos = 0;  // where the next lookup starts: after the last match
    bool m_bOwnsData = true;    // the buffer is this stream's own, not a parent's
    // Changes whenever entry positions do (new content, entries replaced), so that array cursors
    // from before are recognised as stale.
    std::uint64_t m_generation = 0;
    // What writes need to know whether a key exists, kept up to date while ready: the number of
    // entries, a bit per key fingerprint for small streams, a key hash index for large ones (with
    // whether the key holds an array). Reads use the fingerprints too, to tell absent keys.
    bool m_bWriteStateReady = true;
    std::size_t m_entryCount = 0;
    std::uint64_t m_keyBits = 0;
    std::unordered_map<std::uint64_t, bool> m_keyIndex;
    bool m_bIndexReady = false;
    std::uint64_t m_indexEpoch = 0;  // counts the times the index is emptied
    // Fingerprints of the keys of every entry from m_begin to m_readEnd, gathered by reads.
    std::uint64_t m_readBits = 0;
    std::size_t m_readEnd = 0;
    // Where the last array element appended starts: the next one under its key needs no search.
    static constexpr std::size_t kNoEntry = static_cast<std::size_t>(-1);
    std::size_t m_lastArrayEntry = kNoEntry;
};
