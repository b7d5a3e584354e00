#pragma once

#include <string>

#include "ZCoreConfigs/ZEnvironment.h"

// Expands $NAME and ${NAME} in paths from the process environment, or from values set here, which
// take precedence (tests and hosts use them to pin paths). A path that names a variable that is
// neither set here nor in the environment is not resolved: a log path must not silently turn into
// a different directory.
class Z_EXPORT ZProcessEnvironment : public ZEnvironment {
public:
    bool ResolveEnvVarsInPath(const ZString& path, ZString& resolved) const override;
    void SetVariable(const std::string& name, const std::string& value);

private:
    bool Lookup(const std::string& name, std::string& value) const;
    ZMap<ZString, ZString> m_variables;
};
