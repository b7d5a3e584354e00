#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/ZMakeShared.h"

// A JSON stream holding the given document, for tests that read records from literal JSON.
inline std::shared_ptr<ZJSONCommStream> ZTestJsonStream(const std::string& text = "{}",
                                                        bool enumsAsText = true) {
    auto stream = ZMakeShared<ZJSONCommStream>();
    stream->m_bEnumsAsText = enumsAsText;
    EXPECT_TRUE(stream->SetData(text.data(), text.size())) << text;
    return stream;
}
