#include "ZDemoRadar.h"

ZDemoRadar::ZDemoRadar(const std::string& name) : ZNode(name) {}

ZDemoRadar::~ZDemoRadar() {
    StopAction(true);
}
