#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "ZShared/ZAllocator.h"
#include "ZShared/ZExport.h"

// Identifier of a node or node manager: one text, compared byte by byte (a shorter text sorts first
// on a common prefix). Empty by default. Built from a text, or from a text and a number, which
// simply joins the two ("ZNodeDiscovery" and 1 give "ZNodeDiscovery1").
class Z_EXPORT ZNodeUID {
public:
    ZNodeUID() = default;
    explicit ZNodeUID(const char* text) : m_text(text != nullptr ? text : "") {}
    explicit ZNodeUID(const std::string& text) : m_text(text.data(), text.size()) {}
    explicit ZNodeUID(const ZString& text) : m_text(text) {}
    explicit ZNodeUID(ZString&& text) : m_text(std::move(text)) {}
    explicit ZNodeUID(std::string_view text) : m_text(text.data(), text.size()) {}
    ZNodeUID(const std::string& text, std::int32_t number);

    const ZString& AsString() const { return m_text; }
    const char* c_str() const { return m_text.c_str(); }
    bool IsEmpty() const { return m_text.empty(); }

    friend bool operator==(const ZNodeUID& a, const ZNodeUID& b) { return a.m_text == b.m_text; }
    friend bool operator!=(const ZNodeUID& a, const ZNodeUID& b) { return a.m_text != b.m_text; }
    friend bool operator<(const ZNodeUID& a, const ZNodeUID& b) { return a.m_text < b.m_text; }

private:
    ZString m_text;
};
