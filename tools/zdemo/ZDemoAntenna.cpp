#include "ZDemoAntenna.h"

ZDemoAntenna::ZDemoAntenna(const std::string& name) : ZNode(name) {}

ZDemoAntenna::~ZDemoAntenna() {
    StopAction(true);
}
