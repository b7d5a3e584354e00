#include "ZMessages/ZBinaryCommStream.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "ZShared/ZMakeShared.h"
#include "ZStreamNumber.h"

// Position of one entry in a buffer.
struct ZBinaryEntry {
    std::uint8_t m_type = 0;
    std::size_t m_keyPos = 0;
    std::size_t m_keyLength = 0;
    std::size_t m_valuePos = 0;     // after the length prefix of variable-size values
    std::size_t m_valueLength = 0;  // without that prefix
    std::size_t m_next = 0;         // the following entry
};

namespace {

// Entry types as stored; the values are part of the format.
enum ZBinaryEntryType : std::uint8_t {
    ENTRY_INT32 = 1,
    ENTRY_UINT32 = 2,
    ENTRY_INT64 = 3,
    ENTRY_FLOAT = 4,
    ENTRY_DOUBLE = 5,
    ENTRY_BOOL = 6,
    ENTRY_STRING = 7,
    ENTRY_STRING_LIST = 8,
    ENTRY_CHILD = 9,
    ENTRY_ARRAY_ELEMENT = 10,
};

constexpr char kMagic[4] = {'Z', 'B', 'I', 'N'};
constexpr std::uint8_t kVersion = 1;
constexpr std::size_t kEntryHeaderSize = 3;  // type, key length (16 bits)
constexpr std::size_t kLengthSize = 4;       // prefix of variable-size values
constexpr std::size_t kMaxKeyLength = 0xFFFF;
constexpr std::size_t kMaxValueLength = 0xFFFFFFFFu;
// Room for a typical record, so that writing one allocates once.
constexpr std::size_t kInitialCapacity = 256;
// Streams with more entries than this find keys for writing through a hash index instead of a scan.
constexpr std::size_t kIndexThreshold = 16;

// Size of a fixed-size value, 0 for a length-prefixed one, -1 for an unknown type. A table, since
// every key search asks it of each entry it passes.
constexpr std::int8_t kFixedSizes[] = {
    -1,  // no type 0
    4,   // ENTRY_INT32
    4,   // ENTRY_UINT32
    8,   // ENTRY_INT64
    4,   // ENTRY_FLOAT
    8,   // ENTRY_DOUBLE
    1,   // ENTRY_BOOL
    0,   // ENTRY_STRING
    0,   // ENTRY_STRING_LIST
    0,   // ENTRY_CHILD
    0,   // ENTRY_ARRAY_ELEMENT
};

int FixedSize(std::uint8_t type) {
    return type < sizeof kFixedSizes ? kFixedSizes[type] : -1;
}

const char* TypeName(std::uint8_t type) {
    switch (type) {
        case ENTRY_INT32:
            return "int32";
        case ENTRY_UINT32:
            return "uint32";
        case ENTRY_INT64:
            return "int64";
        case ENTRY_FLOAT:
            return "float";
        case ENTRY_DOUBLE:
            return "double";
        case ENTRY_BOOL:
            return "bool";
        case ENTRY_STRING:
            return "string";
        case ENTRY_STRING_LIST:
            return "string list";
        case ENTRY_CHILD:
            return "object";
        case ENTRY_ARRAY_ELEMENT:
            return "array";
        default:
            return "unknown";
    }
}

// Little-endian whatever the machine, byte by byte; compilers turn these into plain moves.
void PutU16(char* out, std::uint16_t value) {
    out[0] = static_cast<char>(value);
    out[1] = static_cast<char>(value >> 8);
}

void PutU32(char* out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        out[i] = static_cast<char>(value >> (8 * i));
    }
}

void PutU64(char* out, std::uint64_t value) {
    for (int i = 0; i < 8; ++i) {
        out[i] = static_cast<char>(value >> (8 * i));
    }
}

std::uint16_t GetU16(const char* in) {
    return static_cast<std::uint16_t>(static_cast<unsigned char>(in[0]) |
                                      (static_cast<unsigned char>(in[1]) << 8));
}

std::uint32_t GetU32(const char* in) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(in[i])) << (8 * i);
    }
    return value;
}

std::uint64_t GetU64(const char* in) {
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i) {
        value |= static_cast<std::uint64_t>(static_cast<unsigned char>(in[i])) << (8 * i);
    }
    return value;
}

std::uint64_t KeyHash(const char* key, std::size_t length) {
    std::uint64_t hash = 14695981039346656037ull;  // FNV-1a
    for (std::size_t i = 0; i < length; ++i) {
        hash = (hash ^ static_cast<unsigned char>(key[i])) * 1099511628211ull;
    }
    return hash;
}

// Cheap fingerprint of a key, one of 64 bits: a clear bit proves that a small stream lacks the key.
std::uint64_t KeyBit(const char* key, std::size_t length) {
    std::size_t mix = length * 7;
    if (length > 0) {
        mix += static_cast<unsigned char>(key[0]) * 3u + static_cast<unsigned char>(key[length - 1]) * 5u +
               static_cast<unsigned char>(key[length / 2]);
    }
    return std::uint64_t{1} << (mix & 63u);
}

