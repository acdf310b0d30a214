#include "labtest.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>

namespace lab {

namespace {

// The addresses that the lab gives to a service: the gateway's end of its link.
std::string addressOf(const std::string& service) {
    if (service == "ProviderInternet") {
        return "203.0.113.2";
    }
    if (service == "ProviderIPTV") {
        return "10.8.0.2";
    }
    if (service == "ProviderVoIP") {
        return "10.9.0.2";
    }
    return "10.10.0.2";
}

constexpr const char* configurationFile = "/tmp/gateway.json";

} // namespace

int cutStep(int usual) {
    const char* chosen = std::getenv("LAB_CUT_STEP");
    return chosen == nullptr ? usual : std::max(1, std::atoi(chosen));
}

LabTest::LabTest() {
    server.start();
}

LabTest::~LabTest() {
    daemon.reset();
    shell("lab clear; rm -rf /run/fapi-qos");
}

void LabTest::buildGateway(const Json& configuration) {
    e2e::writeFile(configurationFile, configuration.dump());
    shell(std::string("lab clear && lab build ") + configurationFile);
    configure(configuration);
}

void LabTest::configure(const Json& configuration) {
    configuration_ = configuration;
    database.replaceAll(configuration);
}

void LabTest::startDaemon(const std::string& tools) {
    const std::string path = std::getenv("PATH");
    daemon.emplace(e2e::Command{{"ip", "netns", "exec", "gw", "pacerd_ng", "-d", "0"},
                                {{"PATH", tools.empty() ? path : tools + ":" + path}},
                                "/tmp/daemon.out",
                                "/tmp/daemon.err"});
    ASSERT_TRUE(log.waitFor("info: initial startup in progress")) << e2e::readFile("/tmp/daemon.err");
    settle();
}

void LabTest::stopDaemon() {
    daemon->signal(SIGTERM);
    EXPECT_EQ(daemon->exitStatus(), 0);
    daemon.reset();
    log.clear();
}

void LabTest::killDaemon() {
    daemon->signal(SIGKILL);
    daemon->wait();
    daemon.reset();
    log.clear();
}

void LabTest::bringUp() {
    setWan(true);
    settle();
}

void LabTest::takeDown() {
    setWan(false);
    settle();
}

void LabTest::setWan(bool up) {
    Json operations = Json::array();
    operations.push_back(e2e::Database::updating("StatusDsl", 1, {{"Status", up ? 4 : 0}}));
    for (const Json& row : configuration_["StatusNetifWatchLogical"]) {
        const std::string name = row["Name"];
        if (name.starts_with("Provider") && row["Interface"] != "off") {
            operations.push_back(
                e2e::Database::updating(e2e::statusTable, row["Id"],
                                        {{"IsUp", up ? 1 : 0}, {"Addr", up ? addressOf(name) : "0.0.0.0"}}));
        }
    }
    database.transact(operations);
}

bool LabTest::settlesOrEnds() {
    const std::string mark = "settled " + std::to_string(++settled_);
    database.update("StatusDsl", 1, {{"StatusString", mark}});
    return e2e::eventually([&] {
               if (daemon->wait(e2e::Milliseconds(0))) {
                   return true;
               }
               return log.has("info: DSL has state '" + mark + "'");
           }) &&
           daemon->running();
}

void LabTest::settle() {
    ASSERT_TRUE(settlesOrEnds()) << "the daemon has ended or does not take in changes";
}

void LabTest::expectNoErrors() const {
    for (const std::string& message : log.messages()) {
        EXPECT_FALSE(message.starts_with("error")) << message;
    }
}

} // namespace lab
