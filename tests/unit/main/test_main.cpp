// The daemon's frame, on a platform that only keeps a record. What the real one does with it is tested end to
// end.
#include "config/stopflag.h"
#include "recordingplatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

int pacerdMain(int argc, char* argv[]); // what main() is called here

namespace zel::pacerd::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;
using Texts = std::vector<std::string>;

class Main : public ::testing::Test {
  protected:
    Main() { stopFlag = 0; }
    ~Main() override {
        for (const int number : {SIGINT, SIGTERM, SIGQUIT, SIGPIPE}) {
            static_cast<void>(std::signal(number, SIG_DFL));
        }
    }

    int run(Texts arguments) {
        arguments.insert(arguments.begin(), "/usr/sbin/pacerd_ng");
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        optind = 0; // getopt begins anew
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = pacerdMain(static_cast<int>(arguments.size()), argv.data());
        output = testing::internal::GetCapturedStdout();
        errors = testing::internal::GetCapturedStderr();
        return status;
    }

    // The record from that entry on.
    Texts from(const std::string& first) const {
        return {std::find(platform.record.begin(), platform.record.end(), first), platform.record.end()};
    }

    RecordingPlatform platform;
    std::string output;
    std::string errors;
};

TEST_F(Main, StartsAndStopsInOrder) {
    EXPECT_EQ(run({}), 0);
    EXPECT_THAT(
        platform.record,
        ElementsAre("hook on", "loop on", "open the log as '' '/usr/sbin/pacerd_ng'",
                    "register the module pacerd_ng", "trace level of pacerd_ng: 0", "log as a daemon: 0",
                    "assertions to syslog: no", "pid file of pacerd_ng in /var/run", "look at the pid file",
                    "info: starting pacerd_ng (version 1.0.2)",
                    "connect pacerd_ng to /tmp/cfgserver.socket: 0 60 500 1 0",
                    "info: Now registering Confighandler...", "register the handler", "info: Do Inits..",
                    "initialize", "get the client", "info: Now starting confighandler...", "wait 10000",
                    "info: pacerd_ng is called to go down, do so...", "unregister the handler", "disconnect",
                    "delete the pid file", "loop off", "hook off"));
    EXPECT_THAT(platform.sources, ElementsAre("main.cpp"));
    EXPECT_EQ(output, "");
    EXPECT_EQ(errors, "");
}

TEST_F(Main, InTheBackgroundItWritesThePidFileAnewAfterTheFork) {
    EXPECT_EQ(run({"-b"}), 0);
    Texts start = from("look at the pid file");
    start.resize(7);
    EXPECT_THAT(start, ElementsAre("look at the pid file", "log as a daemon: 1", "assertions to syslog: yes",
                                   "go into the background", "delete the pid file", "write the pid file",
                                   "info: starting pacerd_ng (version 1.0.2)"));
    EXPECT_EQ(output, "Daemonize: 1\n");
}

TEST_F(Main, ProcessesOnlyWhenTheLoopHasWork) {
    platform.waits = {[] { return 0; }, [] { return 2; }};
    EXPECT_EQ(run({}), 0);
    Texts loop = from("wait 10000");
    loop.resize(4);
    EXPECT_THAT(loop,
                ElementsAre("wait 10000", "wait 10000", "process", "info: initial startup in progress"));
    EXPECT_EQ(std::count(platform.record.begin(), platform.record.end(), "process"), 1);
}

TEST_F(Main, RevertsBeforeItLetsTheHandlerGo) {
    platform.waits = {[] { return 1; }};
    EXPECT_EQ(run({}), 0);
    EXPECT_THAT(from("info: pacerd_ng is called to go down, do so..."),
                ElementsAre("info: pacerd_ng is called to go down, do so...",
                            "info: qos config hasn't been applied yet, skip revert", "unregister the handler",
                            "disconnect", "delete the pid file", "loop off", "hook off"));
}

TEST_F(Main, WorkThatComesWithTheStopIsStillDone) {
    platform.waits = {[] {
        static_cast<void>(std::raise(SIGINT));
        return 1;
    }};
    EXPECT_EQ(run({}), 0);
    EXPECT_THAT(platform.record, Contains("process"));
    EXPECT_EQ(std::count(platform.record.begin(), platform.record.end(), "wait 10000"), 1);
}

TEST_F(Main, AStopFlagThatIsSetAlreadyMeansNoWait) {
    platform.onConnect = [] { stopFlag = 1; };
    EXPECT_EQ(run({}), 0);
    EXPECT_THAT(platform.record, Not(Contains("wait 10000")));
    EXPECT_THAT(platform.record, Contains("unregister the handler"));
}

