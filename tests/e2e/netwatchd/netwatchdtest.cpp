#include "netwatchdtest.h"

#include "daemonprocess.h"
#include "gateways.h"

#include <sched.h>

#include <cerrno>
#include <csignal>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace netwatchd::test {

namespace {

e2e::Json gateway() {
    e2e::Json configuration = e2e::exampleGateway("ethernet-wan");
    for (e2e::Json& row : configuration["StatusNetifWatchLogical"]) {
        if (row["Name"] == "ProviderVoIP") {
            row["Interface"] = "voip0";
        }
    }
    return configuration;
}

} // namespace

NetwatchdTest::NetwatchdTest() : server(e2e::schemaFile()) {
    if (::unshare(CLONE_NEWNET) != 0) {
        throw std::system_error(errno, std::generic_category(), "no network namespace");
    }
    ipBatch("link set lo up\n"
            "link add eth1 type veth peer name far1\n"
            "link set far1 up\n"
            "link set eth1 up\n");
    server.start();
    db.replaceAll(gateway());
}

void NetwatchdTest::ip(const std::string& arguments) {
    ipBatch(arguments + "\n");
}

void NetwatchdTest::ipBatch(const std::string& lines) {
    const char* file = "/tmp/ip.batch";
    e2e::writeFile(file, lines);
    const e2e::Outcome outcome = e2e::run({"ip", "-batch", file});
    if (outcome.status != 0) {
        throw std::runtime_error("ip: " + outcome.errors + " for: " + lines);
    }
}

void NetwatchdTest::ipBatchAtOnce(const std::string& lines) const {
    netwatchd.signal(SIGSTOP);
    ipBatch(lines);
    netwatchd.signal(SIGCONT);
}

void NetwatchdTest::startNetwatchd(Texts options) {
    options.insert(options.begin(), e2e::programFolder() + "/netwatchd");
    e2e::writeFile(logFile, "");
    netwatchd = e2e::Process(e2e::Command{std::move(options), {}, "", logFile});
}

void NetwatchdTest::startAndSettle(Texts options) {
    record.emplace();
    startNetwatchd(std::move(options));
    ASSERT_TRUE(record->waitForRow("ProviderInternet up 0.0.0.0"));
    record->clear();
}

bool NetwatchdTest::waitForLog(const std::string& text) const {
    return e2e::eventually([&] { return log().find(text) != std::string::npos; });
}

} // namespace netwatchd::test
