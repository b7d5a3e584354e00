// zchaos as a user runs it: command-line mistakes end it at once with one line and exit code 2.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "ZChildProcess.h"
#include "ZScratchFolder.h"

namespace {

struct ZRun {
    int m_code = -1;
    std::string m_output;
};

ZRun RunChaos(const std::vector<std::string>& arguments) {
    ZScratchFolder folder("zchaostool");
    const std::string log = folder.Path() + "/out.log";
    std::vector<std::string> args = {Z_ZCHAOS};
    // A cross-built tool runs under the same emulator as this test.
    if (std::string(Z_EMULATOR).size() > 0) {
        args.insert(args.begin(), Z_EMULATOR);
    }
    args.insert(args.end(), arguments.begin(), arguments.end());
    ZRun run;
    run.m_code = ZChildProcess::Run(args, log, std::chrono::seconds(30));
    std::ifstream text(log);
    std::stringstream output;
    output << text.rdbuf();
    run.m_output = output.str();
    return run;
}

}  // namespace

TEST(ZChaosToolTest, UsageErrorsExitWithCodeTwoAndOneLine) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{{"--managers", "0"},
                                                                       {"--managers", "101"},
                                                                       {"--dead-time", "x"},
                                                                       {"--faults", "0"},
                                                                       {"--znodemanager", "/no/such/file"},
                                                                       {"--surprise"}}) {
        const ZRun run = RunChaos(arguments);
        EXPECT_EQ(run.m_code, 2) << arguments[0] << ": " << run.m_output;
        EXPECT_EQ(run.m_output.rfind("zchaos: ", 0), 0u) << run.m_output;
        EXPECT_EQ(std::count(run.m_output.begin(), run.m_output.end(), '\n'), 1) << run.m_output;
    }
    const ZRun help = RunChaos({"--help"});
    EXPECT_EQ(help.m_code, 0);
    EXPECT_NE(help.m_output.find("--seed"), std::string::npos);
}
