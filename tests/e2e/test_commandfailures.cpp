// A command fails: what has been applied is taken back, and the daemon ends in good order.
#include "gatewaytest.h"

#include <algorithm>
#include <csignal>

namespace e2e {

namespace {

// The small gateway's commands in the order in which they are applied, and where its groups begin.
struct Group {
    std::size_t begin;
    std::size_t end;
    const char* complaint;
};
const Group maps = {0, 3, "error: could not apply fapi ifmap"};
const Group queues = {3, 7, "error: could not apply qos queue commands"};
const Group rules = {7, 9, "error: failed applying classifier commands"};
const Group shapers = {9, 11, "error: failed applying shaper commands"};

std::string undoing(std::string command) {
    return command.replace(command.find("-A"), 2, "-D");
}

class CommandFailuresTest : public GatewayTest {
  protected:
    // What is applied if nothing fails.
    Texts completeRun() {
        bringUp();
        Texts commands = daemon->commands().changes();
        EXPECT_EQ(daemon->stop(SIGTERM), 0);
        db.update(statusTable, internetRow, internetDown());
        return commands;
    }
};

TEST_F(CommandFailuresTest, WhicheverCommandFailsAllAreTakenBackAndTheStatusIs0) {
    startDaemon(smallGateway());
    const Texts complete = completeRun();
    ASSERT_EQ(complete.size(), 11U);
    for (std::size_t failing = 0; failing < complete.size(); ++failing) {
        SCOPED_TRACE("command " + std::to_string(failing + 1) + " fails");
        startDaemon();
        log.clear();
        daemon->commands().letFail(static_cast<int>(failing + 1));
        db.update(statusTable, internetRow, internetUp());
        ASSERT_EQ(daemon->exitStatus(), 0);
        db.update(statusTable, internetRow, internetDown());

        Texts commands(complete.begin(), complete.begin() + static_cast<long>(failing) + 1);
        Texts messages = {"error: failed cmd '" + complete[failing] + "' (retcode: 256)"};
        for (const Group& group : {maps, queues, rules, shapers}) {
            if (failing >= group.begin && failing < group.end) {
                messages.emplace_back(group.complaint);
            }
        }
        messages.emplace_back("error: failed appliing qos config");
        messages.emplace_back("info: pacerd_ng is called to go down, do so...");
        for (const Group& group : {rules, queues, shapers, maps}) {
            if (group.begin == maps.begin) {
                messages.emplace_back("info: skip removing PCP egress map, done by fapi");
            }
            for (std::size_t index = group.end; index-- > group.begin;) {
                const std::string command = undoing(complete[index]);
                commands.push_back(command);
                messages.push_back(index < failing
                                       ? "info: remove success: '" + command + "'"
                                       : "error: failed removing cmd '" + command + "' (retcode: 256)");
            }
        }
        EXPECT_EQ(daemon->commands().changes(), commands);
        EXPECT_EQ(from(log.messages(), messages.front()), messages);
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    }
}

TEST_F(CommandFailuresTest, AToolThatIsMissingIsAFailure) {
    startServer(smallGateway());
    daemon.emplace(Texts{}, std::map<std::string, std::string>{{"PATH", "/usr/bin:/bin"}});
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    db.update(statusTable, internetRow, internetUp());
    EXPECT_EQ(daemon->exitStatus(), 0);
    EXPECT_TRUE(log.has("error: failed cmd 'ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0' (retcode: 32512)"));
    EXPECT_TRUE(log.has("error: failed appliing qos config"));
}

TEST_F(CommandFailuresTest, ARemovalThatFailsDoesNotHoldUpTheOthers) {
    startDaemon(smallGateway());
    bringUp();
    daemon->commands().letFail(14); // the third of the removals
    takeDown();
    EXPECT_EQ(daemon->commands().changes().size(), 22U);
    EXPECT_THAT(daemon->commands().objects(), ElementsAre("queue br0 egress br0_q1"));
    EXPECT_TRUE(log.has("error: failed removing cmd 'qcfg --queue -D br0_q1 -i br0 -t egress -l 32 -m sp "
                        "--priority 1 -d tail --map 1' (retcode: 256)"));

    // What is left behind is found again and modified.
    daemon->commands().letFail(0);
    daemon->commands().clear();
    bringUp();
    EXPECT_THAT(daemon->commands().changes(),
                Contains("qcfg --queue -M br0_q1 -i br0 -t egress -l 32 -m sp --priority 1 -d tail --map 1"));
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

TEST_F(CommandFailuresTest, InterfaceMapsThatAreLeftBehindAreSkipped) {
    startDaemon(smallGateway());
    bringUp();
    daemon->signal(SIGKILL);
    daemon->exitStatus();
    const std::string record = daemon->commands().file();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    db.update(statusTable, internetRow, internetDown());

    log.clear();
    daemon.emplace(Texts{}, std::map<std::string, std::string>{}, record);
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    daemon->commands().clear();
    bringUp();
    EXPECT_TRUE(
        log.has("warning: ifmap with cmd 'ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0' already exists, skip..."));
    EXPECT_TRUE(log.has("info: got 0 fapi ifmap commands for interface 'ppp0'"));
    for (const std::string& command : daemon->commands().changes()) {
        EXPECT_FALSE(command.starts_with("ifcfg")) << command;
    }
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_EQ(daemon->commands().objects().size(), 3U) << "the maps are not this daemon's";
}

} // namespace

} // namespace e2e
