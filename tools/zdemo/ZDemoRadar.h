#pragma once

#include <string>

#include "NodeBase/ZNode.h"

// A radar of the demo: a plain node that only takes part in the topology.
class ZDemoRadar : public ZNode {
    Z_FACTORY_CLASS(ZDemoRadar)

public:
    explicit ZDemoRadar(const std::string& name = std::string());
    ~ZDemoRadar() override;
};
