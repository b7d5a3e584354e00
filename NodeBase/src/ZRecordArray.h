#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "ZMessages/ZBinaryCommStream.h"
#include "ZMessages/ZCommStream.h"
#include "ZShared/ZAllocator.h"

class ZEnvironment;

// Lists of topology records written as arrays of plain children: the receiver knows the record
// type, so no "class" key is spent on each element.
namespace ZRecordArray {

// Whether records of the type read configuration files through an environment.
template <class Record, class = void>
struct ZTakesEnvironment : std::false_type {};
template <class Record>
struct ZTakesEnvironment<Record, std::void_t<decltype(std::declval<Record&>().SetEnvironment(
                                     std::declval<const std::shared_ptr<ZEnvironment>&>()))>>
    : std::true_type {};

// A binary stream takes each record straight into its buffer as the next element. Otherwise one
// child stream serves every element: it is emptied after each is stored, which keeps a list of
// thousands of records from making thousands of streams. Either way the first element tells the
// stream how much room the list will take, so that its buffer is not regrown and copied many
// times over.
template <class Record>
void Write(const std::shared_ptr<ZCommStream>& stream, const char* key, const ZVector<Record>& records) {
    ZBinaryCommStream* binary = ZBinaryCommStream::Cast(stream.get());
    std::shared_ptr<ZCommStream> child;
    bool first = true;
    for (const auto& record : records) {
        ZBinaryCommStream::ZElementMark mark;
        if (binary != nullptr && binary->OpenArrayElement(key, mark)) {
            record.Serialize(stream);
            binary->CloseArrayElement(mark, first ? records.size() - 1 : 0);
            first = false;
            continue;
        }
        if (!child && !(child = stream->CreateChild())) {
            return;
        }
        record.Serialize(child);
        if (first) {
            stream->ReserveArrayElements(key, records.size(), child);
            first = false;
        }
        stream->SerializeArrayElement(key, child);
        child->Clear();
    }
}

// Replaces the list when the key holds at least one element and keeps it otherwise, since an
// empty list is never written. Each element is read into the same child stream in turn, and into a
// record made in place in a list sized beforehand: records are large, and moving thousands of them
// as the list grows cost more than reading them.
template <class Record>
void Read(const std::shared_ptr<ZCommStream>& stream, const char* key,
          const std::shared_ptr<ZEnvironment>& environment, ZVector<Record>& records) {
    std::shared_ptr<void> cursor;
    std::shared_ptr<ZCommStream> child = stream->CreateChild();
    bool first = true;
    while (child && stream->DeserializeArrayElement(key, child, cursor)) {
        if (first) {
            records.clear();
            records.reserve(stream->CountArrayElements(key));
            first = false;
        }
        Record& record = records.emplace_back();
        if constexpr (ZTakesEnvironment<Record>::value) {
            record.SetEnvironment(environment);
        }
        record.Deserialize(child);
    }
}

}  // namespace ZRecordArray