TEST_F(Main, ThreeSignalsStopAndABrokenPipeDoesNot) {
    for (const int number : {SIGINT, SIGTERM, SIGQUIT}) {
        stopFlag = 0;
        platform.record.clear();
        platform.waits = {[] {
                              static_cast<void>(std::raise(SIGPIPE));
                              return 0;
                          },
                          [number] {
                              static_cast<void>(std::raise(number));
                              return 0;
                          }};
        EXPECT_EQ(run({}), 0);
        EXPECT_EQ(std::count(platform.record.begin(), platform.record.end(), "wait 10000"), 2) << number;
        platform.waits.clear();
    }
}

TEST_F(Main, AnExceptionIsLoggedAfterEverythingIsLetGo) {
    platform.waits = {[] { return 1; }};
    platform.onProcess = [] { throw std::runtime_error("no more"); };
    EXPECT_EQ(run({}), 1);
    EXPECT_THAT(from("process"), ElementsAre("process", "disconnect", "error: no more", "delete the pid file",
                                             "loop off", "hook off"));
}

TEST_F(Main, AnExceptionOfAnotherKindIsUnknown) {
    platform.waits = {[] { return 1; }};
    platform.onProcess = [] { throw 7; };
    EXPECT_EQ(run({}), 1);
    EXPECT_THAT(from("process"), ElementsAre("process", "disconnect", "error: Unknown exception",
                                             "delete the pid file", "loop off", "hook off"));
}

TEST_F(Main, AnExceptionBeforeThereIsAHandlerIsCaughtToo) {
    platform.onConnect = [] { throw std::runtime_error("no connection"); };
    EXPECT_EQ(run({}), 1);
    EXPECT_THAT(from("info: starting pacerd_ng (version 1.0.2)"),
                ElementsAre("info: starting pacerd_ng (version 1.0.2)",
                            "connect pacerd_ng to /tmp/cfgserver.socket: 0 60 500 1 0",
                            "error: no connection", "delete the pid file", "loop off", "hook off"));
}

TEST_F(Main, ASecondInstanceIsRefusedAndTouchesNothing) {
    platform.pidFileOccupied = true;
    for (const Texts& arguments : {Texts{}, Texts{"-b"}}) {
        platform.record.clear();
        EXPECT_EQ(run(arguments), 1);
        EXPECT_THAT(from("look at the pid file"),
                    ElementsAre("look at the pid file",
                                "error: Another process is already running. Exiting...\n", "loop off",
                                "hook off"));
    }
}

TEST_F(Main, OneThatWasFasterDuringTheForkIsASecondInstanceToo) {
    platform.pidFileTakenByOther = true;
    EXPECT_EQ(run({"-b"}), 1);
    EXPECT_THAT(from("write the pid file"),
                ElementsAre("write the pid file", "error: Another process is already running. Exiting...\n",
                            "loop off", "hook off"));
}

TEST_F(Main, TheTraceLevelFollowsTheNumber) {
    const std::pair<Texts, unsigned> levels[] = {
        {{"-d", "0"}, 0},
        {{"-d", "x"}, 0},
        {{"-d", ""}, 0},
        {{"-d", "2"}, 1023},
        {{"-d2x"}, 1023},
        {{"-d", "1"}, 113},
        {{"-d", "3"}, 113},
        {{"-d", "7"}, 113},
        {{"-d", "-1"}, 113},
        {{"-d", "1023"}, 113},
        {{"-d", "2", "-d", "0"}, 0},
    };
    for (const auto& [arguments, level] : levels) {
        stopFlag = 0;
        platform.record.clear();
        EXPECT_EQ(run(arguments), 0);
        EXPECT_THAT(platform.record, Contains("trace level of pacerd_ng: " + std::to_string(level)))
            << arguments.back();
    }
}

TEST_F(Main, HelpVersionAndAnUnknownOptionEndItBeforeThePidFile) {
    const std::string usage = "Usage: pacerd_ng [options]\n"
                              " Options:\n"
                              "  -h: Print this help\n"
                              "  -b: Start as daemon instead of starting in foreground\n"
                              "  -d: Enable debug output (0 => NO, 1 => STD, 2 => ALL)\n";
    EXPECT_EQ(run({"-b", "-h", "-v"}), 0);
    EXPECT_EQ(output, "Daemonize: 1\n");
    EXPECT_EQ(errors, usage);
    EXPECT_EQ(run({"-v", "-x"}), 0);
    EXPECT_EQ(output, "pacerd version: 1.0.2\n");
    EXPECT_EQ(errors, "");
    EXPECT_EQ(run({"-x"}), 1);
    EXPECT_EQ(output, "");
    EXPECT_THAT(errors, ::testing::EndsWith("'x'\nUnknown option: 63\n" + usage));
    EXPECT_EQ(run({"-~"}), 1);
    EXPECT_THAT(errors, ::testing::EndsWith("'~'\nUnknown option: 63\n" + usage));
    EXPECT_EQ(run({"-d"}), 1);
    EXPECT_THAT(errors, ::testing::EndsWith("Unknown option: 63\n" + usage));
    EXPECT_THAT(platform.record, Not(Contains("look at the pid file")));
}

} // namespace
} // namespace zel::pacerd::test
