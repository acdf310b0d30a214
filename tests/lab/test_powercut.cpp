// The power goes in the middle of everything: daemon, database server and tool stop at the same moment.
// Afterwards the usual start and stop. The kernel outlives it (whatever stopped them was no power cut after
// all), or is made anew, with the tools' memory below /run gone as it should be, or kept by a /run that is no
// tmpfs.
#include "labtest.h"
#include "net/namespaces.h"

#include <sys/socket.h>

#include <algorithm>

#ifndef SO_NETNS_COOKIE
#define SO_NETNS_COOKIE 71
#endif

namespace lab {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Lines = std::vector<std::string>;

enum class Afterwards { kernelKept, kernelLost, kernelLostMemoryKept };

Lines sortedLines(const std::string& text) {
    Lines lines = e2e::linesOf(text);
    std::sort(lines.begin(), lines.end());
    return lines;
}

// What the tools list, by name.
Lines interfaceMaps() {
    return sortedLines(shellIn("gw", "ifcfg --ifmap -L"));
}

Lines queuesOf(const std::string& interface) {
    return sortedLines(shellIn("gw", "qcfg --queue -Lall -i" + interface));
}

Lines rulesOf(const std::string& interface) {
    return sortedLines(shellIn("gw", "classcfg -Lall -i" + interface));
}

Lines shapers() {
    return sortedLines(shellIn("gw", "qcfg --show --json | jq -r '.shapers[].name'"));
}

// Names the tools' memory of the gateway's namespace, see docs/fapi.md.
std::string memoryFolder() {
    const UniqueFd any = socketIn("gw", AF_UNIX, SOCK_DGRAM, 0);
    uint64_t cookie = 0;
    socklen_t size = sizeof cookie;
    if (getsockopt(any.get(), SOL_SOCKET, SO_NETNS_COOKIE, &cookie, &size) != 0) {
        throw std::runtime_error("this kernel does not name its namespaces");
    }
    return "/run/fapi-qos/net-" + std::to_string(cookie);
}

class PowerCutTest : public LabTest {
  protected:
    PowerCutTest() {
        shell(std::string("mkdir -p ") + tools + "; for tool in ifcfg qcfg classcfg; do ln -sf " +
              LAB_CUTTING_TOOL + " " + tools + "/$tool; done");
    }

    void build(const Json& configuration) {
        configuration_ = configuration;
        buildGateway(configuration);
        before_ = gatewayState();
    }

    // Runs the daemon from one WAN state to the other, up to the cut. False: there are fewer commands.
    bool cutOnTheWay(bool up, int changes, int systemCall) {
        setWan(!up);
        e2e::writeFile(plan, "0 0");
        startDaemon(tools);
        e2e::writeFile(plan, std::to_string(changes) + " " + std::to_string(systemCall) + " " +
                                 std::to_string(daemon->id()) + " " + std::to_string(server.id()));
        bool cut = false;
        try {
            setWan(up);
            cut = !settlesOrEnds();
        } catch (const std::runtime_error&) {
            cut = true; // the server went while it was asked
        }
        if (!cut) { // there was nothing left to cut at: it goes while they wait
            killDaemon();
        } else if (daemon->running()) {
            EXPECT_EQ(daemon->exitStatus(), 128 + SIGKILL);
        }
        server.crash(); // or, if the cut has done it, waits until it has given up its file
        e2e::writeFile(plan, "0 0");
        daemon.reset();
        log.clear();
        return cut;
    }

    void powerOn(Afterwards afterwards) {
        server.start();
        if (afterwards == Afterwards::kernelKept) {
            return;
        }
        const std::string memory = memoryFolder();
        buildGateway(configuration_);
        if (afterwards == Afterwards::kernelLost) {
            shell("rm -rf /run/fapi-qos");
        } else {
            shell("[ ! -e " + memory + " ] || mv " + memory + " " + memoryFolder());
        }
        before_ = gatewayState();
    }

    // Returns the kernel's state in between.
    std::string startAndStopAsUsual() {
        setWan(true);
        startDaemon();
        expectNoErrors();
        const std::string applied = gatewayState();
        stopDaemon();
        return applied;
    }

    void expectKernelAsBefore() { EXPECT_EQ(difference(before_, gatewayState()), ""); }

