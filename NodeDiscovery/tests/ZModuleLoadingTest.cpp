// Loads the built discovery module with dlopen, as a node-manager host does. Each scenario runs in a
// child process of its own, because what a load registers stays for the life of the process.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "NodeBase/ZNode.h"
#include "ZShared/CID.h"
#include "ZShared/ZFactory.h"
#include "ZShared/ZModuleClassRow.h"

namespace {

void* Load(const char* path) {
    void* module = dlopen(path, RTLD_NOW | RTLD_GLOBAL);
    if (module == nullptr) {
        std::cerr << dlerror() << std::endl;
        std::exit(3);
    }
    return module;
}

template <class Fn>
Fn Symbol(void* module, const char* name) {
    return reinterpret_cast<Fn>(dlsym(module, name));
}

// Exits with 0 when the check holds, and says which one failed otherwise.
void Require(bool condition, const std::string& what) {
    if (!condition) {
        std::cerr << "failed: " << what << std::endl;
        std::exit(1);
    }
}

const std::vector<std::pair<std::string, std::string>> kTable{
    {"ZCommStream", "ZFactoryObject"},
    {"ZCommStreamObject", "ZFactoryObject"},
    {"ZJSONCommStream", "ZCommStream"},
    {"ZAnchorPointToolsMetadata", "ZMessage"},
    {"ZNodeToolsMetadata", "ZMessage"},
    {"ZEdgeToolsMetadata", "ZMessage"},
    {"ZDiscoveryConfig", "ZConfig"},
    {"ZLogParams", "ZConfig"},
    {"ZTraceLogParams", "ZConfig"},
    {"ZAuditLogParams", "ZConfig"},
    {"ZMessageLogParams", "ZConfig"},
    {"ZReportParams", "ZConfig"},
    {"ZCoreConfigParams", "ZConfig"},
    {"ZCommsParams", "ZConfig"},
    {"ZNodeComm", "ZFactoryObject"},
    {"ZNodeCommLocal", "ZNodeComm"},
    {"ZNode", "ZCommEnabledObject"},
    {"ZNodeDiscovery", "ZNode"},
    {"ZNodesDisconnectedMsg", "ZMessage"},
    {"ZRadarModeMsg", "ZMessage"},
    {"ZVersionInfoMsg", "ZGenericResponseMsg"},
    {"ZAntennaConfigMsg", "ZMessage"},
    {"ZSystemParams", "ZConfig"},
};

class ZModuleLoadingTest : public ::testing::Test {
protected:
    // Each case loads modules in a fresh process. Under an emulator the binary cannot be run
    // again directly, so GTEST_DEATH_TEST_STYLE=fast (a plain fork) is honoured: this process
    // itself never loads a module, so its forks start as clean.
    static void SetUpTestSuite() {
        if (std::getenv("GTEST_DEATH_TEST_STYLE") == nullptr) {
            GTEST_FLAG_SET(death_test_style, "threadsafe");
        }
    }
};

TEST_F(ZModuleLoadingTest, RegistersItsTwentyThreeClassesInOrderAndExportsItsVersion) {
    EXPECT_EXIT(
        {
            void* module = Load(Z_NODE_DISCOVERY_MODULE);
            Require(std::string(Symbol<ZGetVersionTagFn>(module, "GetVersionTag")()) == "2.151",
                    "version tag");
            Require(std::string(Symbol<ZGetVersionHashFn>(module, "GetVersionHash")()) == "575577671",
                    "version hash");
            std::size_t count = 0;
            const ZModuleClassRow* rows =
                Symbol<ZGetModuleClassTableFn>(module, "GetModuleClassTable")(&count);
            Require(count == kTable.size(), "23 rows");
            for (std::size_t i = 0; i < count; ++i) {
                const std::string name = rows[i].m_className;
                Require(name == kTable[i].first, "row " + std::to_string(i) + " is " + name);
                Require(rows[i].m_baseClassName == kTable[i].second, name + " base in the table");
                Require(ZShared::ZFactory::GetBaseClassName(rows[i].m_cid) == kTable[i].second,
                        name + " base in the factory");
                Require(ZShared::ZFactory::GetClassID(name.c_str()) == rows[i].m_cid,
                        name + " has one class ID");
            }
            // Framework classes came with the framework's libraries; the module's own are new here.
            Require(!rows[0].m_bRegisteredHere, "ZCommStream was registered before the module");
            Require(rows[17].m_bRegisteredHere, "ZNodeDiscovery is registered by the module");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(ZModuleLoadingTest, CreatesTheDiscoveryNodeByName) {
    EXPECT_EXIT(
        {
            Require(ZShared::ZFactory::CreateShared("ZNodeDiscovery") == nullptr, "unknown before loading");
            Load(Z_NODE_DISCOVERY_MODULE);
            auto made = ZShared::ZFactory::CreateShared("ZNodeDiscovery", "discovery");
            auto node = std::dynamic_pointer_cast<ZNode>(made);
            Require(node != nullptr, "created");
            Require(node->GetUID() == ZNodeUID("ZNodeDiscovery1"), "UID");
            Require(ZShared::CID::IsKindOf(ZNode::m_cid, made->GetCID()), "kind of ZNode");
            Require(std::string(made->ClassName()) == "ZNodeDiscovery", "class name");
            node.reset();
            made.reset();
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(ZModuleLoadingTest, AClassKeepsTheRegistrationOfTheModuleLoadedFirst) {
    EXPECT_EXIT(
        {
            void* test = Load(Z_TEST_MODULE);
            const std::uint32_t cid = ZShared::ZFactory::GetClassID("ZRadarModeMsg");
            Require(cid != 0, "registered by the test module");
            Require(Symbol<bool (*)()>(test, "ZTestModuleRegisteredRadarMode")(),
                    "the test module's row ran");
            void* discovery = Load(Z_NODE_DISCOVERY_MODULE);
            std::size_t count = 0;
            const ZModuleClassRow* rows =
                Symbol<ZGetModuleClassTableFn>(discovery, "GetModuleClassTable")(&count);
            Require(!rows[19].m_bRegisteredHere, "the discovery module skipped ZRadarModeMsg");
            Require(rows[19].m_cid == cid, "the discovery module sees the first class ID");
            Require(ZShared::ZFactory::GetClassID("ZRadarModeMsg") == cid, "the class ID stays");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            Load(Z_NODE_DISCOVERY_MODULE);
            const std::uint32_t cid = ZShared::ZFactory::GetClassID("ZRadarModeMsg");
            void* test = Load(Z_TEST_MODULE);
            Require(!Symbol<bool (*)()>(test, "ZTestModuleRegisteredRadarMode")(),
                    "the test module skipped it");
            Require(ZShared::ZFactory::GetClassID("ZRadarModeMsg") == cid, "the class ID stays");
            const auto names = ZShared::ZFactory::GetClassNames();
            Require(std::count(names.begin(), names.end(), "ZRadarModeMsg") == 1, "registered once");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
