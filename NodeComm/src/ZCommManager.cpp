#include "NodeComm/ZCommManager.h"

ZCommManager::ZCommManager() = default;
ZCommManager::~ZCommManager() = default;
