#pragma once

#include <cstdint>

#include "ZShared/ZEnumNames.h"

// A side of a node's box in the graphical editor, where an edge's line starts or ends.
enum class ZEdgeAnchorPosition : std::int32_t {
    ZUNDEFINED = 0,
    ZLEFT = 1,
    ZTOP = 2,
    ZRIGHT = 3,
    ZBOTTOM = 4
};
Z_ENUM_NAMES(ZEdgeAnchorPosition, {ZEdgeAnchorPosition::ZUNDEFINED, "ZUNDEFINED"},
             {ZEdgeAnchorPosition::ZLEFT, "ZLEFT"}, {ZEdgeAnchorPosition::ZTOP, "ZTOP"},
             {ZEdgeAnchorPosition::ZRIGHT, "ZRIGHT"}, {ZEdgeAnchorPosition::ZBOTTOM, "ZBOTTOM"});

// Whether the editor may move an anchor point of an edge's line.
enum class ZEdgeAnchorType : std::int32_t { ZUNDEFINED = 0, ZDYNAMIC = 1, ZFIXED = 2 };
Z_ENUM_NAMES(ZEdgeAnchorType, {ZEdgeAnchorType::ZUNDEFINED, "ZUNDEFINED"},
             {ZEdgeAnchorType::ZDYNAMIC, "ZDYNAMIC"}, {ZEdgeAnchorType::ZFIXED, "ZFIXED"});