    // One cut after the other, until there are no more commands to cut at.
    void cutEverywhere(bool up, Afterwards afterwards, int every) {
        // The kernel numbers its objects anew, but there are as many, with as much to say of each.
        const auto lines = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };
        const auto applied = lines(startAndStopAsUsual());
        int changes = 1;
        for (bool cut = true; cut && !HasFailure(); changes += every) {
            // Somewhere in the call, elsewhere each time; a call makes 90 to 250 stops.
            const int systemCall = changes * 85 % 250;
            SCOPED_TRACE("power cut in change " + std::to_string(changes) + ", stop " +
                         std::to_string(systemCall));
            cut = cutOnTheWay(up, changes, systemCall);
            powerOn(afterwards);
            const Lines mapsAtTheCut = interfaceMaps();
            EXPECT_EQ(lines(startAndStopAsUsual()), applied) << "not all is in place again";
            expectKernelAsBefore();
            // The daemon skips a mapping that exists, so it never takes that one back (docs/faults.md).
            EXPECT_EQ(interfaceMaps(), mapsAtTheCut);
            shell("rm -rf /run/fapi-qos");
        }
        EXPECT_GT(changes, 1 + every) << "there was no command";
    }

    static constexpr const char* tools = "/tmp/cutting-tools";
    static constexpr const char* plan = "/tmp/cut";

  private:
    Json configuration_;
    std::string before_;
};

struct Case {
    const char* example;
    bool up;
    Afterwards afterwards;
    int every; // how many-th command the power goes at
};

// How GoogleTest shows it.
void PrintTo(const Case& c, std::ostream* to) {
    std::string name = std::string(c.example) + (c.up ? "_on_the_way_up" : "_on_the_way_down");
    name += c.afterwards == Afterwards::kernelKept   ? "_kernel_kept"
            : c.afterwards == Afterwards::kernelLost ? "_kernel_lost"
                                                     : "_kernel_lost_memory_kept";
    std::replace(name.begin(), name.end(), '-', '_');
    *to << name;
}

std::string nameOf(const ::testing::TestParamInfo<Case>& info) {
    return ::testing::PrintToString(info.param);
}

class PowerCutsTest : public PowerCutTest, public ::testing::WithParamInterface<Case> {};

INSTANTIATE_TEST_SUITE_P(Everywhere, PowerCutsTest,
                         ::testing::Values(Case{"minimal", true, Afterwards::kernelKept, 1},
                                           Case{"minimal", false, Afterwards::kernelKept, 2},
                                           Case{"minimal", true, Afterwards::kernelLost, 3},
                                           Case{"minimal", false, Afterwards::kernelLost, 1},
                                           Case{"minimal", true, Afterwards::kernelLostMemoryKept, 3},
                                           Case{"minimal", false, Afterwards::kernelLostMemoryKept, 1},
                                           Case{"dsl-tripleplay", true, Afterwards::kernelKept, 41},
                                           Case{"dsl-tripleplay", false, Afterwards::kernelKept, 61},
                                           Case{"dsl-tripleplay", false, Afterwards::kernelLost, 71},
                                           Case{"dsl-tripleplay", true, Afterwards::kernelLostMemoryKept, 43},
                                           Case{"dsl-tripleplay", false, Afterwards::kernelLostMemoryKept,
                                                71},
                                           Case{"ethernet-wan", true, Afterwards::kernelKept, 31},
                                           Case{"ethernet-wan", false, Afterwards::kernelKept, 31}),
                         nameOf);

TEST_P(PowerCutsTest, LeaveTheKernelAsItWas) {
    const Case& c = GetParam();
    build(e2e::exampleGateway(c.example));
    cutEverywhere(c.up, c.afterwards, cutStep(c.every));
}

// One tool is killed, and nothing else: to the daemon it has failed, and it takes everything back itself.
class ToolKillsTest : public PowerCutTest, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Examples, ToolKillsTest, ::testing::Values("minimal"));