// Whether two keys of `length` bytes are equal. Inlined with word compares: keys are short, and a
// lookup compares one or two, where a call to memcmp costs more than the compare.
inline __attribute__((always_inline)) bool SameKey(const char* a, const char* b, std::size_t length) {
    const auto same = [a, b](std::size_t at, std::size_t size) {  // size 4 or 8
        std::uint64_t x = 0;
        std::uint64_t y = 0;
        std::memcpy(&x, a + at, size);
        std::memcpy(&y, b + at, size);
        return x == y;
    };
    if (length >= 8) {
        for (std::size_t at = 0; at + 8 < length; at += 8) {
            if (!same(at, 8)) {
                return false;
            }
        }
        return same(length - 8, 8);
    }
    if (length >= 4) {
        return same(0, 4) && same(length - 4, 4);
    }
    for (std::size_t i = 0; i < length; ++i) {
        if (a[i] != b[i]) {
            return false;
        }
    }
    return true;
}

// Copies `size` bytes, at least one word and at most two, as the word at each end (overlapping in
// the middle).
template <class Word>
inline __attribute__((always_inline)) void CopyEnds(char* out, const char* in, std::size_t size) {
    Word head;
    Word tail;
    std::memcpy(&head, in, sizeof(Word));
    std::memcpy(&tail, in + size - sizeof(Word), sizeof(Word));
    std::memcpy(out, &head, sizeof(Word));
    std::memcpy(out + size - sizeof(Word), &tail, sizeof(Word));
}

// Copies a few bytes, as keys and most values are, with word moves instead of a call to memcpy,
// which costs more than the copy at these sizes.
inline __attribute__((always_inline)) void CopyBytes(char* out, const char* in, std::size_t size) {
    if (size >= 8 && size <= 16) {
        CopyEnds<std::uint64_t>(out, in, size);
    } else if (size >= 4 && size < 8) {
        CopyEnds<std::uint32_t>(out, in, size);
    } else if (size < 4) {
        for (std::size_t i = 0; i < size; ++i) {
            out[i] = in[i];
        }
    } else {
        std::memcpy(out, in, size);
    }
}

// Reads the entry at `pos`, never past `end`. Null on success, else what is wrong with it. Inlined:
// key searches call it for every entry they pass.
inline __attribute__((always_inline)) const char* ReadEntry(const char* data, std::size_t pos,
                                                            std::size_t end, ZBinaryEntry& entry) {
    if (end - pos < kEntryHeaderSize) {
        return "entry header runs past the end";
    }
    entry.m_type = static_cast<std::uint8_t>(data[pos]);
    entry.m_keyLength = GetU16(data + pos + 1);
    std::size_t at = pos + kEntryHeaderSize;
    if (end - at < entry.m_keyLength) {
        return "key runs past the end";
    }
    entry.m_keyPos = at;
    at += entry.m_keyLength;
    const int fixed = FixedSize(entry.m_type);
    if (fixed < 0) {
        return "unknown entry type";
    }
    if (fixed > 0) {
        entry.m_valueLength = static_cast<std::size_t>(fixed);
    } else {
        if (end - at < kLengthSize) {
            return "value length runs past the end";
        }
        entry.m_valueLength = GetU32(data + at);
        at += kLengthSize;
    }
    if (end - at < entry.m_valueLength) {
        return "value runs past the end";
    }
    entry.m_valuePos = at;
    entry.m_next = at + entry.m_valueLength;
    return nullptr;
}

// Walks a string list value: a count, then each string with its length. Null when well formed,
// else what is wrong; fills `list` when one is given.
const char* ReadList(const char* data, const ZBinaryEntry& entry, ZStringList* list) {
    if (entry.m_valueLength < kLengthSize) {
        return "string list without a count";
    }
    const std::uint32_t count = GetU32(data + entry.m_valuePos);
    std::size_t at = entry.m_valuePos + kLengthSize;
    if (count > (entry.m_next - at) / kLengthSize) {
        return "string list count larger than its bytes";
    }
    if (list != nullptr) {
        list->reserve(count);
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        if (entry.m_next - at < kLengthSize) {
            return "string list item runs past the end";
        }
        const std::uint32_t length = GetU32(data + at);
        at += kLengthSize;
        if (entry.m_next - at < length) {
            return "string list item runs past the end";
        }
        if (list != nullptr) {
            list->emplace_back(data + at, length);
        }
        at += length;
    }
    return at == entry.m_next ? nullptr : "string list has bytes after its last item";
}

// Checks every entry of [pos, end) and, recursively, of the children in it. Null when valid, else
// the problem with its offset in `errorAt`.
const char* ValidateRange(const char* data, std::size_t pos, std::size_t end, int depth,
                          std::size_t& errorAt) {
    while (pos < end) {
        ZBinaryEntry entry;
        const char* problem = ReadEntry(data, pos, end, entry);
        if (problem == nullptr) {
            switch (entry.m_type) {
                case ENTRY_BOOL:
                    if (static_cast<unsigned char>(data[entry.m_valuePos]) > 1) {
                        problem = "bool that is neither 0 nor 1";
                    }
                    break;
                case ENTRY_STRING_LIST:
                    problem = ReadList(data, entry, nullptr);
                    break;
                case ENTRY_CHILD:
                case ENTRY_ARRAY_ELEMENT: {
                    if (depth + 1 > ZBinaryCommStream::kMaxNesting) {
                        problem = "children nest too deep";
                        break;
                    }
                    if (const char* inner =
                            ValidateRange(data, entry.m_valuePos, entry.m_next, depth + 1, errorAt)) {
                        return inner;
                    }
                    break;
                }
                default:
                    break;
            }
        }
        if (problem != nullptr) {
            errorAt = pos;
            return problem;
        }
        pos = entry.m_next;
    }
    return nullptr;
}

