#include "daemon.h"

#include "gateway.h"

#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace bench {

LabDaemon::LabDaemon(const std::string& example) {
    e2e::Json gateway = e2e::exampleGateway(example);
    gateway["StatusDsl"][0]["Status"] = 4;
    for (e2e::Json& row : gateway[e2e::statusTable]) {
        const std::string name = row["Name"];
        if (name == "ProviderInternet") {
            internetRow_ = row["Id"];
        } else if (row["Interface"] != "off") {
            row.update(e2e::internetUp());
        }
    }
    server_.start();
    database_.replaceAll(gateway);
}

void LabDaemon::start(const std::string& tools, e2e::Milliseconds quiet) {
    quiet_ = quiet;
    log_.clear();
    daemon_.emplace(e2e::Command{{"pacerd_ng", "-d", "0"},
                                 {{"PATH", tools + ":" + std::getenv("PATH")}},
                                 "/tmp/daemon.out",
                                 "/tmp/daemon.err"});
    if (!log_.waitFor("info: initial startup in progress")) {
        throw std::runtime_error("the daemon does not start: " + e2e::readFile("/tmp/daemon.err"));
    }
    settle();
}

void LabDaemon::stop() {
    daemon_->signal(SIGTERM);
    if (daemon_->exitStatus() != 0) {
        throw std::runtime_error("the daemon did not end well");
    }
}

void LabDaemon::kill() {
    daemon_->signal(SIGKILL);
    daemon_->wait();
}

double LabDaemon::up() {
    return change(true, "info: apply success: ");
}

double LabDaemon::down() {
    return change(false, "info: remove success: ");
}

void LabDaemon::setInternet(bool up) {
    database_.update(e2e::statusTable, internetRow_, up ? e2e::internetUp() : e2e::internetDown());
}

double LabDaemon::change(bool up, const std::string& message) {
    log_.clear();
    const auto begin = Clock::now();
    setInternet(up);
    settle();
    auto end = begin;
    for (const e2e::LogLine& line : log_.lines()) {
        const std::string text = e2e::levelAndText(line);
        if (text.starts_with("error: ")) {
            throw std::runtime_error(text);
        }
        end = text.starts_with(message) ? line.received : end;
    }
    if (end == begin) {
        throw std::runtime_error("the daemon did nothing");
    }
    return milliseconds(end - begin);
}

void LabDaemon::settle() {
    e2e::pause(quiet_);
    const std::string mark = "settled " + std::to_string(++settled_);
    database_.update("StatusDsl", 1, {{"StatusString", mark}});
    if (!log_.waitFor("info: DSL has state '" + mark + "'")) {
        throw std::runtime_error("the daemon does not take in changes");
    }
}

} // namespace bench