TEST_P(ToolKillsTest, AreTakenBackByTheDaemonItself) {
    build(e2e::exampleGateway(GetParam()));
    int changes = 1;
    for (bool ended = true; ended && !HasFailure(); changes += cutStep(1)) {
        const int systemCall = changes * 85 % 250;
        SCOPED_TRACE("killed in change " + std::to_string(changes) + ", stop " + std::to_string(systemCall));
        setWan(false);
        e2e::writeFile(plan, "0 0");
        startDaemon(tools);
        e2e::writeFile(plan, std::to_string(changes) + " " + std::to_string(systemCall));
        setWan(true);
        ended = !settlesOrEnds();
        if (ended) {
            EXPECT_TRUE(log.has("error: failed appliing qos config"));
            daemon.reset();
        } else {
            e2e::writeFile(plan, "0 0"); // there was nothing left to kill
            stopDaemon();
        }
        expectKernelAsBefore();
        EXPECT_THAT(interfaceMaps(), IsEmpty());
        log.clear();
    }
    EXPECT_GT(changes, 3) << "there was hardly a command";
}

// What a daemon has not applied itself it does not take back: that is its contract, and these are the
// consequences, by name. Each of them goes with the next life that has it applied, or with the kernel.
class LeftoversTest : public PowerCutTest {
  protected:
    void cutWithEverythingApplied(Afterwards afterwards) {
        build(e2e::exampleGateway("minimal"));
        startDaemon();
        bringUp();
        killDaemon();
        server.crash();
        powerOn(afterwards);
    }

    void expectNothingButTheMap() {
        expectKernelAsBefore();
        EXPECT_THAT(interfaceMaps(), ElementsAre("eth1 CAT 1 eth1"));
        EXPECT_THAT(queuesOf("eth1"), IsEmpty());
        EXPECT_THAT(rulesOf("eth0"), IsEmpty());
        EXPECT_THAT(shapers(), IsEmpty());
    }
};

TEST_F(LeftoversTest, InterfaceMapsStayBecauseTheNextLifeFindsThemInPlace) {
    cutWithEverythingApplied(Afterwards::kernelKept);
    startAndStopAsUsual();
    expectNothingButTheMap();
}

TEST_F(LeftoversTest, InterfaceMapsStayInAMemoryThatOutlivesTheKernel) {
    cutWithEverythingApplied(Afterwards::kernelLostMemoryKept);
    expectNothingButTheMap();
    startAndStopAsUsual();
    expectNothingButTheMap();
}

// The daemon tries each removal once.
TEST_F(LeftoversTest, WhatAKilledToolWasToRemoveStays) {
    build(e2e::exampleGateway("minimal"));
    setWan(true);
    e2e::writeFile(plan, "0 0");
    startDaemon(tools);
    e2e::writeFile(plan, "1 5"); // classcfg -D voip, which does not come far
    stopDaemon();
    EXPECT_THAT(rulesOf("eth0"), ElementsAre("voip"));
    EXPECT_THAT(queuesOf("eth1"), IsEmpty());
    EXPECT_THAT(interfaceMaps(), IsEmpty());

    startAndStopAsUsual();
    expectKernelAsBefore();
    EXPECT_THAT(rulesOf("eth0"), IsEmpty());
}

TEST_F(LeftoversTest, EverythingStaysWhenTheNextLifeNeverSeesTheWanUp) {
    cutWithEverythingApplied(Afterwards::kernelKept);
    setWan(false);
    startDaemon();
    stopDaemon();
    EXPECT_THAT(interfaceMaps(), ElementsAre("eth1 CAT 1 eth1"));
    EXPECT_THAT(queuesOf("eth1"), ElementsAre("eth1_def_queue", "eth1_q1"));
    EXPECT_THAT(rulesOf("eth0"), ElementsAre("voip"));
    EXPECT_THAT(shapers(), ElementsAre("shape_wan"));

    startAndStopAsUsual();
    expectNothingButTheMap();
}

TEST_F(LeftoversTest, WhatIsNoLongerConfiguredStays) {
    cutWithEverythingApplied(Afterwards::kernelKept);
    Json configuration = e2e::exampleGateway("minimal");
    configuration["QoSQueues"].erase(1); // everything_else
    configure(configuration);
    startAndStopAsUsual();
    EXPECT_THAT(interfaceMaps(), ElementsAre("eth1 CAT 1 eth1"));
    EXPECT_THAT(queuesOf("eth1"), ElementsAre("eth1_def_queue"));
    EXPECT_THAT(rulesOf("eth0"), IsEmpty());
    EXPECT_THAT(shapers(), IsEmpty());

    configure(e2e::exampleGateway("minimal"));
    startAndStopAsUsual();
    expectNothingButTheMap();
}

} // namespace

} // namespace lab
