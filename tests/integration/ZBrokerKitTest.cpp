// The kit's own promises about the brokers it starts: a process group ends whole, whichever way the
// test process goes, and an ejabberd cluster routes between its nodes, loses a killed node entirely
// and takes it back after a restart.
#include <dirent.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ZChildProcess.h"
#include "ZScratchFolder.h"
#include "ZTestKit/ZGroupProcess.h"
#include "ZTestKit/ZLoopback.h"
#include "ZTestKit/ZTestBroker.h"
#include "ZTestKit/ZTestEjabberd.h"

namespace {

using std::chrono::seconds;

// Processes whose command line holds the fragment.
std::vector<pid_t> ProcessesWith(const std::string& fragment) {
    std::vector<pid_t> found;
    DIR* proc = ::opendir("/proc");
    if (proc == nullptr) {
        return found;
    }
    while (const dirent* entry = ::readdir(proc)) {
        const pid_t pid = static_cast<pid_t>(std::atoi(entry->d_name));
        if (pid <= 0 || pid == ::getpid()) {
            continue;
        }
        std::ifstream file("/proc/" + std::string(entry->d_name) + "/cmdline");
        std::stringstream text;
        text << file.rdbuf();
        std::string line = text.str();
        for (char& c : line) {
            c = c == '\0' ? ' ' : c;
        }
        if (line.find(fragment) != std::string::npos) {
            found.push_back(pid);
        }
    }
    ::closedir(proc);
    return found;
}

bool NoneLeft(const std::string& fragment) {
    return ZWaitUntil([&fragment] { return ProcessesWith(fragment).empty(); }, seconds(10));
}

std::string ReadAll(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

ZGroupProcess::ZOptions Shell(const std::string& script, const std::string& logPath,
                              std::vector<std::string> environment = {}) {
    ZGroupProcess::ZOptions options;
    options.m_args = {"/bin/sh", "-c", script};
    options.m_environment = std::move(environment);
    options.m_logPath = logPath;
    return options;
}

}  // namespace

// A program that leaves a child behind, as ejabberdctl leaves the Erlang VM.
TEST(ZGroupProcessTest, KillEndsTheProgramAndWhatItStarted) {
    ZScratchFolder folder("zgroup");
    const std::string marker = "600.25";  // unusual enough to find the sleeps by
    ZGroupProcess sut;
    std::string error;
    ASSERT_TRUE(sut.Start(Shell("sleep " + marker + " & sleep " + marker, folder.Path() + "/log"), &error))
        << error;
    ASSERT_TRUE(ZWaitUntil([&] { return ProcessesWith("sleep " + marker).size() >= 2; }, seconds(10)));

    sut.Kill();

    EXPECT_TRUE(ProcessesWith("sleep " + marker).empty());
    EXPECT_FALSE(sut.IsRunning());
}

TEST(ZGroupProcessTest, GroupEndsWhenItsOwnerDiesWithoutCleaningUp) {
    ZScratchFolder folder("zgroup");
    const std::string marker = "600.5";
    const pid_t owner = ::fork();
    if (owner == 0) {
        ZGroupProcess group;
        group.Start(Shell("sleep " + marker + " & sleep " + marker, folder.Path() + "/log"));
        ::pause();
        ::_exit(0);
    }
    ASSERT_GT(owner, 0);
    const bool started =
        ZWaitUntil([&] { return ProcessesWith("sleep " + marker).size() >= 2; }, seconds(10));

    ::kill(owner, SIGKILL);
    ::waitpid(owner, nullptr, 0);

    ASSERT_TRUE(started);
    EXPECT_TRUE(NoneLeft("sleep " + marker));
}

TEST(ZGroupProcessTest, RunGivesTheExitCodeAndTheOutput) {
    ZScratchFolder folder("zgroup");
    const std::string log = folder.Path() + "/log";
    EXPECT_EQ(ZGroupProcess::Run(Shell("echo said; exit 3", log), seconds(10)), 3);
    EXPECT_EQ(ReadAll(log), "said\n");
    EXPECT_EQ(ZGroupProcess::Run(Shell("echo $ZWORD", log, {"ZWORD=heard"}), seconds(10)), 0);
    EXPECT_EQ(ReadAll(log), "said\nheard\n");
}

class ZTestEjabberdTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!ZTestEjabberd::Available()) {
            GTEST_SKIP() << "ejabberd is not installed, or this user may not run it";
        }
    }

    // Whether a message published on one node reaches a subscriber on the other. The subscriber
    // says nothing when its subscription is in place, so the message goes out until it arrives.
    bool Routes(ZTestEjabberd& sut, int from, int to) {
        const std::string log = m_folder.Path() + "/sub.log";
        std::remove(log.c_str());
        ZChildProcess subscriber;
        if (!subscriber.Start(
                {"/usr/bin/mosquitto_sub", "-p", std::to_string(sut.Port(to)), "-u", ZTestEjabberd::kUser,
                 "-P", ZTestEjabberd::kPassword, "-t", "kit/route", "-C", "1", "-W", "20"},
                log)) {
            return false;
        }
        const bool arrived = ZWaitUntil(
            [&] {
                ZChildProcess::Run(
                    {"/usr/bin/mosquitto_pub", "-p", std::to_string(sut.Port(from)), "-u",
                     ZTestEjabberd::kUser, "-P", ZTestEjabberd::kPassword, "-t", "kit/route", "-m", "across"},
                    m_folder.Path() + "/pub.log", seconds(20));
                return subscriber.WaitExit(std::chrono::milliseconds(200)) >= 0;
            },
            seconds(20));
        return arrived && subscriber.ExitCode() == 0 && ReadAll(log).find("across") != std::string::npos;
    }

    ZScratchFolder m_folder{"zejabberdkit"};
};