// Where an array read has got to, kept in the caller's cursor. The position is relative to the
// stream's range, so it survives the stream taking a copy of its content.
struct ZBinaryArrayCursor {
    const ZBinaryCommStream* m_pOwner = nullptr;
    std::uint64_t m_generation = 0;
    std::size_t m_next = 0;
};

}  // namespace

ZBinaryCommStream::ZBinaryCommStream() {
    m_bEnumsAsText = false;
    m_logSource = "ZBinaryCommStream";
}

ZBinaryCommStream::~ZBinaryCommStream() = default;

std::shared_ptr<ZCommStream> ZBinaryCommStream::CreateChild() const {
    // One block from g_SBA for the object and its count: records make a child per nested object.
    auto child = std::allocate_shared<ZBinaryCommStream>(ZAllocator<ZBinaryCommStream>());
    InitChild(*child);
    return child;
}

ZBinaryCommStream* ZBinaryCommStream::AsBinary(ZCommStream* stream) {
    if (stream == nullptr) {
        return nullptr;
    }
    if (m_cid != 0 && stream->GetCID() == m_cid) {
        return static_cast<ZBinaryCommStream*>(stream);
    }
    return dynamic_cast<ZBinaryCommStream*>(stream);
}

ZBinaryCommStream& ZBinaryCommStream::FillableChild(std::shared_ptr<ZCommStream>& child) const {
    if (ZBinaryCommStream* binary = AsBinary(child.get())) {
        return *binary;
    }
    child = CreateChild();
    return static_cast<ZBinaryCommStream&>(*child);
}

void ZBinaryCommStream::Clear() {
    m_ownData.clear();
    m_pShared.reset();
    m_begin = m_end = m_scanPos = 0;
    m_bOwnsData = true;
    ++m_generation;
    m_bWriteStateReady = true;
    m_entryCount = 0;
    m_keyBits = 0;
    m_keyIndex.clear();
    ++m_indexEpoch;
    m_bIndexReady = false;
    ForgetPositions();
}

// A child that reads one record after another keeps looking at the same buffer: it is only taken
// when it changes, which spares two atomic count updates per record.
void ZBinaryCommStream::SetView(const std::shared_ptr<ZByteBuffer>& data, std::size_t begin,
                                std::size_t end) {
    if (m_pShared != data) {
        m_pShared = data;
    }
    m_ownData.Release();
    m_begin = begin;
    m_end = end;
    m_scanPos = begin;
    m_bOwnsData = false;
    ++m_generation;
    m_bWriteStateReady = false;
    if (!m_keyIndex.empty()) {
        m_keyIndex.clear();
        ++m_indexEpoch;
    }
    m_bIndexReady = false;
    ForgetPositions();
}

void ZBinaryCommStream::ForgetPositions() {
    m_readBits = 0;
    m_readEnd = m_begin;
    m_lastArrayEntry = kNoEntry;
}

const std::shared_ptr<ZByteBuffer>& ZBinaryCommStream::Share() {
    if (!m_pShared) {
        m_pShared = std::allocate_shared<ZByteBuffer>(ZAllocator<ZByteBuffer>(), std::move(m_ownData));
    }
    return m_pShared;
}

ZByteBuffer& ZBinaryCommStream::MakeWritable() {
    if (!m_pShared) {
        if (m_ownData.capacity() < kInitialCapacity) {
            m_ownData.reserve(kInitialCapacity);
        }
        return m_ownData;
    }
    if (m_bOwnsData && m_pShared.use_count() == 1) {  // lent, and every borrower is gone
        m_ownData = std::move(*m_pShared);
        m_pShared.reset();
        return m_ownData;
    }
    // A view keeps only its own range; a stream that lent its buffer keeps all of it, since inside
    // an array element written in place the content before the element is its own too.
    const std::size_t from = m_bOwnsData ? 0 : m_begin;
    const std::size_t size = m_end - from;
    ZByteBuffer copy;
    copy.reserve(std::max(kInitialCapacity, size + size / 2));
    copy.Append(Bytes() + from, size);
    m_ownData.swap(copy);
    m_pShared.reset();
    m_scanPos = m_scanPos >= m_begin && m_scanPos <= m_end ? m_scanPos - from : m_begin - from;
    m_readEnd -= from;
    if (m_lastArrayEntry != kNoEntry) {
        m_lastArrayEntry -= from;
    }
    m_begin -= from;
    m_end = size;
    m_bOwnsData = true;
    return m_ownData;
}

void ZBinaryCommStream::PrepareWriteState() {
    m_entryCount = 0;
    m_keyBits = 0;
    const char* data = Bytes();
    ZBinaryEntry entry;
    for (std::size_t pos = m_begin; pos < m_end && ReadEntry(data, pos, m_end, entry) == nullptr;
         pos = entry.m_next) {
        ++m_entryCount;
        m_keyBits |= KeyBit(data + entry.m_keyPos, entry.m_keyLength);
    }
    m_keyIndex.clear();
    ++m_indexEpoch;
    m_bIndexReady = false;
    m_bWriteStateReady = true;
}

