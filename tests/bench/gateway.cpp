#include "gateway.h"

#include <csignal>
#include <stdexcept>

namespace bench {

double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

e2e::Json readyGateway(const std::string& example) {
    e2e::Json gateway = e2e::exampleGateway(example);
    gateway["StatusDsl"][0]["Status"] = 4;
    for (e2e::Json& row : gateway["StatusNetifWatchLogical"]) {
        if (row["Name"] != "ProviderInternet") {
            row.update(e2e::internetUp());
        }
    }
    return gateway;
}

Gateway::Gateway(const e2e::Json& configuration) : server(e2e::schemaFile()) {
    server.start();
    db.replaceAll(configuration);
}

void Gateway::startDaemon(const std::map<std::string, std::string>& environment) {
    log.clear();
    daemon = std::make_unique<e2e::Daemon>(std::vector<std::string>{}, environment);
    if (!log.waitFor("info: initial startup in progress")) {
        throw std::runtime_error("the daemon does not start");
    }
    e2e::pause(e2e::Milliseconds(50));
}

void Gateway::stopDaemon() {
    daemon->stop(SIGTERM);
    daemon.reset();
}

Clock::duration Gateway::up(const std::string& lastMessage) {
    return commitAndWait(e2e::internetUp(), lastMessage);
}

Clock::duration Gateway::down(const std::string& lastMessage) {
    return commitAndWait(e2e::internetDown(), lastMessage);
}

// Looks seldom: looking takes processor time that the daemon and its tools may want.
Clock::duration Gateway::commitAndWait(const e2e::Json& columns, const std::string& lastMessage) {
    log.clear();
    const auto begin = Clock::now();
    db.update(e2e::statusTable, e2e::internetRow, columns);
    for (int look = 0; look < 3000; ++look) {
        e2e::pause(e2e::Milliseconds(20));
        for (const e2e::LogLine& line : log.lines()) {
            if (e2e::levelAndText(line) == lastMessage) {
                return line.received - begin;
            }
        }
    }
    throw std::runtime_error("never logged: " + lastMessage);
}

} // namespace bench
