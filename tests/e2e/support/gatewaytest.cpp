#include "gatewaytest.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <set>

namespace e2e {

namespace {

// A daemon in the background that a test has left behind: it is our child, and nobody else's.
void endBackgroundDaemon() {
    const std::string text = readFile(pidFile);
    const int id = std::atoi(text.c_str());
    if (id > 1) {
        ::kill(id, SIGKILL);
        Process::adopt(id).wait();
    }
    ::unlink(pidFile);
}

// A look whether the WAN is up begins with what is said of the DSL, and ends with one of these.
bool endsLook(const Texts& messages, const std::string& beginning) {
    const Texts look = from(messages, beginning);
    return std::any_of(look.begin(), look.end(), [](const std::string& message) {
        return message == "info: detected 'ProviderInternet' is up" ||
               message.starts_with("info: current ProviderInternet state: ") ||
               message.starts_with("error: could not get status of ") ||
               message == "info: WANoE is currently disabled" ||
               message.starts_with("info: could not get Wanoe node ");
    });
}

} // namespace

// A daemon that an earlier test has left in the background is our child. Ended long ago or not, /proc shows
// it until somebody has asked.
GatewayTest::GatewayTest() {
    while (::waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

GatewayTest::~GatewayTest() {
    daemon.reset();
    endBackgroundDaemon();
}

void GatewayTest::startServer(const Json& configuration) {
    server.start();
    db.replaceAll(configuration);
}

void GatewayTest::startDaemon(const Json& configuration, const Texts& options) {
    startServer(configuration);
    startDaemon(options);
}

void GatewayTest::startDaemon(const Texts& options) {
    daemon.emplace(options);
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    settle();
}

void GatewayTest::startDaemonWithSlow(const std::string& tool) {
    run({"mkdir", "-p", "/tmp/slow"});
    const std::string wrapper = "/tmp/slow/" + tool;
    writeFile(wrapper, "#!/bin/sh\nsleep 0.1\nexec " + toolsFolder() + "/" + tool + " \"$@\"\n");
    run({"chmod", "+x", wrapper});
    daemon.emplace(Texts{"-d", "2"}, std::map<std::string, std::string>{
                                         {"PATH", "/tmp/slow:" + toolsFolder() + ":/usr/bin:/bin"}});
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
}

void GatewayTest::bringUp() {
    db.update(statusTable, internetRow, internetUp());
    settle();
}

void GatewayTest::takeDown() {
    db.update(statusTable, internetRow, internetDown());
    settle();
}

// Twice: the first answer may come from a look at several changes at once, after a reconnection, and be
// followed by what they ask for. The second is only a look, so its last message is the last of all.
void GatewayTest::settle() {
    for (int round = 0; round < 2; ++round) {
        const std::string mark = "settled " + std::to_string(++settled_);
        db.update("StatusDsl", 1, {{"StatusString", mark}});
        ASSERT_TRUE(eventually([&] {
            return endsLook(log.messages(), "info: DSL has state '" + mark + "'");
        })) << "the daemon does not take in changes";
    }
}

std::size_t GatewayTest::looks() const {
    const Texts messages = log.messages();
    return static_cast<std::size_t>(
        std::count_if(messages.begin(), messages.end(), [](const std::string& message) {
            return message.starts_with("info: DSL has state '");
        }));
}

std::size_t GatewayTest::outagesReported() const {
    const std::vector<LogLine> lines = log.lines();
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [](const LogLine& line) {
        return line.level == "error" && line.text.starts_with("configuration server at ");
    }));
}

void GatewayTest::waitForOutage() const {
    ASSERT_TRUE(eventually([this] { return outagesReported() > 0; }));
}

void GatewayTest::expectPromptStop() {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, promptly);
}

void GatewayTest::expectNoErrors() const {
    for (const std::string& message : log.messages()) {
        EXPECT_FALSE(message.starts_with("error")) << message;
    }
}

Texts from(const Texts& messages, const std::string& first) {
    return {std::find(messages.begin(), messages.end(), first), messages.end()};
}

bool isDaemonSource(const std::string& file) {
    static const std::set<std::string> all = {"main.cpp",      "confighandler.cpp", "dbaccess.cpp",
                                              "dataflows.cpp", "lowdatapath.cpp",   "upperdatapath.cpp",
                                              "queues.cpp",    "classifier.cpp",    "shaper.cpp",
                                              "ifmap.cpp",     "pcpmap.cpp",        "fapiqosconnector.cpp"};
    return all.count(file) > 0;
}

} // namespace e2e