void ZBinaryCommStream::RebuildIndex() {
    ++m_indexEpoch;
    m_keyIndex.clear();
    m_keyIndex.reserve(m_entryCount);
    const char* data = Bytes();
    ZBinaryEntry entry;
    for (std::size_t pos = m_begin; pos < m_end && ReadEntry(data, pos, m_end, entry) == nullptr;
         pos = entry.m_next) {
        m_keyIndex[KeyHash(data + entry.m_keyPos, entry.m_keyLength)] = entry.m_type == ENTRY_ARRAY_ELEMENT;
    }
    m_bIndexReady = true;
}

template <class Fill>
bool ZBinaryCommStream::WriteEntry(const char* key, std::uint8_t type, std::size_t valueSize, Fill&& fill) {
    if (key == nullptr) {
        return false;
    }
    const std::size_t keyLength = std::strlen(key);
    const bool prefixed = FixedSize(type) == 0;
    if (keyLength > kMaxKeyLength || (prefixed && valueSize > kMaxValueLength)) {
        ZLOG(LOGLEVEL_ERROR, "Key <%.64s>: key or value too long for a binary stream", key);
        return false;
    }
    const std::size_t headerSize = kEntryHeaderSize + keyLength + (prefixed ? kLengthSize : 0);
    const auto writeHeader = [&](char* out) {
        out[0] = static_cast<char>(type);
        PutU16(out + 1, static_cast<std::uint16_t>(keyLength));
        CopyBytes(out + kEntryHeaderSize, key, keyLength);
        if (prefixed) {
            PutU32(out + kEntryHeaderSize + keyLength, static_cast<std::uint32_t>(valueSize));
        }
    };

    ZByteBuffer& data = !m_pShared && m_ownData.capacity() != 0 ? m_ownData : MakeWritable();
    if (!m_bWriteStateReady) {
        PrepareWriteState();
    }
    bool exists = false;
    bool existingIsArray = false;
    const std::uint64_t bit = KeyBit(key, keyLength);
    std::uint64_t hash = 0;
    if (type == ENTRY_ARRAY_ELEMENT && IsLastArrayKey(key, keyLength)) {
        exists = existingIsArray = true;  // another element of the array being written
    } else {
        exists = (m_keyBits & bit) != 0 && FindKeyForWriting(key, keyLength, hash, existingIsArray);
    }

    if (exists && !(type == ENTRY_ARRAY_ELEMENT && existingIsArray)) {
        ZByteBuffer entry;
        char* out = entry.Extend(headerSize + valueSize);
        writeHeader(out);
        fill(out + headerSize);
        ReplaceEntries(key, keyLength, entry);
        return true;
    }
    const std::size_t at = data.size();
    char* out = data.Extend(headerSize + valueSize);
    writeHeader(out);
    fill(out + headerSize);
    m_end = data.size();
    ++m_entryCount;
    m_keyBits |= bit;
    if (type == ENTRY_ARRAY_ELEMENT) {
        m_lastArrayEntry = at;
    }
    if (m_bIndexReady && !exists) {
        m_keyIndex.emplace(hash != 0 ? hash : KeyHash(key, keyLength), type == ENTRY_ARRAY_ELEMENT);
    }
    return true;
}

// Small streams are searched, large ones looked up in the index, built on first need.
bool ZBinaryCommStream::FindKeyForWriting(const char* key, std::size_t keyLength, std::uint64_t& hash,
                                          bool& isArray) {
    hash = 0;
    isArray = false;
    if (m_entryCount <= kIndexThreshold) {
        ZBinaryEntry found;
        if (!FindForward(key, keyLength, m_begin, found)) {
            return false;
        }
        isArray = found.m_type == ENTRY_ARRAY_ELEMENT;
        return true;
    }
    if (!m_bIndexReady) {
        RebuildIndex();
    }
    hash = KeyHash(key, keyLength);
    const auto found = m_keyIndex.find(hash);
    if (found == m_keyIndex.end()) {
        return false;
    }
    isArray = found->second;
    return true;
}

// Inside an array element being written in place, what comes before the element is kept as it is.
void ZBinaryCommStream::ReplaceEntries(const char* key, std::size_t keyLength, const ZByteBuffer& entry) {
    ZByteBuffer rebuilt;
    rebuilt.reserve(m_end + entry.size());
    const char* data = Bytes();
    rebuilt.Append(data, m_begin);
    bool placed = false;
    ZBinaryEntry current;
    for (std::size_t pos = m_begin; pos < m_end && ReadEntry(data, pos, m_end, current) == nullptr;
         pos = current.m_next) {
        const bool match =
            current.m_keyLength == keyLength && SameKey(data + current.m_keyPos, key, keyLength);
        if (!match) {
            rebuilt.Append(data + pos, current.m_next - pos);
        } else if (!placed) {
            rebuilt.Append(entry.data(), entry.size());
            placed = true;
        }
    }
    if (!placed) {  // the index's hash matched another key
        rebuilt.Append(entry.data(), entry.size());
    }
    m_ownData.swap(rebuilt);
    m_end = m_ownData.size();
    m_scanPos = m_begin;
    ++m_generation;
    m_bWriteStateReady = false;
    ForgetPositions();
}

bool ZBinaryCommStream::FindForward(const char* key, std::size_t keyLength, std::size_t from,
                                    ZBinaryEntry& entry) const {
    const char* data = Bytes();
    for (std::size_t pos = from; pos < m_end;) {
        if (ReadEntry(data, pos, m_end, entry) != nullptr) {
            return false;
        }
        if (entry.m_keyLength == keyLength && SameKey(data + entry.m_keyPos, key, keyLength)) {
            return true;
        }
        pos = entry.m_next;
    }
    return false;
}

