#include "benches.h"
#include "gateway.h"
#include "model/dataflows.h"
#include "report.h"

#include <basalt/net/eventdispatcher.h>
#include <zel/cfg/notificationhandler.h>
#include <zel/sysloglevel.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace bench {

namespace {

constexpr int runs = 5;

double threadSeconds() {
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// When the first command that changes something came.
double firstChange = 0;
int commands = 0;

} // namespace

} // namespace bench

// In the place of the library's: the tools' time is none of ours. No object exists yet; every change
// succeeds.
extern "C" int system(const char* command) { // NOLINT(readability-inconsistent-declaration-parameter-name)
    ++bench::commands;
    if (std::strstr(command, " | grep ") != nullptr) {
        return 256;
    }
    if (bench::firstChange == 0) {
        bench::firstChange = bench::threadSeconds();
    }
    return 0;
}

namespace bench {

namespace {

const std::array<std::string, 4> providers = {"ProviderInternet", "ProviderIPTV", "ProviderVoIP",
                                              "ProviderTR069"};

// Sixteen for each provider at most.
e2e::Json queue(int id) {
    const int own = (id - 1) / static_cast<int>(providers.size()) + 1;
    return {{"Id", id},
            {"Enable", 1},
            {"Name", "queue" + std::to_string(id)},
            {"InterfaceName", providers[static_cast<std::size_t>(id - 1) % providers.size()]},
            {"Egress", 1},
            {"TrafficClasses", std::to_string(own)},
            {"BufferLen", 64},
            {"Scheduler", "SP"},
            {"Precedence", own - 1},
            {"DropAlgorithm", "DT"}};
}

// That many rules and actions on four provider stacks and the home network.
e2e::Json gatewayWith(int rules) {
    e2e::Json gateway = readyGateway("dsl-tripleplay");
    for (const char* table : {"QoSQueues", "QoSClassificationAction", "QoSClassification"}) {
        gateway[table] = e2e::Json::array();
    }
    for (int id = 1; id <= std::min(rules, 64); ++id) {
        gateway["QoSQueues"].push_back(queue(id));
    }
    for (int id = 1; id <= rules; ++id) {
        const std::string& provider = providers[static_cast<std::size_t>(id) % providers.size()];
        const int trafficClass = id / 4 % 8 + 1;
        gateway["QoSClassificationAction"].push_back({{"Id", id},
                                                      {"Name", "action" + std::to_string(id)},
                                                      {"QueueInterface", provider},
                                                      {"TrafficClass", trafficClass},
                                                      {"DSCPMark", id % 64},
                                                      {"EthPriorityMark", trafficClass % 8}});
        gateway["QoSClassification"].push_back({{"Id", id},
                                                {"Enable", 1},
                                                {"Name", "rule" + std::to_string(id)},
                                                {"ClassifyInterface", id % 2 == 0 ? "LocalLAN" : provider},
                                                {"Protocol", "udp"},
                                                {"SourceIP", "192.168.1." + std::to_string(id % 250 + 1)},
                                                {"DestPortRange", std::to_string(1024 + id)},
                                                {"QoSClassificationActionId", id}});
    }
    return gateway;
}

struct Stages {
    double discovery, collection, apply;
};

class NoHandler final : public zel::cfg::IConfigHandler {
  public:
    void getWatchedTables(std::list<std::string>& /*tables*/) override {}
    bool checkConfigChange(const zel::cfg::common::IConfigClient& /*client*/,
                           const std::string& /*table*/) override {
        called = true;
        return false;
    }
    void processConfigChange(const zel::cfg::common::IConfigClient& /*client*/) override {}
    bool called = false;
};

Stages oneWanUp(const zel::cfg::common::IConfigClient& client) {
    zel::pacerd::dataFlows flows(ZEL_Sysloglevel_registerModul("pacerd_ng"), client);
    firstChange = 0;
    const double begin = threadSeconds();
    if (!flows.findLowWanPaths() || !flows.findLocalNetworkPaths() || !flows.findLocalLanPaths()) {
        throw std::runtime_error("discovery fails");
    }
    const double discovered = threadSeconds();
    if (!flows.applyQos()) {
        throw std::runtime_error("apply fails");
    }
    const double end = threadSeconds();
    flows.revertQos();
    flows.clearPaths();
    return {discovered - begin, firstChange - discovered, end - firstChange};
}

Stages measure(int rules) {
    e2e::Json configuration = gatewayWith(rules);
    for (e2e::Json& row : configuration["StatusNetifWatchLogical"]) {
        row.update(e2e::internetUp());
    }
    Gateway gateway(configuration);
    basalt::net::EventDispatcher loop;
    zel::cfg::NotificationHandler notification(e2e::serverSocket, loop, "bench", false, 60U, 500U, true,
                                               false);
    NoHandler handler;
    notification.registerConfigHandler(handler);
    notification.initialize();
    while (!handler.called) {
        if (loop.handleEvents(50) != 0) {
            notification.process();
        }
    }
    std::vector<double> discovery, collection, apply;
    for (int run = 0; run < runs; ++run) {
        const Stages stages = oneWanUp(notification.getConfigClient());
        discovery.push_back(stages.discovery);
        collection.push_back(stages.collection);
        apply.push_back(stages.apply);
    }
    return {median(discovery), median(collection), median(apply)};
}

// Between the two largest sizes: 1 is linear.
double exponent(double small, double large) {
    return std::log(large / small) / std::log(4.0);
}

} // namespace

int processorTime(const std::string& folder) {
    ZEL_Sysloglevel_construct2("", "bench");
    Report report(folder, "processor-time");
    Stages before = {};
    Stages last = {};
    for (const int rules : {16, 64, 256, 1024}) {
        before = last;
        commands = 0;
        last = measure(rules);
        const double total = last.discovery + last.collection + last.apply;
        report.details()["byRules"][std::to_string(rules)] = {{"discoverySeconds", last.discovery},
                                                              {"collectionSeconds", last.collection},
                                                              {"applySeconds", last.apply},
                                                              {"commandLinesUpAndDown", commands / runs}};
        report.add({"WAN up with " + std::to_string(rules) + " rules, own processor time", total * 1000, "ms",
                    rules == 1024 ? std::optional(500.0) : std::nullopt});
    }
    // What the algorithm asks for when rules and actions grow alike: each rule walks the actions until it
    // meets its own, and that is all that is more than linear. Queues stop growing at 64.
    report.add({"  discovery grows with the power of",
                exponent(before.discovery, last.discovery),
                "",
                {},
                "the algorithm: 2 (each rule searches the actions)"});
    report.add({"  collection grows with the power of",
                exponent(before.collection, last.collection),
                "",
                {},
                "the algorithm: 1"});
    report.add(
        {"  apply grows with the power of", exponent(before.apply, last.apply), "", {}, "the algorithm: 1"});
    return report.finish();
}

} // namespace bench