// One cluster for everything the kit promises: a start costs seconds.
TEST_F(ZTestEjabberdTest, ClusterRoutesRefusesStrangersLosesAKilledNodeWholeAndTakesItBack) {
    std::string error;
    auto sut = std::make_unique<ZTestEjabberd>(2);
    ASSERT_TRUE(sut->Start(&error)) << error;
    ASSERT_NE(sut->Port(0), sut->Port(1));
    EXPECT_TRUE(Routes(*sut, 0, 1));

    // The documented configuration: registered accounts with their password, nobody else.
    const std::string log = m_folder.Path() + "/pub.log";
    const auto publish = [&](const std::vector<std::string>& credentials) {
        std::vector<std::string> args{
            "/usr/bin/mosquitto_pub", "-p", std::to_string(sut->Port(1)), "-t", "kit/x", "-m", "x"};
        args.insert(args.end(), credentials.begin(), credentials.end());
        return ZChildProcess::Run(args, log, seconds(20));
    };
    EXPECT_NE(publish({}), 0);
    EXPECT_NE(publish({"-u", ZTestEjabberd::kUser, "-P", "wrong"}), 0);
    ASSERT_TRUE(sut->AddUser("viewer", "look-only", &error)) << error;
    EXPECT_EQ(publish({"-u", "viewer", "-P", "look-only"}), 0) << ReadAll(log);

    const std::string node2 = sut->Folder() + "/node2/";
    sut->KillNode(1);
    EXPECT_TRUE(NoneLeft(node2));
    EXPECT_FALSE(ZAcceptsOnLoopback(sut->Port(1)));
    EXPECT_FALSE(sut->IsNodeRunning(1));
    EXPECT_TRUE(sut->IsNodeRunning(0));

    ASSERT_TRUE(sut->StartNode(1, &error)) << error;
    EXPECT_TRUE(Routes(*sut, 1, 0)) << sut->LogText(1);

    const std::string folder = sut->Folder();
    const std::string epmd = "epmd -port " + std::to_string(sut->EpmdPort()) + " ";
    sut.reset();
    EXPECT_TRUE(NoneLeft(folder));
    EXPECT_TRUE(NoneLeft(epmd));
}