// Nothing matched from the scan position to the end, so a match before it is the first from the
// start. Key fingerprints, while they are up to date, tell most absent keys without that pass.
bool ZBinaryCommStream::FindWrapped(const char* key, std::size_t keyLength, ZBinaryEntry& entry) const {
    const std::size_t start = ScanStart();
    if (FindForward(key, keyLength, start, entry)) {
        return true;
    }
    if (start == m_begin || (m_bWriteStateReady && (m_keyBits & KeyBit(key, keyLength)) == 0)) {
        return false;
    }
    return FindForward(key, keyLength, m_begin, entry);
}

// Records are read key by key in the order they were written, then probed for optional keys. The
// entries passed on the way, from the start without a gap, leave their key fingerprints, which
// tell most absent keys without a second pass; failing that, the first miss takes the fingerprints
// of every key.
bool ZBinaryCommStream::FindReading(const char* key, ZBinaryEntry& entry) {
    const std::size_t keyLength = std::strlen(key);
    const std::size_t start = ScanStart();
    const char* data = Bytes();
    for (std::size_t pos = start; pos < m_end;) {
        if (ReadEntry(data, pos, m_end, entry) != nullptr) {
            return false;
        }
        if (pos == m_readEnd) {
            m_readBits |= KeyBit(data + entry.m_keyPos, entry.m_keyLength);
            m_readEnd = entry.m_next;
        }
        if (entry.m_keyLength == keyLength && SameKey(data + entry.m_keyPos, key, keyLength)) {
            return true;
        }
        pos = entry.m_next;
    }
    if (start == m_begin) {
        return false;
    }
    const std::uint64_t bit = KeyBit(key, keyLength);
    if (m_readEnd == m_end) {
        if ((m_readBits & bit) == 0) {
            return false;
        }
    } else {
        if (!m_bWriteStateReady) {
            PrepareWriteState();
        }
        if ((m_keyBits & bit) == 0) {
            return false;
        }
    }
    return FindForward(key, keyLength, m_begin, entry);
}

bool ZBinaryCommStream::IsLastArrayKey(const char* key, std::size_t keyLength) const {
    if (m_lastArrayEntry == kNoEntry) {
        return false;
    }
    const char* stored = Bytes() + m_lastArrayEntry;
    return GetU16(stored + 1) == keyLength && SameKey(stored + kEntryHeaderSize, key, keyLength);
}

void ZBinaryCommStream::LogWrongType(const char* key, const char* expected, std::uint8_t found) const {
    ZLOG(LOGLEVEL_WARNING, "Key <%s>: expected %s, found %s", key, expected, TypeName(found));
}

bool ZBinaryCommStream::Lookup(const char* key, std::uint8_t type, ZBinaryEntry& entry) {
    if (key == nullptr || !FindReading(key, entry)) {
        return false;
    }
    m_scanPos = entry.m_next;
    if (entry.m_type != type) {
        LogWrongType(key, TypeName(type), entry.m_type);
        return false;
    }
    return true;
}

namespace {
std::optional<ZStreamNumber> NumberAt(const char* data, const ZBinaryEntry& entry) {
    const char* value = data + entry.m_valuePos;
    switch (entry.m_type) {
        case ENTRY_INT32:
            return ZStreamNumber::Signed(static_cast<std::int32_t>(GetU32(value)));
        case ENTRY_UINT32:
            return ZStreamNumber::Unsigned(GetU32(value));
        case ENTRY_INT64:
            return ZStreamNumber::Signed(static_cast<std::int64_t>(GetU64(value)));
        case ENTRY_FLOAT: {
            const std::uint32_t bits = GetU32(value);
            float number;
            std::memcpy(&number, &bits, sizeof number);
            return ZStreamNumber::Float(number);
        }
        case ENTRY_DOUBLE: {
            const std::uint64_t bits = GetU64(value);
            double number;
            std::memcpy(&number, &bits, sizeof number);
            return ZStreamNumber::Float(number);
        }
        default:
            return std::nullopt;
    }
}
}  // namespace

template <class Int>
bool ZBinaryCommStream::ReadInteger(const char* key, Int& value) {
    ZBinaryEntry entry;
    if (key == nullptr || !FindReading(key, entry)) {
        return false;
    }
    m_scanPos = entry.m_next;
    const auto number = NumberAt(Bytes(), entry);
    if (!number) {
        LogWrongType(key, ZStreamIntegerName<Int>(), entry.m_type);
        return false;
    }
    return ZStreamReadInteger(*this, key, *number, value);
}

bool ZBinaryCommStream::ReadNumber(const char* key, const char* typeName, double& value) {
    ZBinaryEntry entry;
    if (key == nullptr || !FindReading(key, entry)) {
        return false;
    }
    m_scanPos = entry.m_next;
    const auto number = NumberAt(Bytes(), entry);
    if (!number) {
        LogWrongType(key, typeName, entry.m_type);
        return false;
    }
    value = number->ToDouble();
    return true;
}

bool ZBinaryCommStream::Serialize(const char* key, std::int32_t value, bool) {
    return WriteEntry(key, ENTRY_INT32, 4,
                      [value](char* out) { PutU32(out, static_cast<std::uint32_t>(value)); });
}

