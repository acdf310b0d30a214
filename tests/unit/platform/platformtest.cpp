#include "platformtest.h"

#include "zel/gatewaytables.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace zel::test {

namespace {

using Clock = std::chrono::steady_clock;

std::string makeDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "platform-test-XXXXXX").string();
    if (::mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    return path;
}

} // namespace

Sandbox::Sandbox() : path_(makeDirectory()) {}

Sandbox::~Sandbox() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Json gatewaySchema() {
    Json tables = Json::object();
    for (const cfg::GatewayTable& table : cfg::gatewayTables()) {
        Json columns = Json::object();
        for (const cfg::GatewayColumn& column : table.columns) {
            const bool isNumber = column.kind == cfg::ColumnClass::number;
            columns[column.name] = {{"type", isNumber ? "integer" : "string"}};
        }
        tables[table.name] = {
            {"columns", columns}, {"isRoot", true}, {"indexes", Json::array({Json::array({"Id"})})}};
    }
    tables["QoSClassification"]["columns"]["DSCPMatch"] = {
        {"type", {{"key", "integer"}, {"min", 0}, {"max", 1}}}};
    return {{"name", "Gateway"}, {"version", "1.0.0"}, {"tables", tables}};
}

std::string readFile(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

void RecordingHandler::getWatchedTables(std::list<std::string>& list) {
    list.insert(list.end(), tables.begin(), tables.end());
}

bool RecordingHandler::checkConfigChange(const Client& client, const std::string& table) {
    calls.push_back("check:" + table);
    return onCheck && onCheck(client, table);
}

void RecordingHandler::processConfigChange(const Client& client) {
    calls.emplace_back("process");
    if (onProcess) {
        onProcess(client);
    }
}

std::vector<std::string> RecordingHandler::take() {
    return std::exchange(calls, {});
}

PlatformTest::~PlatformTest() {
    for (const SyslogLine& line : log.take()) {
        ADD_FAILURE() << "logged without being expected: " << line.text;
    }
}

bool PlatformTest::start(unsigned int answerSeconds, unsigned int reconnectMs) {
    notification.emplace(socketPath, dispatcher, "platform-test", false, answerSeconds, reconnectMs, true,
                         false);
    notification->registerConfigHandler(handler);
    return notification->initialize();
}

bool PlatformTest::loopUntil(const std::function<bool()>& condition) {
    const auto end = Clock::now() + patience;
    while (!condition()) {
        if (Clock::now() >= end) {
            return false;
        }
        if (dispatcher.handleEvents(50) != 0) {
            notification->process();
        }
    }
    return true;
}

void PlatformTest::loopFor(std::chrono::milliseconds time) {
    const auto end = Clock::now() + time;
    loopUntil([&] { return Clock::now() >= end; });
}

bool PlatformTest::loopUntilCalled(const std::string& call) {
    return loopUntil(
        [&] { return std::find(handler.calls.begin(), handler.calls.end(), call) != handler.calls.end(); });
}

} // namespace zel::test
