#pragma once

// What the two source files of ZNodeManager share: registration and sign of life
// (ZNodeManager.cpp), presence, wills and supersession (ZNodeManagerPresence.cpp).
#include <chrono>
#include <cstdint>
#include <memory>

#include "ZMessages/ZMessage.h"
#include "ZShared/CID.h"

namespace ZNodeManagerShared {

constexpr const char* kOnlineStatus = "online";

template <class T>
bool Is(const std::shared_ptr<ZMessage>& message) {
    return message && ZShared::CID::IsKindOf(T::m_cid, message->GetCID());
}

inline std::int64_t WallClockUs() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

inline double Seconds(std::chrono::milliseconds duration) {
    return static_cast<double>(duration.count()) / 1000.0;
}

}  // namespace ZNodeManagerShared