bool ZBinaryCommStream::Serialize(const char* key, std::uint32_t value, bool) {
    return WriteEntry(key, ENTRY_UINT32, 4, [value](char* out) { PutU32(out, value); });
}

bool ZBinaryCommStream::Serialize(const char* key, std::int64_t value, bool) {
    return WriteEntry(key, ENTRY_INT64, 8,
                      [value](char* out) { PutU64(out, static_cast<std::uint64_t>(value)); });
}

bool ZBinaryCommStream::Serialize(const char* key, float value, bool) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return WriteEntry(key, ENTRY_FLOAT, 4, [bits](char* out) { PutU32(out, bits); });
}

bool ZBinaryCommStream::Serialize(const char* key, double value, bool) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return WriteEntry(key, ENTRY_DOUBLE, 8, [bits](char* out) { PutU64(out, bits); });
}

bool ZBinaryCommStream::Serialize(const char* key, bool value, bool) {
    return WriteEntry(key, ENTRY_BOOL, 1, [value](char* out) { out[0] = value ? 1 : 0; });
}

bool ZBinaryCommStream::Serialize(const char* key, const ZString& value, bool) {
    return WriteEntry(key, ENTRY_STRING, value.size(),
                      [&value](char* out) { CopyBytes(out, value.data(), value.size()); });
}

bool ZBinaryCommStream::SerializeView(const char* key, std::string_view value) {
    return WriteEntry(key, ENTRY_STRING, value.size(),
                      [value](char* out) { CopyBytes(out, value.data(), value.size()); });
}

bool ZBinaryCommStream::Serialize(const char* key, const char* value, bool) {
    if (value == nullptr) {
        return false;
    }
    const std::size_t length = std::strlen(value);
    return WriteEntry(key, ENTRY_STRING, length,
                      [value, length](char* out) { CopyBytes(out, value, length); });
}

bool ZBinaryCommStream::Serialize(const char* key, const ZStringList& value, bool) {
    std::size_t size = kLengthSize;
    for (const ZString& item : value) {
        if (item.size() > kMaxValueLength) {
            ZLOG(LOGLEVEL_ERROR, "Key <%s>: list item too long for a binary stream",
                 key != nullptr ? key : "");
            return false;
        }
        size += kLengthSize + item.size();
    }
    return WriteEntry(key, ENTRY_STRING_LIST, size, [&value](char* out) {
        PutU32(out, static_cast<std::uint32_t>(value.size()));
        out += kLengthSize;
        for (const ZString& item : value) {
            PutU32(out, static_cast<std::uint32_t>(item.size()));
            std::memcpy(out + kLengthSize, item.data(), item.size());
            out += kLengthSize + item.size();
        }
    });
}

bool ZBinaryCommStream::Deserialize(const char* key, std::int32_t& value) {
    return ReadInteger(key, value);
}

bool ZBinaryCommStream::Deserialize(const char* key, std::uint32_t& value) {
    return ReadInteger(key, value);
}

bool ZBinaryCommStream::Deserialize(const char* key, std::int64_t& value) {
    return ReadInteger(key, value);
}

bool ZBinaryCommStream::Deserialize(const char* key, float& value) {
    double number = 0.0;
    if (!ReadNumber(key, "float", number)) {
        return false;
    }
    return ZStreamReadFloat(*this, key, ZStreamNumber::Float(number), value);
}

bool ZBinaryCommStream::Deserialize(const char* key, double& value) {
    return ReadNumber(key, "double", value);
}

bool ZBinaryCommStream::Deserialize(const char* key, bool& value) {
    ZBinaryEntry entry;
    if (!Lookup(key, ENTRY_BOOL, entry)) {
        return false;
    }
    value = Bytes()[entry.m_valuePos] != 0;
    return true;
}

bool ZBinaryCommStream::Deserialize(const char* key, ZString& value) {
    ZBinaryEntry entry;
    if (!Lookup(key, ENTRY_STRING, entry)) {
        return false;
    }
    value.assign(Bytes() + entry.m_valuePos, entry.m_valueLength);
    return true;
}

bool ZBinaryCommStream::DeserializeView(const char* key, std::string_view& value) {
    ZBinaryEntry entry;
    if (!Lookup(key, ENTRY_STRING, entry)) {
        return false;
    }
    value = std::string_view(Bytes() + entry.m_valuePos, entry.m_valueLength);
    return true;
}

bool ZBinaryCommStream::Deserialize(const char* key, ZStringList& value) {
    ZBinaryEntry entry;
    if (!Lookup(key, ENTRY_STRING_LIST, entry)) {
        return false;
    }
    ZStringList list;
    if (const char* problem = ReadList(Bytes(), entry, &list)) {
        ZLOG(LOGLEVEL_WARNING, "Key <%s>: %s", key, problem);
        return false;
    }
    value = std::move(list);
    return true;
}

bool ZBinaryCommStream::WriteChild(const char* key, std::uint8_t type,
                                   const std::shared_ptr<ZCommStream>& child) {
    const ZBinaryCommStream* source = AsBinary(child.get());
    if (key == nullptr || source == nullptr) {
        if (key != nullptr && child) {
            ZLOG(LOGLEVEL_ERROR, "Key <%s>: a <%s> child cannot be stored in a binary stream", key,
                 child->ClassName());
        }
        return false;
    }
    const std::size_t size = source->m_end - source->m_begin;
    // The source is read only once the entry's room exists: when it is this stream, its bytes have
    // moved with the buffer but kept their place in it.
    return WriteEntry(key, type, size, [source, size](char* out) {
        if (size > 0) {
            std::memcpy(out, source->Bytes() + source->m_begin, size);
        }
    });
}

