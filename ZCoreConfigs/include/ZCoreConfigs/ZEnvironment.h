#pragma once

#include "ZShared/ZAllocator.h"
#include "ZShared/ZExport.h"

// What a configuration record may ask of the process it runs in. The base resolves nothing;
// ZProcessEnvironment expands environment variables.
class Z_EXPORT ZEnvironment {
public:
    virtual ~ZEnvironment();
    // Writes the path with its variables expanded to `resolved`; false (and `resolved` untouched)
    // when nothing could be resolved.
    virtual bool ResolveEnvVarsInPath(const ZString& path, ZString& resolved) const;
};
