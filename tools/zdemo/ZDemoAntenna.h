#pragma once

#include <string>

#include "NodeBase/ZNode.h"

// An antenna of the demo: a plain node that only takes part in the topology.
class ZDemoAntenna : public ZNode {
    Z_FACTORY_CLASS(ZDemoAntenna)

public:
    explicit ZDemoAntenna(const std::string& name = std::string());
    ~ZDemoAntenna() override;
};