bool ZBinaryCommStream::SerializeChild(const char* key, const std::shared_ptr<ZCommStream>& child) {
    return WriteChild(key, ENTRY_CHILD, child);
}

bool ZBinaryCommStream::OpenArrayElement(const char* key, ZElementMark& mark) {
    if (key == nullptr) {
        return false;
    }
    const std::size_t keyLength = std::strlen(key);
    if (keyLength > kMaxKeyLength) {
        return false;
    }
    ZByteBuffer& data = MakeWritable();
    if (!m_bWriteStateReady) {
        PrepareWriteState();
    }
    mark.m_keyBit = KeyBit(key, keyLength);
    mark.m_keyHash = 0;
    mark.m_bNewKey = false;
    if (!IsLastArrayKey(key, keyLength)) {
        bool isArray = false;
        if ((m_keyBits & mark.m_keyBit) != 0 && FindKeyForWriting(key, keyLength, mark.m_keyHash, isArray)) {
            return false;  // elements of an earlier array, or another kind of value
        }
        mark.m_bNewKey = true;
    }

    const std::size_t headerSize = kEntryHeaderSize + keyLength + kLengthSize;
    mark.m_entry = data.size();
    mark.m_valuePos = mark.m_entry + headerSize;
    char* out = data.Extend(headerSize);
    out[0] = static_cast<char>(ENTRY_ARRAY_ELEMENT);
    PutU16(out + 1, static_cast<std::uint16_t>(keyLength));
    CopyBytes(out + kEntryHeaderSize, key, keyLength);
    PutU32(out + kEntryHeaderSize + keyLength, 0);  // set on closing

    mark.m_outerBegin = m_begin;
    mark.m_outerEntryCount = m_entryCount;
    mark.m_outerKeyBits = m_keyBits;
    mark.m_bOuterIndexReady = m_bIndexReady;
    mark.m_indexEpoch = m_indexEpoch;
    m_begin = m_end = mark.m_valuePos;
    m_entryCount = 0;
    m_keyBits = 0;
    m_bIndexReady = false;
    m_scanPos = m_begin;
    ForgetPositions();
    return true;
}

void ZBinaryCommStream::CloseArrayElement(const ZElementMark& mark, std::size_t moreToCome) {
    if (m_bOwnsData && m_pShared) {
        MakeWritable();  // the record read its own stream and lent the buffer meanwhile
    }
    ++m_generation;
    if (!m_bOwnsData || m_pShared || m_begin != mark.m_valuePos || m_end != m_ownData.size()) {
        ZLOG(LOGLEVEL_ERROR, "The stream was emptied or replaced while an array element was written into it");
        m_bWriteStateReady = false;
        m_bIndexReady = false;
        ForgetPositions();
        return;
    }
    const std::size_t valueSize = m_end - mark.m_valuePos;
    const bool indexTouched = m_indexEpoch != mark.m_indexEpoch;
    m_begin = mark.m_outerBegin;
    m_scanPos = m_begin;
    ForgetPositions();
    if (valueSize > kMaxValueLength) {
        ZLOG(LOGLEVEL_ERROR, "Array element of %zu bytes too long for a binary stream", valueSize);
        m_ownData.Truncate(mark.m_entry);
        m_end = mark.m_entry;
        m_entryCount = mark.m_outerEntryCount;
        m_keyBits = mark.m_outerKeyBits;
        m_bIndexReady = mark.m_bOuterIndexReady && !indexTouched;
        return;
    }
    PutU32(m_ownData.data() + mark.m_valuePos - kLengthSize, static_cast<std::uint32_t>(valueSize));
    m_entryCount = mark.m_outerEntryCount + 1;
    m_keyBits = mark.m_outerKeyBits | mark.m_keyBit;
    // Keys of a record with many of them went through the index, which then no longer holds the
    // stream's own.
    m_bIndexReady = mark.m_bOuterIndexReady && !indexTouched;
    if (m_bIndexReady && mark.m_bNewKey) {
        const char* key = m_ownData.data() + mark.m_entry + kEntryHeaderSize;
        const std::size_t keyLength = mark.m_valuePos - kLengthSize - (mark.m_entry + kEntryHeaderSize);
        m_keyIndex.emplace(mark.m_keyHash != 0 ? mark.m_keyHash : KeyHash(key, keyLength), true);
    }
    m_lastArrayEntry = mark.m_entry;
    const std::size_t entrySize = m_end - mark.m_entry;
    if (moreToCome > 0 && moreToCome <= kMaxValueLength / entrySize) {
        // Elements differ in size; an eighth more keeps somewhat larger ones from doubling the
        // buffer.
        const std::size_t wanted = m_end + moreToCome * entrySize + moreToCome * entrySize / 8;
        m_ownData.reserve(wanted);
    }
}

bool ZBinaryCommStream::SerializeArrayElement(const char* key, const std::shared_ptr<ZCommStream>& child) {
    return WriteChild(key, ENTRY_ARRAY_ELEMENT, child);
}

