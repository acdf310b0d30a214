// pacerctl as it is built, on a running server, beside the running daemon.
#include "gatewaytest.h"

#include <csignal>
#include <cstdlib>

namespace e2e {

namespace {

Texts flat(const Json& groups) {
    Texts all;
    for (const Json& group : groups) {
        for (const Json& command : group["commands"]) {
            all.push_back(command);
        }
    }
    return all;
}

// Every service with an interface is up, but the internet.
Json waiting(const std::string& example) {
    Json gateway = exampleGateway(example);
    gateway["StatusDsl"][0]["Status"] = 4;
    for (Json& service : gateway[statusTable]) {
        if (service["Name"] != "ProviderInternet" && service["Interface"] != "off") {
            service["IsUp"] = 1;
            service["Addr"] = "192.0.2.9";
        }
    }
    return gateway;
}

class PacerctlTest : public GatewayTest {
  protected:
    // The recording tools are the daemon's: pacerctl sees what it has applied.
    Outcome pacerctl(Texts words) const {
        words.insert(words.begin(), programFolder() + "/pacerctl");
        const std::map<std::string, std::string> environment = {
            {"PATH", toolsFolder() + ":/usr/bin:/bin"},
            {"PACERD_RECORD", daemon ? daemon->commands().file() : "/tmp/pacerctl-record"}};
        return run(words, environment);
    }

    Json json(Texts words) const {
        words.push_back("--json");
        const Outcome outcome = pacerctl(words);
        EXPECT_EQ(outcome.errors, "");
        return Json::parse(outcome.output);
    }

    // The internet's row is not the same in every example.
    void setInternet(bool up) {
        for (const Json& service : gateway_[statusTable]) {
            if (service["Name"] == "ProviderInternet") {
                db.update(statusTable, service["Id"],
                          {{"IsUp", up ? 1 : 0}, {"Addr", up ? "192.0.2.1" : "0.0.0.0"}});
            }
        }
        settle();
    }

    Json gateway_;
};

class PlanTest : public PacerctlTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(PlanTest, IsWhatTheDaemonThenRunsAndTakesBack) {
    gateway_ = waiting(GetParam());
    startDaemon(gateway_);
    const Json plan = json({"plan"});
    EXPECT_EQ(plan["takenAsUp"], Json::array({"ProviderInternet"}));
    EXPECT_THAT(daemon->commands().changes(), IsEmpty()) << "a plan changes nothing";

    setInternet(true);
    EXPECT_EQ(daemon->commands().changes(), flat(plan["apply"]));

    daemon->commands().clear();
    setInternet(false);
    EXPECT_EQ(daemon->commands().all(), flat(plan["undo"]));
}

TEST_P(PlanTest, IsWhatTheDaemonRunsAfterItWasKilledToo) {
    gateway_ = waiting(GetParam());
    startDaemon(gateway_);
    setInternet(true);
    const std::string record = daemon->commands().file();
    daemon->signal(SIGKILL);
    daemon->exitStatus();
    daemon->commands().clear();
    const Json plan = json({"plan", "--as-is"}); // everything exists already
    daemon->commands().clear();

    daemon.emplace(Texts{"-d", "2"}, std::map<std::string, std::string>{}, record);
    EXPECT_TRUE(
        eventually([&] { return daemon->commands().changes().size() >= flat(plan["apply"]).size(); }));
    settle();
    EXPECT_EQ(daemon->commands().changes(), flat(plan["apply"]));
    EXPECT_THAT(flat(plan["apply"]), Contains(HasSubstr("qcfg --queue -M ")));
}

INSTANTIATE_TEST_SUITE_P(Examples, PlanTest, ::testing::Values("dsl-tripleplay", "ethernet-wan", "minimal"));

TEST_F(PacerctlTest, ReadsTheSameFromTheServerAsFromTheFile) {
    for (const char* example : {"dsl-tripleplay", "ethernet-wan", "minimal"}) {
        startServer(exampleGateway(example));
        const std::string file = "/tmp/" + std::string(example) + ".json";
        writeFile(file, exampleGateway(example).dump());
        for (const char* command : {"plan", "lint", "graph"}) {
            Json fromServer = json({command});
            Json fromFile = json({command, "--file", file});
            EXPECT_EQ(fromServer["source"], serverSocket);
            EXPECT_EQ(fromFile["source"], file);
            fromServer.erase("source");
            fromFile.erase("source");
            EXPECT_EQ(fromServer, fromFile) << command;
        }
    }
}

TEST_F(PacerctlTest, SaysWithinSecondsThatThereIsNoServer) {
    const Outcome outcome = pacerctl({"status"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, HasSubstr("pacerctl: no configuration server: '/tmp/cfgserver.socket' "));
}

TEST_F(PacerctlTest, SaysThatItsReportCouldNotBeWritten) {
    const Outcome outcome = run({"sh", "-c", programFolder() + "/pacerctl lint --list >/dev/full"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors, "pacerctl: cannot write the report\n");
}

TEST_F(PacerctlTest, WritesNothingToTheSystemLog) {
    startServer(exampleGateway("dsl-tripleplay"));
    const std::size_t before = log.lines().size();
    pacerctl({"plan"});
    pacerctl({"status"});
    EXPECT_EQ(log.lines().size(), before);
}

} // namespace

} // namespace e2e