void ZBinaryCommStream::ReserveArrayElements(const char* key, std::size_t count,
                                             const std::shared_ptr<ZCommStream>& sample) {
    const ZBinaryCommStream* source = AsBinary(sample.get());
    if (key == nullptr || source == nullptr || count == 0) {
        return;
    }
    const std::size_t entrySize =
        kEntryHeaderSize + std::strlen(key) + kLengthSize + (source->m_end - source->m_begin);
    if (count > kMaxValueLength / entrySize) {
        return;  // more than a child can hold: the writes will say so
    }
    const std::size_t used = m_end - m_begin;
    // Elements differ in size; an eighth more keeps somewhat larger ones from doubling the buffer.
    const std::size_t wanted = used + count * entrySize + count * entrySize / 8;
    ZByteBuffer& data = MakeWritable();
    if (data.capacity() < wanted) {
        data.reserve(wanted);
    }
}

std::shared_ptr<ZCommStream> ZBinaryCommStream::ReadChild(const char* key) {
    ZBinaryEntry entry;
    if (!Lookup(key, ENTRY_CHILD, entry)) {
        return nullptr;
    }
    std::shared_ptr<ZCommStream> child = CreateChild();
    static_cast<ZBinaryCommStream&>(*child).SetView(Share(), entry.m_valuePos, entry.m_next);
    return child;
}

bool ZBinaryCommStream::DeserializeChild(const char* key, std::shared_ptr<ZCommStream>& child) {
    ZBinaryEntry entry;
    if (!Lookup(key, ENTRY_CHILD, entry)) {
        return false;
    }
    FillableChild(child).SetView(Share(), entry.m_valuePos, entry.m_next);
    return true;
}

bool ZBinaryCommStream::DeserializeArrayElement(const char* key, std::shared_ptr<ZCommStream>& child,
                                                std::shared_ptr<void>& cursor) {
    if (key == nullptr) {
        return false;
    }
    const std::size_t keyLength = std::strlen(key);
    ZBinaryEntry entry;
    ZBinaryArrayCursor* position = nullptr;
    if (!cursor) {
        if (!FindForward(key, keyLength, m_begin, entry)) {
            return false;
        }
    } else {
        position = static_cast<ZBinaryArrayCursor*>(cursor.get());
        if (position->m_pOwner != this || position->m_generation != m_generation) {
            ZLOG(LOGLEVEL_ERROR,
                 "Key <%s>: the array cursor belongs to another stream or to replaced content", key);
            return false;
        }
        if (position->m_next > m_end - m_begin ||
            !FindForward(key, keyLength, m_begin + position->m_next, entry)) {
            return false;
        }
    }
    m_scanPos = entry.m_next;
    if (entry.m_type != ENTRY_ARRAY_ELEMENT) {
        LogWrongType(key, "array", entry.m_type);
        return false;
    }
    if (position == nullptr) {
        auto made = std::make_shared<ZBinaryArrayCursor>();
        made->m_pOwner = this;
        made->m_generation = m_generation;
        position = made.get();
        cursor = std::move(made);
    }
    position->m_next = entry.m_next - m_begin;
    FillableChild(child).SetView(Share(), entry.m_valuePos, entry.m_next);
    return true;
}

bool ZBinaryCommStream::HasKey(const char* key) const {
    ZBinaryEntry entry;
    return key != nullptr && FindWrapped(key, std::strlen(key), entry);
}

std::size_t ZBinaryCommStream::CountArrayElements(const char* key) const {
    if (key == nullptr) {
        return 0;
    }
    const std::size_t keyLength = std::strlen(key);
    const char* data = Bytes();
    std::size_t count = 0;
    ZBinaryEntry entry;
    for (std::size_t pos = m_begin; pos < m_end && ReadEntry(data, pos, m_end, entry) == nullptr;
         pos = entry.m_next) {
        count += entry.m_type == ENTRY_ARRAY_ELEMENT && entry.m_keyLength == keyLength &&
                 SameKey(data + entry.m_keyPos, key, keyLength);
    }
    return count;
}

bool ZBinaryCommStream::GetData(std::string& data) const {
    data.clear();
    data.reserve(kHeaderSize + (m_end - m_begin));
    data.append(kMagic, sizeof kMagic);
    data.push_back(static_cast<char>(kVersion));
    if (m_end > m_begin) {
        data.append(Bytes() + m_begin, m_end - m_begin);
    }
    return true;
}

bool ZBinaryCommStream::SetData(const void* data, std::size_t size) {
    Clear();
    const char* bytes = static_cast<const char*>(data);
    if (bytes == nullptr || size < kHeaderSize || std::memcmp(bytes, kMagic, sizeof kMagic) != 0) {
        ZLOG(LOGLEVEL_ERROR, "Data of %zu bytes is not a binary stream: no stream header", size);
        return false;
    }
    const auto version = static_cast<std::uint8_t>(bytes[sizeof kMagic]);
    if (version != kVersion) {
        ZLOG(LOGLEVEL_ERROR, "Binary stream version %u is not supported", static_cast<unsigned>(version));
        return false;
    }
    const char* body = bytes + kHeaderSize;
    const std::size_t length = size - kHeaderSize;
    std::size_t errorAt = 0;
    if (const char* problem = ValidateRange(body, 0, length, 0, errorAt)) {
        ZLOG(LOGLEVEL_ERROR, "Corrupt binary stream at byte %zu: %s", errorAt + kHeaderSize, problem);
        return false;
    }
    m_ownData.Assign(body, length);
    m_end = length;
    m_bWriteStateReady = false;
    return true;
}
